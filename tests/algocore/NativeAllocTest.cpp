// The tracked allocation front end: each call does the platform's work and keeps the registry and
// its counters in step, with the caller's file and line on every record and message.
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <string>

#include "ALGONativeGalloc.h"
#include "MemoryTestSupport.h"
#include "StatusCodes.h"

// Lets the allocation-failure test see a null result under AddressSanitizer too.
extern "C" __attribute__((visibility("default"), used)) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

using algocoretest::HeadedLine;
using algocoretest::headedLines;
using algocoretest::pointerText;
using kavo::AlgorithmMemory;
using kavo::Native;

void expectNativeError(const testsupport::LogCapture& capture, const std::string& function,
                       const std::string& message) {
    const auto lines = headedLines(capture);
    ASSERT_EQ(lines.size(), 1u) << message;
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_ERROR);
    EXPECT_EQ(lines[0].file, "ALGONativeGalloc.cpp");
    EXPECT_EQ(lines[0].function, function);
    EXPECT_EQ(lines[0].message, message);
}

class NativeAllocTest : public algocoretest::TracedRegistryTest {};

TEST_F(NativeAllocTest, MallocAndFreeKeepTheRegistryInStep) {
    void* p = Native::malloc(48, "src/owner.cpp", 17);
    ASSERT_NE(p, nullptr);
    const kavo::AlgoMemInfo record = recordOf(p);
    EXPECT_EQ(record.size, 48u);
    EXPECT_EQ(record.file, "src/owner.cpp");
    EXPECT_EQ(record.line, 17);
    EXPECT_EQ(record.flag, 0);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 48u);

    Native::free(p, "src/owner.cpp", 18);
    EXPECT_FALSE(registered(p));
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(NativeAllocTest, MallocOfZeroRegistersNothing) {
    void* p = Native::malloc(0, "a.cpp", 1);
    EXPECT_FALSE(registered(p));
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);
    Native::free(p, "a.cpp", 2);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);
}

TEST_F(NativeAllocTest, FreeOfNullDoesNothing) {
    AlgorithmMemory::memTraceInit(256);
    capture_.clear();
    Native::free(nullptr, "a.cpp", 1);
    EXPECT_TRUE(capture_.lines().empty());
    EXPECT_EQ(AlgorithmMemory::getTotalMemSize(), 0u);
    EXPECT_EQ(AlgorithmMemory::getInternalMemMaxSize(), 0u);
}

TEST_F(NativeAllocTest, CallocRegistersTheProductAndZeroes) {
    auto* p = static_cast<unsigned char*>(Native::calloc(4, 8, "a.cpp", 3));
    ASSERT_NE(p, nullptr);
    for (int i = 0; i < 32; ++i)
        EXPECT_EQ(p[i], 0) << i;
    EXPECT_EQ(recordOf(p).size, 32u);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 32u);
    Native::free(p, "a.cpp", 4);
}

TEST_F(NativeAllocTest, FailedCallocIsOneErrorAndNothingRegistered) {
    void* p = Native::calloc(0xFFFFFFFFu, 0xFFFFFFFFu, "big.cpp", 61);
    EXPECT_EQ(p, nullptr);
    expectNativeError(capture_, "calloc",
                      "Native calloc error!, Source File: big.cpp, Line Num: 61");
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);
}

TEST_F(NativeAllocTest, ReallocMovesTheRecord) {
    void* p = Native::realloc(nullptr, 32, "r.cpp", 1);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(recordOf(p).size, 32u);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 32u);
    std::memset(p, 0x5A, 32);

    void* q = Native::realloc(p, 64, "r.cpp", 2);
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(static_cast<unsigned char*>(q)[31], 0x5A);
    const kavo::AlgoMemInfo record = recordOf(q);
    EXPECT_EQ(record.size, 64u);
    EXPECT_EQ(record.line, 2);
    if (q != p) {
        EXPECT_FALSE(registered(p));
    }
    EXPECT_EQ(registeredCount(), 1u);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 64u);
    EXPECT_TRUE(capture_.lines().empty());
    Native::free(q, "r.cpp", 3);
}

TEST_F(NativeAllocTest, AttachedBuffersCountAsExternalAndAreNeverLeaks) {
    char foreign[100];
    EXPECT_EQ(Native::attach(foreign, sizeof(foreign), "att.cpp", 5), foreign);
    EXPECT_EQ(recordOf(foreign).flag, 1);
    EXPECT_EQ(AlgorithmMemory::getTotalMemSize(), 100u);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);
    capture_.clear();
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), 0);
    EXPECT_EQ(capture_.matching("release memory is OK!").size(), 1u);

    Native::detach(foreign, "att.cpp", 6);
    EXPECT_FALSE(registered(foreign));
    EXPECT_EQ(AlgorithmMemory::getTotalMemSize(), 0u);
}

TEST_F(NativeAllocTest, AttachOfNullReportsWithTheMallocText) {
    EXPECT_EQ(Native::attach(nullptr, 10, "att.cpp", 9), nullptr);
    expectNativeError(capture_, "attach", "Native malloc error! Source File: att.cpp, Line Num: 9");
}

