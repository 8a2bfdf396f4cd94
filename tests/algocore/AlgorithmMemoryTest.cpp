// The memory registry on its own: records, refusals, lookups, bounds checks, counters, printout
// and the final leak check, each with the exact lines it writes.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ALGOGalloc.h"
#include "MemoryTestSupport.h"
#include "Properties.h"
#include "StatusCodes.h"
#include "host_properties.h"

namespace {

using testsupport::messages;
using testsupport::onlyLine;
using testsupport::pointerText;
using kavo::AlgoMemInfo;
using kavo::AlgorithmMemory;

constexpr const char* kTraceProperty = "vendor.camera.mem.debug.enable";

uint64_t addressOf(const void* p) {
    return reinterpret_cast<uintptr_t>(p);
}

class AlgorithmMemoryTest : public algocoretest::TracedRegistryTest {};

TEST_F(AlgorithmMemoryTest, InsertKeepsACompleteRecordAndTheFirstRegistrationWins) {
    char block[24];
    std::string file = "dir/caller.cpp";
    EXPECT_EQ(AlgorithmMemory::mapInsert(block, 0, 0, "a.cpp", 1), 0u);
    EXPECT_EQ(AlgorithmMemory::mapInsert(nullptr, 8, 0, "a.cpp", 2), 0u);
    EXPECT_EQ(AlgorithmMemory::mapInsert(block, sizeof(block), 5, file, 31), 24u);
    file.assign("changed after the call");
    EXPECT_EQ(AlgorithmMemory::mapInsert(block, 4, 0, "second.cpp", 4), 0u);

    const AlgoMemInfo record = recordOf(block);
    EXPECT_EQ(record.file, "dir/caller.cpp");
    EXPECT_EQ(record.size, 24u);
    EXPECT_EQ(record.flag, 5);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u) << "the caller feeds the counter";

    EXPECT_EQ(AlgorithmMemory::mapFind(block), 24u);
    EXPECT_EQ(AlgorithmMemory::mapDelete(block, "other.cpp", 1), 24u);
    EXPECT_EQ(registeredCount(), 0u);
    EXPECT_TRUE(capture_.lines().empty()) << "refusals are silent";
}

TEST_F(AlgorithmMemoryTest, UntrackedPointersAreReportedByEachLookup) {
    char block[16];
    EXPECT_EQ(AlgorithmMemory::mapDelete(nullptr, "caller.cpp", 76), 0u);
    EXPECT_TRUE(capture_.lines().empty());
    EXPECT_EQ(AlgorithmMemory::mapDelete(block, "caller.cpp", 77), 0u);
    EXPECT_TRUE(onlyLine(
        capture_, ANDROID_LOG_INFO, "mapDelete",
        "addr: [" + pointerText(block) + "] not in map!, Source File: caller.cpp, Line Num:77"));
    capture_.clear();
    EXPECT_EQ(AlgorithmMemory::mapFind(block), 0u);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "mapFind",
                         "addr: [" + pointerText(block) + "] not in map!"));

    // A bounds check wants the block's own pointer, not one inside it.
    ASSERT_EQ(AlgorithmMemory::mapInsert(block, sizeof(block), 0, "a.cpp", 1), 16u);
    capture_.clear();
    EXPECT_EQ(AlgorithmMemory::mapCheck(block + 4, 0, 1, 1, "c.cpp", 2), 0);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "mapCheck",
                         "addr: [" + pointerText(block + 4) + "] not in map!"));
    capture_.clear();
    EXPECT_EQ(AlgorithmMemory::mapCheck(nullptr, 0, 1, 1, "c.cpp", 3), 0);
    EXPECT_TRUE(
        onlyLine(capture_, ANDROID_LOG_ERROR, "mapCheck", "SDK_NULL_POINTER_ERR! addr is NULL"));
    EXPECT_EQ(AlgorithmMemory::mapDelete(block, "a.cpp", 4), 16u);
}

