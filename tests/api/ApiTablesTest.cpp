// The exported table fillers of the built plug-in, loaded as a camera host loads it: the null
// table refused, every slot of getAlgoAPI filled, exactly five slots of get_algo_api written, the
// version and status-name slots, and the host memory-map entry found by its C++ name.
#include <android/log.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>

#include "APSMemMapInfo.h"
#include "BodySegmentAPI.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "PluginPaths.h"

namespace {

template <typename To, typename From>
To as(From from) {
    static_assert(sizeof(To) == sizeof(From), "function pointers are words");
    To to;
    std::memcpy(&to, &from, sizeof(to));
    return to;
}

TEST(ApiTables, EverySlotIsFilledAndNullTablesAreRefused) {
    void* so = dlopen(testsupport::pluginPath().c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(so, nullptr) << dlerror();
    const auto getAlgoAPI = as<int (*)(BodySegAlgoAPI*)>(dlsym(so, "getAlgoAPI"));
    const auto get_algo_api = as<int (*)(BodySegAlgoAPIV1*)>(dlsym(so, "get_algo_api"));
    ASSERT_TRUE(getAlgoAPI != nullptr && get_algo_api != nullptr);
    testsupport::LogCapture capture;
    EXPECT_EQ(getAlgoAPI(nullptr), 65535);
    EXPECT_TRUE(testsupport::onlyLine(capture, ANDROID_LOG_ERROR, "getAlgoAPI",
                                      "get body segment api failed"));
    capture.clear();
    EXPECT_EQ(get_algo_api(nullptr), 65535);
    EXPECT_TRUE(testsupport::onlyLine(capture, ANDROID_LOG_ERROR, "get_algo_api",
                                      "get body segment api failed"));

    // Slots start as a marker in every byte; two spare words catch writes past a table.
    const uintptr_t marker = static_cast<uintptr_t>(0x5A5A5A5A5A5A5A5Aull);
    uintptr_t slots[16];
    std::fill(std::begin(slots), std::end(slots), marker);
    ASSERT_EQ(getAlgoAPI(reinterpret_cast<BodySegAlgoAPI*>(slots)), 0);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(slots[i] == marker || slots[i] == 0, i >= 8) << "slot " << i;
    BodySegAlgoAPI api;
    std::memcpy(&api, slots, sizeof(api));
    EXPECT_STREQ(api.getVersion(), "body-detection_mtk-neuropilot6_342x456_V2.0.6");
    EXPECT_EQ(api.statusToString, as<const char* (*)(int)>(dlsym(so, "statusToString")));

    // get_algo_api writes getVersion, setLogLevel, algoInitHandle, processImage (the V1 frame
    // call, which takes the Image directly) and releaseHandle, and leaves the rest to the host.
    std::fill(std::begin(slots), std::end(slots), marker);
    ASSERT_EQ(get_algo_api(reinterpret_cast<BodySegAlgoAPIV1*>(slots)), 0);
    const uintptr_t written[16] = {as<uintptr_t>(api.getVersion),
                                   as<uintptr_t>(api.setLogLevel),
                                   as<uintptr_t>(api.algoInitHandle),
                                   marker,
                                   marker,
                                   marker,
                                   marker,
                                   marker,
                                   marker,
                                   marker,
                                   slots[10],
                                   marker,
                                   marker,
                                   as<uintptr_t>(api.releaseHandle),
                                   marker,
                                   marker};
    EXPECT_TRUE(std::equal(std::begin(slots), std::end(slots), written));
    EXPECT_TRUE(slots[10] != marker && slots[10] != 0 &&
                slots[10] != as<uintptr_t>(api.processImage));

    // The table's setLogLevel is the plug-in's logger mask.
    api.setLogLevel(0);
    capture.clear();
    EXPECT_EQ(getAlgoAPI(nullptr), 65535);
    EXPECT_TRUE(capture.lines().empty());
    api.setLogLevel(1);

    const auto setApsMemInfo = as<int (*)(kavo::APSMemMapInfo*)>(
        dlsym(so, "_ZN4kavo15APSAlgoMemTrace13setAPSMemInfoEPNS_13APSMemMapInfoE"));
    ASSERT_NE(setApsMemInfo, nullptr);
    EXPECT_EQ(setApsMemInfo(nullptr), 1027);
    dlclose(so);
}

}  // namespace
