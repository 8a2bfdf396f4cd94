// The two exported table fillers of the built plug-in: the null table, which slots each one
// writes (and which it must leave alone), the version string and the status-name slot.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "BodySegmentAPI.h"
#include "LoadedPlugin.h"
#include "LogCapture.h"

namespace {

using GetAlgoApiFn = int (*)(BodySegAlgoAPI*);
using GetAlgoApiV1Fn = int (*)(BodySegAlgoAPIV1*);

constexpr int kFailure = 65535;
constexpr int kV1Slots = 14;
static_assert(sizeof(BodySegAlgoAPI) == 8 * sizeof(void*), "eight slots");
static_assert(sizeof(BodySegAlgoAPIV1) == kV1Slots * sizeof(void*), "fourteen slots");

// 0x5A in every byte, whatever the pointer width.
const uintptr_t kMarker = static_cast<uintptr_t>(0x5A5A5A5A5A5A5A5Aull);

// A table region filled with the marker in every slot, read back slot by slot.
template <int kSlots>
struct MarkedSlots {
    MarkedSlots() {
        for (int i = 0; i < kSlots; ++i)
            std::memcpy(&words[i], &kMarker, sizeof(void*));
    }
    uintptr_t slot(int i) const {
        uintptr_t value;
        std::memcpy(&value, &words[i], sizeof(value));
        return value;
    }
    void* words[kSlots];
};

template <typename Fn>
uintptr_t addressOf(Fn fn) {
    uintptr_t value;
    static_assert(sizeof(fn) == sizeof(value), "function pointers are words");
    std::memcpy(&value, &fn, sizeof(value));
    return value;
}

// True when `text` is "[<word>] [KAVO] [BodySegmentAPI.cpp] <line>  <function>() <message>".
bool isApiLine(const std::string& text, const std::string& word, const std::string& function,
               const std::string& message) {
    const std::string prefix = "[" + word + "] [KAVO] [BodySegmentAPI.cpp] ";
    const std::string suffix = "  " + function + "() " + message;
    if (text.size() <= prefix.size() + suffix.size())
        return false;
    if (text.compare(0, prefix.size(), prefix) != 0)
        return false;
    if (text.compare(text.size() - suffix.size(), suffix.size(), suffix) != 0)
        return false;
    const std::string line =
        text.substr(prefix.size(), text.size() - prefix.size() - suffix.size());
    return line.find_first_not_of("0123456789") == std::string::npos;
}

class ApiTablesTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(plugin_.loaded()) << apitest::LoadedPlugin::error();
        getAlgoAPI_ = plugin_.symbol<GetAlgoApiFn>("getAlgoAPI");
        get_algo_api_ = plugin_.symbol<GetAlgoApiV1Fn>("get_algo_api");
        ASSERT_NE(getAlgoAPI_, nullptr);
        ASSERT_NE(get_algo_api_, nullptr);
        ASSERT_EQ(getAlgoAPI_(&table_), 0);
        capture_.clear();
    }

    void TearDown() override {
        if (table_.setLogLevel != nullptr)
            table_.setLogLevel(1);
    }

    // The one line each failing filler writes.
    void expectRefusal(const char* function) {
        const auto lines = capture_.lines();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].priority, ANDROID_LOG_ERROR);
        EXPECT_EQ(lines[0].tag, "beauty-sdk-body-detect");
        EXPECT_TRUE(isApiLine(lines[0].text, "ERROR", function, "get body segment api failed"))
            << lines[0].text;
    }

    apitest::LoadedPlugin plugin_;
    testsupport::LogCapture capture_;
    GetAlgoApiFn getAlgoAPI_ = nullptr;
    GetAlgoApiV1Fn get_algo_api_ = nullptr;
    BodySegAlgoAPI table_ = {};
};

TEST_F(ApiTablesTest, NullTableIsRefusedWithOneErrorLine) {
    EXPECT_EQ(getAlgoAPI_(nullptr), kFailure);
    expectRefusal("getAlgoAPI");
    capture_.clear();
    EXPECT_EQ(get_algo_api_(nullptr), kFailure);
    expectRefusal("get_algo_api");
}

