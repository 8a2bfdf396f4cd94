// The logger as call sites and hosts see it: which mask lets which level through, the exact fixed
// head and level words, console output, truncation, and the mask taken from a system property.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "LogCapture.h"
#include "LogLevelScope.h"
#include "Properties.h"
#include "host_properties.h"

namespace {

using namespace kavo;
using L = LogPrintf;

// Each macro statement logs its own line number, which its head must show too.
TEST(LogPrintf, MaskPicksTheOneOutputWithItsExactHead) {
    const struct {
        uint32_t mask;
        void (*emit)();
        int priority;      // of the one Android line, or -1 for none
        const char* word;  // the head's level word; null: logPrint's bare "hi"
        const char* out;   // standard output
    } cases[] = {
        {0x3F, [] { KAVO_LOGE("at %d", __LINE__); }, ANDROID_LOG_ERROR, "ERROR", ""},
        {0x3F, [] { KAVO_LOGW("at %d", __LINE__); }, ANDROID_LOG_WARN, "WARING", ""},
        {0x3F, [] { KAVO_LOGI("at %d", __LINE__); }, ANDROID_LOG_INFO, "INFO", ""},
        {0x3F, [] { KAVO_LOGD("at %d", __LINE__); }, ANDROID_LOG_DEBUG, "DEBUG", ""},
        {kLogWarn, [] { KAVO_LOGW("at %d", __LINE__); }, ANDROID_LOG_WARN, "WARING", ""},
        {0x3E, [] { KAVO_LOGE("at %d", __LINE__); }, -1, "", ""},
        {0x3D, [] { KAVO_LOGW("at %d", __LINE__); }, -1, "", ""},
        {0x3B, [] { KAVO_LOGI("at %d", __LINE__); }, -1, "", ""},
        {0x37, [] { KAVO_LOGD("at %d", __LINE__); }, -1, "", ""},
        {0, [] { KAVO_LOGE("at %d", __LINE__); }, -1, "", ""},
        // logPrint itself: the lowest bit of level & mask decides.
        {0x3F, [] { L::logPrint(kLogError | kLogDebug, "hi"); }, ANDROID_LOG_ERROR, nullptr, ""},
        {0x3F, [] { L::logPrint(kLogConsole | kLogDebug, "hi"); }, ANDROID_LOG_DEBUG, nullptr, ""},
        {0x3F, [] { L::logPrint(kLogVerbose, "hi"); }, ANDROID_LOG_VERBOSE, nullptr, ""},
        {kLogConsole, [] { L::logPrint(kLogConsole, "hi"); }, -1, nullptr,
         "beauty-sdk-body-detect hi\n"},
        {kLogWarn, [] { L::logPrint(kLogError, "hi"); }, -1, nullptr, ""},
        {0, [] { L::logPrint(kLogError | kLogConsole, "hi"); }, -1, nullptr, ""},
        // Console mode sends every level to standard output, and nothing to the Android log.
        {kLogConsoleMode, [] { L::logPrint(kLogError, "hi"); }, -1, nullptr, "hi \n"},
        {kLogConsoleMode, [] { L::logPrint(kLogDebug, "hi"); }, -1, nullptr, "hi \n"}};
    testsupport::LogLevelScope saved(kLogError);
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(&c - cases));
        LogPrintf::setLogStatus(static_cast<int>(c.mask));
        testsupport::LogCapture capture;
        fflush(stdout);
        testing::internal::CaptureStdout();
        c.emit();
        fflush(stdout);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.out);
        const auto lines = capture.lines();
        ASSERT_EQ(lines.size(), c.priority < 0 ? 0u : 1u);
        if (c.priority < 0)
            continue;
        EXPECT_EQ(lines[0].priority, c.priority);
        EXPECT_EQ(lines[0].tag, "beauty-sdk-body-detect");
        const std::string line = lines[0].text.substr(lines[0].text.rfind(' ') + 1);
        EXPECT_EQ(lines[0].text, c.word == nullptr
                                     ? "hi"
                                     : "[" + std::string(c.word) + "] [KAVO] [LogPrintfTest.cpp] " +
                                           line + "  operator()() at " + line);
    }
}

TEST(LogPrintf, DisabledStatementEvaluatesNothingAndLongMessagesAreCut) {
    testsupport::LogLevelScope errorsOnly(kLogError);
    testsupport::LogCapture capture;
    int evaluated = 0;
    auto count = [&evaluated](const char* text) {
        ++evaluated;
        return text;
    };
    KAVO_LOGI("%s", count("argument"));
    // Not even the path is evaluated: no base name is computed.
    KAVO_LOG_WHERE(kLogInfo, "INFO", count("dir/f.cpp"), count("f"), "%s", count("a"));
    EXPECT_EQ(evaluated, 0);
    EXPECT_TRUE(capture.lines().empty());

    LogPrintf::logPrint(kLogError, "%s", std::string(3000, 'x').c_str());
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, std::string(1023, 'x'));
    EXPECT_STREQ(LogPrintf::baseName("c.cpp"), "c.cpp");
    {
        LogPrintf::setLogStatus(15);
        LogPrintf logger;
        EXPECT_EQ(LogPrintf::mLogLevel, 1u) << "construction resets the mask to errors only";
        LogPrintf::setLogStatus(255);
    }
    EXPECT_EQ(LogPrintf::mLogLevel, 1u) << "and so does destruction";
}

// A non-zero number becomes the mask with only its six level bits; anything else leaves it.
TEST(LogPrintf, PropertyValueBecomesTheMaskKeepingSixBits) {
    constexpr const char* kLevelProperty = "persist.camera.algo.aibeautybodydetect.loglvl";
    const struct {
        const char* value;  // null: property unset
        const char* defaultValue;
        uint32_t before;
        uint32_t after;
    } cases[] = {{"15", "0", 1, 15},   {"255", "0", 1, 63},  {"-1", "0", 1, 63},
                 {"32", "0", 255, 32}, {"64", "0", 5, 0},    {"0", "0", 5, 5},
                 {"abc", "0", 5, 5},   {nullptr, "0", 5, 5}, {nullptr, "12", 1, 12},
                 {"3", "12", 1, 3}};
    testsupport::LogLevelScope saved(kLogError);
    for (const auto& c : cases) {
        host_property_unset(kLevelProperty);
        if (c.value != nullptr) {
            ASSERT_EQ(property_set(kLevelProperty, c.value), 0);
        }
        LogPrintf::mLogLevel = c.before;
        LogPrintf::setLogStatusByProp(kLevelProperty, c.defaultValue);
        EXPECT_EQ(LogPrintf::mLogLevel, c.after) << (c.value ? c.value : "(unset)");
    }
    host_property_unset(kLevelProperty);
}

}  // namespace
