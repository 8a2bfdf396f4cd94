// A fixture for tests of the memory registry: tracing on, INFO lines captured, the host mirror off,
// and a check that each test gave back everything it registered (the registry is process-wide).
#pragma once

#include <gtest/gtest.h>

#include <mutex>

#include "ALGOGalloc.h"
#include "APSAlgoMemTrace.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "LogLevelScope.h"

namespace algocoretest {

class TracedRegistryTest : public testing::Test {
  protected:
    void SetUp() override {
        savedDebugEnable_ = kavo::AlgorithmMemory::sDebugEnable;
        kavo::AlgorithmMemory::sDebugEnable = 1;
        kavo::APSAlgoMemTrace::sAPSMemEnable = 0;
        ASSERT_EQ(registeredCount(), 0u) << "an earlier test left records behind";
        ASSERT_EQ(kavo::AlgorithmMemory::getTotalMemSize(), 0u);
    }

    void TearDown() override {
        kavo::AlgorithmMemory::sDebugEnable = 1;
        EXPECT_EQ(registeredCount(), 0u) << "the test left records behind";
        EXPECT_EQ(kavo::AlgorithmMemory::getTotalMemSize(), 0u);
        kavo::APSAlgoMemTrace::sAPSMemEnable = 0;
        kavo::AlgorithmMemory::sDebugEnable = savedDebugEnable_;
    }

    static size_t registeredCount() {
        std::lock_guard<std::mutex> guard(kavo::AlgorithmMemory::sMapLock);
        return kavo::AlgorithmMemory::sMemMap.size();
    }

    // A copy of the record of `p`; fails the test when there is none.
    static kavo::AlgoMemInfo recordOf(void* p) {
        std::lock_guard<std::mutex> guard(kavo::AlgorithmMemory::sMapLock);
        const auto it = kavo::AlgorithmMemory::sMemMap.find(p);
        EXPECT_NE(it, kavo::AlgorithmMemory::sMemMap.end());
        return it != kavo::AlgorithmMemory::sMemMap.end() ? it->second : kavo::AlgoMemInfo{};
    }

    static bool registered(void* p) {
        std::lock_guard<std::mutex> guard(kavo::AlgorithmMemory::sMapLock);
        return kavo::AlgorithmMemory::sMemMap.count(p) != 0;
    }

    testsupport::LogLevelScope level_{kavo::kLogError | kavo::kLogWarn | kavo::kLogInfo};
    testsupport::LogCapture capture_;

  private:
    int64_t savedDebugEnable_ = 0;
};

}  // namespace algocoretest