TEST_F(AlgorithmMemoryTest, CheckAcceptsOnlyAccessesInsideTheBlock) {
    enum Verdict { kInside, kOutside, kTooLong };
    const struct {
        uint32_t offset;
        uint32_t elementSize;
        uint32_t accessSize;
        Verdict verdict;
    } cases[] = {
        {0, 1, 10, kInside},
        {9, 1, 1, kInside},
        {9, 1, 2, kTooLong},
        {2, 4, 2, kInside},
        {2, 4, 3, kTooLong},
        {10, 1, 1, kOutside},
        {3, 4, 0, kOutside},
        {0xFFFFFFFFu, 1, 1, kOutside},
        // The element offset is computed in 32 bits: 0x80000000 * 2 wraps to 0.
        {0x80000000u, 2, 1, kInside},
    };
    char block[10];
    ASSERT_EQ(AlgorithmMemory::mapInsert(block, sizeof(block), 0, "a.cpp", 1), 10u);
    const unsigned long long begin = addressOf(block);
    for (const auto& c : cases) {
        capture_.clear();
        const std::string context = std::to_string(c.offset) + "*" + std::to_string(c.elementSize) +
                                    "+" + std::to_string(c.accessSize);
        EXPECT_EQ(AlgorithmMemory::mapCheck(block, c.offset, c.elementSize, c.accessSize,
                                            "caller.cpp", 12),
                  c.verdict == kInside ? 1 : 0)
            << context;
        if (c.verdict == kInside) {
            EXPECT_TRUE(capture_.lines().empty()) << context;
            continue;
        }
        char size[32] = "";
        if (c.verdict == kTooLong)
            snprintf(size, sizeof(size), ",size %lu", static_cast<unsigned long>(c.accessSize));
        char expected[512];
        snprintf(expected, sizeof(expected),
                 "SDK_OUT_OF_MEMORY_ERR! begin 0x%llx, end 0x%llx, point 0x%llx, offset %lu, "
                 "elementSize %ld%s, File: caller.cpp, Line Num:12",
                 begin, begin + 10, begin, static_cast<unsigned long>(c.offset),
                 static_cast<long>(c.elementSize), size);
        EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "mapCheck", expected)) << context;
    }
    EXPECT_EQ(AlgorithmMemory::mapDelete(block, "a.cpp", 2), 10u);
}

TEST_F(AlgorithmMemoryTest, TracingOffMakesEveryOperationANoOp) {
    char block[8];
    AlgorithmMemory::nativeMemAdd(8);
    AlgorithmMemory::sDebugEnable = 0;

    EXPECT_EQ(AlgorithmMemory::mapInsert(block, 8, 0, "a.cpp", 1), 0u);
    EXPECT_EQ(AlgorithmMemory::virtureMapInsert(1, block, 8, 2, "a.cpp", 1), 0u);
    EXPECT_EQ(AlgorithmMemory::mapDelete(block, "a.cpp", 2), 0u);
    EXPECT_EQ(AlgorithmMemory::virtureMapDelete(1), 0u);
    EXPECT_EQ(AlgorithmMemory::mapFind(block), 0u);
    EXPECT_EQ(AlgorithmMemory::mapCheck(nullptr, 5, 5, 5, "a.cpp", 3), 1);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);
    EXPECT_EQ(AlgorithmMemory::getTotalMemSize(), 0u);
    EXPECT_EQ(AlgorithmMemory::getInternalMemMaxSize(), 0u);
    AlgorithmMemory::nativeMemAdd(100);
    AlgorithmMemory::externalMemAdd(100);
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), 0);
    AlgorithmMemory::memLogPrint(block, 8, kavo::ALGO_MEM_NATIVE, 0, "a.cpp", 4, 1, 0);
    AlgorithmMemory::mapPrint(kavo::ALGO_MEM_NATIVE);

    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_INFO, "mapPrint", "sDebugEnable: 0"));
    EXPECT_EQ(registeredCount(), 0u);
    EXPECT_EQ(AlgorithmMemory::sNativeUsingSize, 8u) << "counters untouched while off";
    EXPECT_EQ(AlgorithmMemory::sExternalUsingSize, 0u);
    AlgorithmMemory::sDebugEnable = 1;
    AlgorithmMemory::nativeMemDec(8);
}

TEST_F(AlgorithmMemoryTest, ModeOrPropertySwitchesTracing) {
    const struct {
        const char* property;  // null: unset
        int mode;
        int64_t enabled;
        int logged;
    } cases[] = {
        {nullptr, 0, 0, 0}, {nullptr, 256, 1, 0}, {nullptr, 257, 0, 0},
        {"0", 256, 1, 0},   {"1", 0, 1, 1},       {"2", 0, 0, 2},
    };
    for (const auto& c : cases) {
        host_property_unset(kTraceProperty);
        if (c.property != nullptr) {
            ASSERT_EQ(property_set(kTraceProperty, c.property), 0);
        }
        capture_.clear();
        AlgorithmMemory::memTraceInit(c.mode);
        EXPECT_EQ(AlgorithmMemory::sDebugEnable, c.enabled) << c.mode;
        EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_INFO, "memTraceInit",
                             "debug enbale:" + std::to_string(c.logged)));
    }
    host_property_unset(kTraceProperty);
}

