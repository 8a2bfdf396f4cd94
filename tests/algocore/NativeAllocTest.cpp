// The tracked allocation front end: each call does the platform's work and keeps the registry and
// its counters in step, with the caller's file and line on every record and message.
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <string>

#include "ALGONativeGalloc.h"
#include "MemoryTestSupport.h"

// Lets the allocation-failure test see a null result under AddressSanitizer too.
extern "C" __attribute__((visibility("default"), used)) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

using testsupport::onlyLine;
using kavo::AlgorithmMemory;
using kavo::Native;

class NativeAllocTest : public algocoretest::TracedRegistryTest {};

// Every way of taking memory registers the block by its size with the caller's file and line and
// feeds the native counter; its release undoes both.
TEST_F(NativeAllocTest, EachAllocationIsRegisteredUntilItsRelease) {
    const struct {
        void* (*take)();
        void (*give)(void*);
        uint32_t size;
    } ways[] = {
        {[] { return Native::malloc(48, "t.cpp", 7); },
         [](void* p) { Native::free(p, "f.cpp", 1); }, 48},
        {[] { return Native::calloc(4, 8, "t.cpp", 7); },
         [](void* p) { Native::free(p, "f.cpp", 1); }, 32},
        {[] { return Native::realloc(nullptr, 24, "t.cpp", 7); },
         [](void* p) { Native::free(p, "f.cpp", 1); }, 24},
        {[] {
             return Native::mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                                 -1, 0, "t.cpp", 7);
         },
         [](void* p) { EXPECT_EQ(Native::munmap(p, 8192, "f.cpp", 1), 0); }, 8192},
        {[] {
             static double object[5];
             Native::create(object, 40, "t.cpp", 7);
             return static_cast<void*>(object);
         },
         [](void* p) { KAVO_UNTRACK(p); }, 40},
    };
    for (const auto& way : ways) {
        void* p = way.take();
        ASSERT_NE(p, nullptr);
        const kavo::AlgoMemInfo record = recordOf(p);
        EXPECT_EQ(record.size, way.size);
        EXPECT_EQ(record.file, "t.cpp");
        EXPECT_EQ(record.line, 7);
        EXPECT_EQ(record.flag, 0);
        EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), way.size);
        way.give(p);
        EXPECT_FALSE(registered(p));
        EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 0u);
    }
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(NativeAllocTest, FailuresAreOneErrorLineAndNothingRegistered) {
    const struct {
        void* (*fail)();
        const char* function;
        const char* message;
    } cases[] = {
        {[] { return Native::calloc(0xFFFFFFFFu, 0xFFFFFFFFu, "big.cpp", 61); }, "calloc",
         "Native calloc error!, Source File: big.cpp, Line Num: 61"},
        {[] { return Native::attach(nullptr, 10, "att.cpp", 9); }, "attach",
         "Native malloc error! Source File: att.cpp, Line Num: 9"},
        {[] {
             Native::create(nullptr, 80, "make.cpp", 41);
             return static_cast<void*>(nullptr);
         },
         "create", "Native new error! Source File: make.cpp, Line Num: 41"},
    };
    for (const auto& c : cases) {
        capture_.clear();
        EXPECT_EQ(c.fail(), nullptr);
        EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, c.function, c.message));
    }
}

TEST_F(NativeAllocTest, ReallocMovesTheRecord) {
    void* p = Native::realloc(nullptr, 32, "r.cpp", 1);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(recordOf(p).size, 32u);
    std::memset(p, 0x5A, 32);

    void* q = Native::realloc(p, 64, "r.cpp", 2);
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(static_cast<unsigned char*>(q)[31], 0x5A);
    const kavo::AlgoMemInfo record = recordOf(q);
    EXPECT_EQ(record.size, 64u);
    EXPECT_EQ(record.line, 2);
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
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), 0);
    Native::detach(foreign, "att.cpp", 6);
    EXPECT_FALSE(registered(foreign));
    EXPECT_EQ(AlgorithmMemory::getTotalMemSize(), 0u);
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

TEST_F(NativeAllocTest, FailedMappingIsRegisteredUnderTheFailureValue) {
    // Callers test against MAP_FAILED themselves; the front end only refuses null.
    void* map = Native::mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, -1, 0, "m.cpp", 3);
    ASSERT_EQ(map, MAP_FAILED);
    EXPECT_TRUE(registered(map));
    EXPECT_EQ(Native::munmap(map, 4096, "m.cpp", 4), -1);
    EXPECT_FALSE(registered(map));
    EXPECT_TRUE(capture_.lines().empty());
}

}  // namespace
