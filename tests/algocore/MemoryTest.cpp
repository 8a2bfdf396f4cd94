// The memory registry, the tracked allocation front end and the mirror in the host's map: records,
// refusals, counters and the final leak check, each with the exact lines it writes.
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <string>
#include <vector>

#include "ALGONativeGalloc.h"
#include "MemoryTestSupport.h"
#include "Properties.h"
#include "StatusCodes.h"
#include "host_properties.h"

// Lets the allocation-failure case see a null result under AddressSanitizer too.
extern "C" __attribute__((visibility("default"), used)) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

using kavo::AlgoMemInfo;
using kavo::AlgorithmMemory;
using kavo::APSAlgoMemTrace;
using kavo::Native;
using testsupport::messages;
using testsupport::onlyLine;
using testsupport::pointerText;

uint64_t addressOf(const void* p) {
    return reinterpret_cast<uintptr_t>(p);
}

class MemoryTest : public algocoretest::TracedRegistryTest {
  protected:
    // `p`'s record as "<file>:<line>/<size> flag <flag>" (its addresses checked), and the host's
    // mirror of it with the host's record count and byte counter; "none" for a side without one.
    std::string recordOf(void* p) const {
        std::string text = "none";
        std::unique_lock<std::mutex> guard(AlgorithmMemory::sMapLock);
        const auto it = AlgorithmMemory::sMemMap.find(p);
        if (it != AlgorithmMemory::sMemMap.end()) {
            const AlgoMemInfo& r = it->second;
            const uint64_t at = addressOf(p);
            text =
                r.file + ":" + std::to_string(r.line) + "/" + std::to_string(r.size) + " flag " +
                std::to_string(r.flag) +
                (r.virtualAddress == at && r.begin == at && r.end == at + r.size ? "" : " moved");
        }
        guard.unlock();
        const auto h = host_.nativeRecord(p);
        return text + ", host " +
               (h ? h->file + ":" + std::to_string(h->line) + "/" + std::to_string(h->size)
                  : "none") +
               " of " + std::to_string(host_.nativeRecordCount()) + " " +
               std::to_string(host_.nativeUsingSize());
    }
};

TEST_F(MemoryTest, RecordsRefusalsAndLookups) {
    char block[24];
    std::string file = "dir/caller.cpp";
    EXPECT_EQ(AlgorithmMemory::mapInsert(block, 0, 0, "a.cpp", 1), 0u);
    EXPECT_EQ(AlgorithmMemory::mapInsert(nullptr, 8, 0, "a.cpp", 2), 0u);
    EXPECT_EQ(AlgorithmMemory::mapInsert(block, sizeof(block), 5, file, 31), 24u);
    file.assign("changed after the call");
    EXPECT_EQ(AlgorithmMemory::mapInsert(block, 4, 0, "second.cpp", 4), 0u);
    EXPECT_EQ(recordOf(block), "dir/caller.cpp:31/24 flag 5, host dir/caller.cpp:31/24 of 1 24");
    // The key is the complement of the pointer widened to 64 bits, on 32-bit targets too.
    EXPECT_EQ(host_.nativeKeys(), std::vector<uint64_t>{~addressOf(block)});
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u) << "the caller feeds the counter";
    EXPECT_EQ(AlgorithmMemory::mapFind(block), 24u);
    EXPECT_EQ(AlgorithmMemory::mapDelete(block, "other.cpp", 1), 24u);
    EXPECT_EQ(AlgorithmMemory::mapDelete(nullptr, "caller.cpp", 76), 0u);
    EXPECT_TRUE(capture_.lines().empty()) << "refusals are silent";

    EXPECT_EQ(AlgorithmMemory::mapDelete(block, "caller.cpp", 77), 0u);
    EXPECT_TRUE(onlyLine(
        capture_, ANDROID_LOG_INFO, "mapDelete",
        "addr: [" + pointerText(block) + "] not in map!, Source File: caller.cpp, Line Num:77"));
    capture_.clear();
    EXPECT_EQ(AlgorithmMemory::mapFind(block), 0u);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "mapFind",
                         "addr: [" + pointerText(block) + "] not in map!"));
}