TEST_F(AlgorithmMemoryTest, CountersAddUpAndInitialisationClearsOnlyTheHighWaterMark) {
    AlgorithmMemory::memTraceInit(256);
    AlgorithmMemory::nativeMemAdd(10);
    AlgorithmMemory::nativeMemAdd(20);
    AlgorithmMemory::nativeMemDec(25);
    AlgorithmMemory::externalMemAdd(7);
    AlgorithmMemory::virtureMemAdd(3);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 5u);
    EXPECT_EQ(AlgorithmMemory::getInternalMemMaxSize(), 30u);
    EXPECT_EQ(AlgorithmMemory::getTotalMemSize(), 15u);
    AlgorithmMemory::memTraceInit(256);
    EXPECT_EQ(AlgorithmMemory::getInternalMemMaxSize(), 0u);
    EXPECT_EQ(AlgorithmMemory::getTotalMemSize(), 15u);

    AlgorithmMemory::nativeMemDec(5);
    AlgorithmMemory::externalMemDec(7);
    AlgorithmMemory::virtureMemDec(3);
    EXPECT_EQ(AlgorithmMemory::getTotalMemSize(), 0u);
    // No floor at zero: the counters wrap like the unsigned words they are.
    AlgorithmMemory::nativeMemDec(1);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0xFFFFFFFFu);
    AlgorithmMemory::nativeMemAdd(1);
}

TEST_F(AlgorithmMemoryTest, VirtualEntriesAreFoundByTheirHandle) {
    char block[16];
    EXPECT_EQ(AlgorithmMemory::virtureMapInsert(0xABCDEF, block, 16, 2, "v.cpp", 3), 16u);
    EXPECT_EQ(AlgorithmMemory::virtureMapInsert(0x1111, block, 16, 2, "v.cpp", 4), 0u);
    const AlgoMemInfo record = recordOf(block);
    EXPECT_EQ(record.virtualAddress, 0xABCDEFu);
    EXPECT_EQ(record.flag, 2);
    EXPECT_EQ(AlgorithmMemory::virtureMapDelete(0x1234), 0u);
    EXPECT_EQ(AlgorithmMemory::virtureMapDelete(0xABCDEF), 16u);
    EXPECT_TRUE(capture_.lines().empty());

    // An ordinary entry's virtual address is its pointer, so its pointer works as a handle too.
    ASSERT_EQ(AlgorithmMemory::mapInsert(block, 8, 0, "a.cpp", 5), 8u);
    EXPECT_EQ(AlgorithmMemory::virtureMapDelete(addressOf(block)), 8u);
}

// The allocation lines of each kind are in the final check's printouts below.
TEST_F(AlgorithmMemoryTest, RecordLinesNameTheKindOfEntry) {
    const struct {
        kavo::AlgoMemFlag kind;
        int isFree;
        int entryFlag;
        const char* text;  // after "File: src/a.cpp Line :00042 "; P stands for the pointer
    } cases[] = {
        {kavo::ALGO_MEM_GRAPHIC_BUFFER, 1, 1, "free GraphicBuffer P size: 16 B REFS: 2"},
        {kavo::ALGO_MEM_HARDWARE_BUFFER, 1, 0, "free HardwareBuffer P size: 16 B REFS: 2"},
        {kavo::ALGO_MEM_NATIVE, 1, 0, "free Native Memory P size: 16 B"},
        {kavo::ALGO_MEM_NATIVE, 7, 1, "detach Native Memory P size: 16 B"},
        {kavo::ALGO_MEM_NATIVE, 0, 2, "virture Memory P size: 16 B"},
        {kavo::ALGO_MEM_NATIVE, 1, -1, "free virture Memory P size: 16 B"},
    };
    char block[16];
    for (const auto& c : cases) {
        capture_.clear();
        AlgorithmMemory::memLogPrint(block, 16, c.kind, c.isFree, "src/a.cpp", 42, 2, c.entryFlag);
        std::string text = c.text;
        text.replace(text.find('P'), 1, pointerText(block));
        EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_INFO, "memLogPrint",
                             "File: src/a.cpp Line :00042 " + text));
    }
}

TEST_F(AlgorithmMemoryTest, FinalCheckTrustsTheNativeCounter) {
    AlgorithmMemory::nativeMemDec(4);  // untracked memory given back
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), SDK_OUT_OF_MEMORY_ERR);
    AlgorithmMemory::nativeMemAdd(4);
    capture_.clear();
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), 0);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_INFO, "memFinalCheck", "release memory is OK!"));
}

