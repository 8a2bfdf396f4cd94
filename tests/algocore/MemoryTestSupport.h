// A fixture for tests of the memory registry: tracing on, mirrored into a host map, INFO lines
// captured, and a check that each test gave back everything it registered on both sides (the
// registry is process-wide).
#pragma once

#include <gtest/gtest.h>

#include <mutex>

#include "ALGOGalloc.h"
#include "APSAlgoMemTrace.h"
#include "ApsMemMap.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "LogLevelScope.h"

namespace algocoretest {

class TracedRegistryTest : public testing::Test {
  protected:
    void SetUp() override {
        kavo::AlgorithmMemory::sDebugEnable = 1;
        kavo::APSMemMapInfo info = host_.info();
        ASSERT_EQ(kavo::APSAlgoMemTrace::setAPSMemInfo(&info), 0);
        ASSERT_EQ(registeredCount(), 0u) << "an earlier test left records behind";
        capture_.clear();
    }

    // Mirroring goes off before the host map does.
    void TearDown() override {
        kavo::AlgorithmMemory::sDebugEnable = 1;
        EXPECT_EQ(registeredCount(), 0u) << "the test left records behind";
        EXPECT_EQ(kavo::AlgorithmMemory::getTotalMemSize(), 0u);
        EXPECT_EQ(host_.nativeRecordCount(), 0u);
        EXPECT_EQ(host_.nativeUsingSize(), 0u);
        kavo::APSAlgoMemTrace::sAPSMemEnable = 0;
        kavo::AlgorithmMemory::sDebugEnable = 0;
    }

    static size_t registeredCount() {
        std::lock_guard<std::mutex> guard(kavo::AlgorithmMemory::sMapLock);
        return kavo::AlgorithmMemory::sMemMap.size();
    }

    testsupport::LogLevelScope level_{kavo::kLogError | kavo::kLogWarn | kavo::kLogInfo};
    testsupport::LogCapture capture_;
    hostaps::ApsMemMap host_;
};

}  // namespace algocoretest