TEST_F(ApiTablesTest, GetAlgoAPIFillsAllEightSlots) {
    MarkedSlots<8> slots;
    ASSERT_EQ(getAlgoAPI_(reinterpret_cast<BodySegAlgoAPI*>(slots.words)), 0);
    const char* names[] = {"getVersion",    "setLogLevel",   "statusToString", "algoInitHandle",
                           "setParameters", "getParameters", "processImage",   "releaseHandle"};
    for (int i = 0; i < 8; ++i) {
        EXPECT_NE(slots.slot(i), kMarker) << "slot " << i << " " << names[i];
        EXPECT_NE(slots.slot(i), 0u) << "slot " << i << " " << names[i];
    }
}

TEST_F(ApiTablesTest, GetAlgoApiWritesFiveSlotsAndLeavesTheRestAlone) {
    MarkedSlots<kV1Slots + 2> slots;  // two spare words catch writes past the table
    ASSERT_EQ(get_algo_api_(reinterpret_cast<BodySegAlgoAPIV1*>(slots.words)), 0);
    for (int i : {3, 4, 5, 6, 7, 8, 9, 11, 12, 14, 15}) {
        EXPECT_EQ(slots.slot(i), kMarker) << "slot " << i << " must keep the host's contents";
    }
    for (int i : {0, 1, 2, 10, 13}) {
        EXPECT_NE(slots.slot(i), kMarker) << "slot " << i;
        EXPECT_NE(slots.slot(i), 0u) << "slot " << i;
    }
    EXPECT_EQ(slots.slot(0), addressOf(table_.getVersion));
    EXPECT_EQ(slots.slot(1), addressOf(table_.setLogLevel));
    // The wrappers, not the V1 functions; the frame slot takes the Image directly instead.
    EXPECT_EQ(slots.slot(2), addressOf(table_.algoInitHandle));
    EXPECT_EQ(slots.slot(13), addressOf(table_.releaseHandle));
    EXPECT_NE(slots.slot(10), addressOf(table_.processImage));
}

TEST_F(ApiTablesTest, SuccessIsTracedAtDebugAndInfo) {
    table_.setLogLevel(0x0F);
    capture_.clear();
    BodySegAlgoAPI again = {};
    ASSERT_EQ(getAlgoAPI_(&again), 0);
    const auto lines = capture_.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_DEBUG);
    EXPECT_TRUE(isApiLine(lines[0].text, "DEBUG", "getAlgoAPI", "E")) << lines[0].text;
    EXPECT_EQ(lines[1].priority, ANDROID_LOG_INFO);
    EXPECT_TRUE(isApiLine(lines[1].text, "INFO", "getAlgoAPI", "get body segment api success"))
        << lines[1].text;
    EXPECT_EQ(lines[2].priority, ANDROID_LOG_DEBUG);
    EXPECT_TRUE(isApiLine(lines[2].text, "DEBUG", "getAlgoAPI", "X")) << lines[2].text;
}

TEST_F(ApiTablesTest, VersionIsOneConstantString) {
    ASSERT_NE(table_.getVersion, nullptr);
    const char* first = table_.getVersion();
    EXPECT_STREQ(first, "body-detection_mtk-neuropilot6_342x456_V2.0.6");
    EXPECT_EQ(table_.getVersion(), first);
    EXPECT_EQ(table_.getVersion(), first);
}

TEST_F(ApiTablesTest, StatusNameSlotAnswers) {
    ASSERT_NE(table_.statusToString, nullptr);
    EXPECT_STREQ(table_.statusToString(1040), "SDK_MEMORY_FREE_ERR");
    EXPECT_STREQ(table_.statusToString(65535), "SDK_FAILURE");
    EXPECT_EQ(table_.statusToString(-1), nullptr);
    EXPECT_EQ(table_.statusToString(0x030A), nullptr);
    EXPECT_EQ(addressOf(table_.statusToString),
              addressOf(plugin_.symbol<const char* (*)(int)>("statusToString")));
}

TEST_F(ApiTablesTest, SetLogLevelSlotControlsThePluginsLogger) {
    table_.setLogLevel(0);
    EXPECT_EQ(getAlgoAPI_(nullptr), kFailure);
    EXPECT_TRUE(capture_.lines().empty());
    table_.setLogLevel(1);
    EXPECT_EQ(getAlgoAPI_(nullptr), kFailure);
    EXPECT_EQ(capture_.errorCount(), 1u);
}

}  // namespace