TEST_F(MemoryTest, ModeOrPropertySwitchesTracingAndOffIsANoOp) {
    constexpr const char* kTraceProperty = "vendor.camera.mem.debug.enable";
    const struct {
        const char* property;  // null: unset
        int mode;
        int64_t enabled;
        int logged;
    } cases[] = {{nullptr, 0, 0, 0}, {nullptr, 256, 1, 0}, {nullptr, 257, 0, 0},
                 {"0", 256, 1, 0},   {"1", 0, 1, 1},       {"2", 0, 0, 2}};
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

    // Off, the registry records nothing and the final check passes.
    char block[8];
    AlgorithmMemory::sDebugEnable = 0;
    EXPECT_EQ(AlgorithmMemory::mapInsert(block, 8, 0, "a.cpp", 1), 0u);
    AlgorithmMemory::nativeMemAdd(100);
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), 0);
}

// A leak brings the printout of each kind still held and one ERROR line. The check trusts the
// native counter, so untracked memory given back is a leak too.
TEST_F(MemoryTest, FinalCheckReportsLeaksWithTheirRecords) {
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), 0);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_INFO, "memFinalCheck", "release memory is OK!"));
    AlgorithmMemory::nativeMemDec(4);
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), SDK_OUT_OF_MEMORY_ERR);
    AlgorithmMemory::nativeMemAdd(4);

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
        "ALGOGalloc map print  X"};
    EXPECT_EQ(messages(capture_), printout);
    EXPECT_EQ(messages(capture_, ANDROID_LOG_ERROR),
              std::vector<std::string>{"There is memory leak!"});
    EXPECT_EQ(capture_.lines().size(), printout.size() + 1);
    KAVO_UNTRACK(block + 32);
    AlgorithmMemory::externalMemDec(AlgorithmMemory::mapDelete(block, "q.cpp", 7));

    // Hardware and graphic buffers count while referenced.
    auto record = [&block](int i, uint32_t size, int refs) {
        const uint64_t begin = addressOf(block + i);
        return AlgoMemInfo{block + i, begin, begin, begin + size, "hw.cpp", 9, size, refs, 0};
    };
    AlgorithmMemory::sGBMap.emplace(block + 2, record(2, 30, 1));
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), SDK_OUT_OF_MEMORY_ERR) << "graphic alone";
    AlgorithmMemory::sGBMap.clear();
    AlgorithmMemory::sRefNum.emplace(block, record(0, 100, 2));
    AlgorithmMemory::sRefNum.emplace(block + 1, record(1, 50, 0));
    capture_.clear();
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), SDK_OUT_OF_MEMORY_ERR);
    EXPECT_EQ(messages(capture_)[3],
              "HardwareBuffer MemTrace Refs Print E total hardware buffer use is 100 B");
    AlgorithmMemory::sRefNum.clear();
}

// Every way of taking memory registers the block by its size with the caller's file and line,
// mirrors it and feeds the native counter; its release undoes all three.
TEST_F(MemoryTest, EachNativeAllocationIsRegisteredUntilItsRelease) {
    static double object[5];
    const uint32_t sizes[] = {48, 32, 24, 8192, 40};
    for (int way = 0; way < 5; ++way) {
        void* p = nullptr;
        if (way == 0)
            p = Native::malloc(48, "t.cpp", 7);
        if (way == 1)
            p = Native::calloc(4, 8, "t.cpp", 7);
        if (way == 2)
            p = Native::realloc(nullptr, 24, "t.cpp", 7);
        if (way == 3)
            p = Native::mmap(nullptr, 8192, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0, "t.cpp",
                             7);
        if (way == 4) {
            Native::create(object, 40, "t.cpp", 7);
            p = object;
        }
        ASSERT_NE(p, nullptr) << way;
        const std::string size = std::to_string(sizes[way]);
        EXPECT_EQ(recordOf(p),
                  "t.cpp:7/" + size + " flag 0, host t.cpp:7/" + size + " of 1 " + size);
        EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), sizes[way]);
        if (way == 3) {
            EXPECT_EQ(Native::munmap(p, 8192, "f.cpp", 1), 0);
        } else if (way == 4) {
            KAVO_UNTRACK(p);
        } else {
            Native::free(p, "f.cpp", 1);
        }
        EXPECT_EQ(registeredCount() + AlgorithmMemory::getInternalMemSize(), 0u) << way;
    }
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(MemoryTest, NativeFailuresAreOneErrorLineAndNothingRegistered) {
    EXPECT_EQ(Native::calloc(0xFFFFFFFFu, 0xFFFFFFFFu, "big.cpp", 61), nullptr);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "calloc",
                         "Native calloc error!, Source File: big.cpp, Line Num: 61"));
    capture_.clear();
    EXPECT_EQ(Native::attach(nullptr, 10, "att.cpp", 9), nullptr);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "attach",
                         "Native malloc error! Source File: att.cpp, Line Num: 9"));
    capture_.clear();
    Native::create(nullptr, 80, "make.cpp", 41);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "create",
                         "Native new error! Source File: make.cpp, Line Num: 41"));
}

