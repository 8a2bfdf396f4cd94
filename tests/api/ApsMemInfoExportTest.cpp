// The host memory-map entry of the built plug-in: found by its C++ name, as a camera host finds it,
// and checked against the host's own record type.
#include <android/log.h>
#include <gtest/gtest.h>

#include "APSMemMapInfo.h"
#include "ApsMemMap.h"
#include "LoadedPlugin.h"
#include "LogCapture.h"

namespace {

using SetApsMemInfoFn = int (*)(kavo::APSMemMapInfo*);
constexpr const char* kSetApsMemInfo =
    "_ZN4kavo15APSAlgoMemTrace13setAPSMemInfoEPNS_13APSMemMapInfoE";
constexpr int kInputBufferNull = 1027;

TEST(ApsMemInfoExport, HostHandsInItsMap) {
    apitest::LoadedPlugin plugin;
    ASSERT_TRUE(plugin.loaded()) << apitest::LoadedPlugin::error();
    const auto setApsMemInfo = plugin.symbol<SetApsMemInfoFn>(kSetApsMemInfo);
    ASSERT_NE(setApsMemInfo, nullptr) << "the plug-in must export " << kSetApsMemInfo;

    testsupport::LogCapture capture;
    EXPECT_EQ(setApsMemInfo(nullptr), kInputBufferNull);
    EXPECT_EQ(capture.errorCount(), 1u);
    EXPECT_EQ(capture.matching("APSMemInfo is nullptr").size(), 1u);

    hostaps::ApsMemMap host;
    kavo::APSMemMapInfo info = host.info();
    capture.clear();
    EXPECT_EQ(setApsMemInfo(&info), 0);
    EXPECT_EQ(capture.errorCount(), 0u);

    // Leaves mirroring off again before the host map goes away.
    info.sAPSRefNum = nullptr;
    EXPECT_EQ(setApsMemInfo(&info), kInputBufferNull);
    EXPECT_EQ(capture.matching("sAPSRefNum:(nil)").size(), 1u);
}

}  // namespace