TEST_F(NativeAllocTest, GetChecksTheElementAgainstTheBlock) {
    auto* base = static_cast<char*>(Native::malloc(16, "g.cpp", 1));
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(Native::get(base, 3, 4, 4, "g.cpp", 2), base + 12);
    EXPECT_TRUE(capture_.lines().empty());
    EXPECT_EQ(Native::get(base, 4, 4, 4, "g.cpp", 3), nullptr);
    EXPECT_EQ(capture_.errorCount(), 1u);
    EXPECT_EQ(capture_.matching("File: g.cpp, Line Num:3").size(), 1u);

    AlgorithmMemory::sDebugEnable = 0;
    EXPECT_EQ(Native::get(base, 4, 4, 4, "g.cpp", 4), base + 16) << "unchecked while off";
    AlgorithmMemory::sDebugEnable = 1;
    Native::free(base, "g.cpp", 5);
}

TEST_F(NativeAllocTest, CreateRegistersObjectsMadeWithNew) {
    struct Engine {
        double state[10];
    };
    Engine* engine = new Engine();
    Native::create(engine, sizeof(Engine), "make.cpp", 40);
    EXPECT_EQ(recordOf(engine).size, sizeof(Engine));
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), sizeof(Engine));
    KAVO_UNTRACK(engine);
    delete engine;
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(NativeAllocTest, CreateOfNullReportsAndRegistersNothing) {
    Native::create(nullptr, 80, "make.cpp", 41);
    expectNativeError(capture_, "create", "Native new error! Source File: make.cpp, Line Num: 41");
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);
}

TEST_F(NativeAllocTest, MappingsAreTrackedByLength) {
    void* map = Native::mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1,
                             0, "m.cpp", 1);
    ASSERT_NE(map, MAP_FAILED);
    EXPECT_EQ(recordOf(map).size, 8192u);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 8192u);
    EXPECT_EQ(Native::munmap(map, 8192, "m.cpp", 2), 0);
    EXPECT_FALSE(registered(map));
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);
}

TEST_F(NativeAllocTest, FailedMappingIsRegisteredUnderTheFailureValue) {
    // Callers test against MAP_FAILED themselves; the front end only refuses null.
    void* map = Native::mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, -1, 0, "m.cpp", 3);
    ASSERT_EQ(map, MAP_FAILED);
    EXPECT_TRUE(registered(map));
    EXPECT_TRUE(capture_.lines().empty());
    EXPECT_EQ(Native::munmap(map, 4096, "m.cpp", 4), -1);
    EXPECT_FALSE(registered(map));
}

TEST_F(NativeAllocTest, TracingOffAllocatesWithoutRecords) {
    AlgorithmMemory::sDebugEnable = 0;
    void* p = Native::malloc(24, "off.cpp", 1);
    void* q = Native::calloc(2, 12, "off.cpp", 2);
    q = Native::realloc(q, 48, "off.cpp", 3);
    AlgorithmMemory::sDebugEnable = 1;
    EXPECT_EQ(registeredCount(), 0u);

    // Allocated while off, freed while on: an INFO line and no counter change.
    Native::free(p, "off.cpp", 4);
    const auto lines = headedLines(capture_);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_INFO);
    EXPECT_EQ(lines[0].message,
              "addr: [" + pointerText(p) + "] not in map!, Source File: off.cpp, Line Num:4");
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);

    AlgorithmMemory::sDebugEnable = 0;
    Native::free(q, "off.cpp", 5);
}

TEST_F(NativeAllocTest, BlockFreedWhileTracingIsOffStaysALeak) {
    void* p = Native::malloc(16, "late.cpp", 7);
    AlgorithmMemory::sDebugEnable = 0;
    Native::free(p, "late.cpp", 8);
    AlgorithmMemory::sDebugEnable = 1;
    EXPECT_TRUE(registered(p));
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), SDK_OUT_OF_MEMORY_ERR);
    // The address is dead; only the bookkeeping is undone.
    KAVO_UNTRACK(p);
}

TEST_F(NativeAllocTest, LeakedBlockIsPrintedWithItsFileAndLine) {
    void* leaked = Native::malloc(16, __FILE__, __LINE__);
    const int line = __LINE__ - 1;
    capture_.clear();
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), SDK_OUT_OF_MEMORY_ERR);
    char expected[512];
    snprintf(expected, sizeof(expected), "File: %s Line :%05d allocate Native Memory %s size: 16 B",
             __FILE__, line, pointerText(leaked).c_str());
    EXPECT_EQ(capture_.matching(expected).size(), 1u) << expected;
    EXPECT_EQ(capture_.errorCount(), 1u);
    EXPECT_EQ(capture_.lines().back().text.find("There is memory leak!") != std::string::npos,
              true);
    Native::free(leaked, __FILE__, __LINE__);
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), 0);
}

}  // namespace