TEST_F(MemoryTest, HostRecordIsLoggedAndAnyNullFieldSwitchesMirroringOff) {
    using Info = kavo::APSMemMapInfo;
    void (*const clears[])(Info&) = {[](Info&) {},
                                     [](Info& i) { i.sAPSNativeMemLock = nullptr; },
                                     [](Info& i) { i.sAPSNativeUsingSize = nullptr; },
                                     [](Info& i) { i.sAPSMapLock = nullptr; },
                                     [](Info& i) { i.sAPSHardBuffLock = nullptr; },
                                     [](Info& i) { i.sAPSMemMap = nullptr; },
                                     [](Info& i) { i.sAPSRefNum = nullptr; }};
    for (const auto clear : clears) {
        Info info = host_.info();
        ASSERT_EQ(APSAlgoMemTrace::setAPSMemInfo(&info), 0);
        clear(info);
        const bool complete = clear == clears[0];
        capture_.clear();
        EXPECT_EQ(APSAlgoMemTrace::setAPSMemInfo(&info), complete ? 0 : SDK_INPUT_BUFFER_NULL_ERR);
        EXPECT_EQ(APSAlgoMemTrace::sAPSMemEnable, complete ? 1 : 0);
        const auto p = [](const void* v) { return pointerText(v); };
        EXPECT_TRUE(onlyLine(
            capture_, complete ? ANDROID_LOG_INFO : ANDROID_LOG_ERROR, "setAPSMemInfo",
            "input sAPSNativeMemLock:" + p(info.sAPSNativeMemLock) + ", sAPSNativeUsingSize:" +
                p(info.sAPSNativeUsingSize) + ", sAPSMapLock:" + p(info.sAPSMapLock) +
                ", sAPSHardBuffLock:" + p(info.sAPSHardBuffLock) +
                ",sAPSMemMap:" + p(info.sAPSMemMap) + ", sAPSRefNum:" + p(info.sAPSRefNum)));
    }
    capture_.clear();
    EXPECT_EQ(APSAlgoMemTrace::setAPSMemInfo(nullptr), SDK_INPUT_BUFFER_NULL_ERR);
    EXPECT_EQ(APSAlgoMemTrace::sAPSMemEnable, 0);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "setAPSMemInfo", "APSMemInfo is nullptr"));
    // Switched off, the mirror touches nothing of the host's.
    void* p = Native::malloc(8, "off.cpp", 1);
    EXPECT_EQ(APSAlgoMemTrace::mapAPSHardwareBuffInsert(p, 8, "x.cpp", 3, 0, 0, 0), 0u);
    EXPECT_EQ(host_.nativeRecordCount() + host_.hardwareRecordCount(), 0u);
    Native::free(p, "off.cpp", 2);
}

// An entry the host made for the same pointer is kept and counted once.
TEST_F(MemoryTest, HostEntriesAreNeverReplaced) {
    char block[8];
    APSAlgoMemTrace::mapAPSNativeMemAdd(
        APSAlgoMemTrace::mapAPSNativeMapInsert(block, 8, "host.cpp", 1));
    EXPECT_EQ(AlgorithmMemory::mapInsert(block, 8, 0, "plugin.cpp", 2), 8u);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "mapAPSNativeMapInsert",
                         "addr: [" + pointerText(block) +
                             "] had insert into aps map, ignore it!, Source File: plugin.cpp, "
                             "Line Num:2"));
    EXPECT_EQ(host_.nativeUsingSize(), 8u);
    EXPECT_EQ(host_.nativeRecord(block)->file, "host.cpp");
    EXPECT_EQ(AlgorithmMemory::mapDelete(block, "plugin.cpp", 3), 8u);
    capture_.clear();
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapDelete(block, "gone.cpp", 70), 0u);
    EXPECT_TRUE(onlyLine(
        capture_, ANDROID_LOG_INFO, "mapAPSNativeMapDelete",
        "addr: [" + pointerText(block) + "] not in aps map!, Source File: gone.cpp, Line Num:70"));
}

}  // namespace