// A native leak brings the native printout alone: counters, then every record in address order.
TEST_F(AlgorithmMemoryTest, FinalCheckReportsANativeLeakWithItsRecords) {
    char block[64];
    AlgorithmMemory::memTraceInit(256);
    AlgorithmMemory::nativeMemAdd(AlgorithmMemory::mapInsert(block + 32, 16, 0, "p.cpp", 5));
    AlgorithmMemory::externalMemAdd(AlgorithmMemory::mapInsert(block, 8, 1, "q.cpp", 123456));
    capture_.clear();

    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), SDK_OUT_OF_MEMORY_ERR);
    const std::vector<std::string> printout = {
        "sDebugEnable: 1",
        "ALGOGalloc map print E",
        "Native MemTrace Log Print E Total mem use is 24 B",
        "Native MemTrace Log Print E internal use is 16 B",
        "########## Max Native mem use is 16 B##########",
        "File: q.cpp Line :123456 attach Native Memory " + pointerText(block) + " size: 8 B",
        "File: p.cpp Line :00005 allocate Native Memory " + pointerText(block + 32) + " size: 16 B",
        "Native MemTrace Log Print X",
        "ALGOGalloc map print  X",
    };
    EXPECT_EQ(messages(capture_), printout);
    EXPECT_EQ(messages(capture_, ANDROID_LOG_ERROR),
              std::vector<std::string>{"There is memory leak!"});
    EXPECT_EQ(capture_.lines().size(), printout.size() + 1);

    KAVO_UNTRACK(block + 32);
    AlgorithmMemory::externalMemDec(AlgorithmMemory::mapDelete(block, "q.cpp", 7));
}

TEST_F(AlgorithmMemoryTest, FinalCheckCountsReferencedHardwareAndGraphicBuffers) {
    char buffers[3][8];
    auto record = [](void* p, uint32_t size, int refs) {
        const uint64_t begin = addressOf(p);
        return AlgoMemInfo{p, begin, begin, begin + size, "hw.cpp", 9, size, refs, 0};
    };
    {
        std::lock_guard<std::mutex> guard(AlgorithmMemory::sGraphicBuffLock);
        AlgorithmMemory::sGBMap.emplace(buffers[2], record(buffers[2], 30, 1));
    }
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), SDK_OUT_OF_MEMORY_ERR) << "graphic alone";
    capture_.clear();
    {
        std::lock_guard<std::mutex> guard(AlgorithmMemory::sHardBuffLock);
        AlgorithmMemory::sRefNum.emplace(buffers[0], record(buffers[0], 100, 2));
        AlgorithmMemory::sRefNum.emplace(buffers[1], record(buffers[1], 50, 0));
    }
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), SDK_OUT_OF_MEMORY_ERR);
    const std::string hw = "File: hw.cpp Line :00009 allocate HardwareBuffer ";
    const std::vector<std::string> printouts = {
        "sDebugEnable: 1",
        "ALGOGalloc map print E",
        "Native MemTrace Log Print E Total mem use is 0 B",
        "HardwareBuffer MemTrace Refs Print E total hardware buffer use is 100 B",
        hw + pointerText(buffers[0]) + " size: 100 B  REFS: 2",
        hw + pointerText(buffers[1]) + " size: 50 B  REFS: 0",
        "HardwareBuffer MemTrace Refs Print X",
        "ALGOGalloc map print  X",
        "sDebugEnable: 1",
        "ALGOGalloc map print E",
        "Native MemTrace Log Print E Total mem use is 0 B",
        "GraphicBuffer MemTrace Refs Print E total graphic buffer use is 30 B",
        "File: hw.cpp Line :00009 allocate GraphicBuffer " + pointerText(buffers[2]) +
            " size: 30 B  REFS: 1",
        "GraphicBuffer MemTrace Refs Print X",
        "ALGOGalloc map print  X",
    };
    EXPECT_EQ(messages(capture_), printouts);
    EXPECT_EQ(capture_.lines().size(), printouts.size() + 1);
    EXPECT_EQ(messages(capture_, ANDROID_LOG_ERROR),
              std::vector<std::string>{"There is memory leak!"});

    {
        std::lock_guard<std::mutex> guard(AlgorithmMemory::sHardBuffLock);
        AlgorithmMemory::sRefNum.clear();
    }
    std::lock_guard<std::mutex> guard(AlgorithmMemory::sGraphicBuffLock);
    AlgorithmMemory::sGBMap.clear();
}

}  // namespace
