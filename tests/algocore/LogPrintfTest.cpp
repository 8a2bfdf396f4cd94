// The logger as call sites and hosts see it: the level test before any work, the fixed heads, the
// Android priorities and tag, console mode, and the mask taken from a system property.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

#include "LogCapture.h"
#include "LogPrintf.h"
#include "LogExpect.h"
#include "LogLevelScope.h"
#include "Properties.h"
#include "host_properties.h"

namespace {

using testsupport::LogLevelScope;
using kavo::LogPrintf;

constexpr const char* kLevelProperty = "persist.camera.algo.aibeautybodydetect.loglvl";

// Each emitter returns the line of its log statement, for the head's line number.
int emitError() {
    KAVO_LOGE("value %d", 7);
    return __LINE__ - 1;
}
int emitWarning() {
    KAVO_LOGW("value %d", 7);
    return __LINE__ - 1;
}
int emitInfo() {
    KAVO_LOGI("value %d", 7);
    return __LINE__ - 1;
}
int emitDebug() {
    KAVO_LOGD("value %d", 7);
    return __LINE__ - 1;
}

const struct Level {
    int (*emit)();
    uint32_t bit;
    int priority;
    std::string word;
    std::string function;
} kLevels[] = {
    {emitError, kavo::kLogError, ANDROID_LOG_ERROR, "ERROR", "emitError"},
    {emitWarning, kavo::kLogWarn, ANDROID_LOG_WARN, "WARING", "emitWarning"},
    {emitInfo, kavo::kLogInfo, ANDROID_LOG_INFO, "INFO", "emitInfo"},
    {emitDebug, kavo::kLogDebug, ANDROID_LOG_DEBUG, "DEBUG", "emitDebug"},
};

std::string captureStdout(const std::function<void()>& body) {
    fflush(stdout);
    testing::internal::CaptureStdout();
    body();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

class LogPrintfTest : public testing::Test {
  protected:
    LogLevelScope level_{kavo::kLogError};
    testsupport::LogCapture capture_;
};

TEST_F(LogPrintfTest, EachLevelWritesItsOwnHeadAndOnlyWhenItsBitIsSet) {
    for (const Level& level : kLevels) {
        LogPrintf::setLogStatus(0x3F & ~static_cast<int>(level.bit));
        capture_.clear();
        level.emit();
        EXPECT_TRUE(capture_.lines().empty()) << level.function;

        LogPrintf::setLogStatus(static_cast<int>(level.bit));
        const int line = level.emit();
        const auto lines = capture_.lines();
        ASSERT_EQ(lines.size(), 1u) << level.function;
        EXPECT_EQ(lines[0].priority, level.priority);
        EXPECT_EQ(lines[0].tag, "beauty-sdk-body-detect");
        EXPECT_EQ(lines[0].text, "[" + level.word + "] [KAVO] [LogPrintfTest.cpp] " +
                                     std::to_string(line) + "  " + level.function + "() value 7");
    }
}

TEST_F(LogPrintfTest, DisabledStatementEvaluatesNothing) {
    int evaluated = 0;
    auto count = [&evaluated](const char* text) {
        ++evaluated;
        return text;
    };
    LogPrintf::setLogStatus(kavo::kLogError);
    KAVO_LOGI("%s", count("argument"));
    // The path and function expressions are not evaluated either: no base name is computed.
    KAVO_LOG_WHERE(kavo::kLogInfo, "INFO", count("dir/file.cpp"), count("f"), "%s",
                   count("argument"));
    LogPrintf::setLogStatus(0);
    KAVO_LOGE("%s", count("argument"));
    EXPECT_EQ(evaluated, 0);
    EXPECT_TRUE(capture_.lines().empty());
}

// logPrint itself, called with any level: the lowest bit of level & mask picks the one output.
TEST_F(LogPrintfTest, LowestCommonBitPicksTheOnlyOutput) {
    const struct {
        uint32_t mask;
        uint32_t level;
        int priority;        // -1: nothing reaches the Android log
        const char* stdOut;  // what standard output shows
    } cases[] = {
        {0x3F, kavo::kLogError | kavo::kLogDebug, ANDROID_LOG_ERROR, ""},
        {0x3F, kavo::kLogConsole | kavo::kLogDebug, ANDROID_LOG_DEBUG, ""},
        {0x3F, kavo::kLogVerbose, ANDROID_LOG_VERBOSE, ""},
        {kavo::kLogConsole, kavo::kLogConsole, -1, "beauty-sdk-body-detect hi\n"},
        {kavo::kLogWarn, kavo::kLogError, -1, ""},
        {0, kavo::kLogError | kavo::kLogConsole, -1, ""},
        // Console mode sends every level to standard output, and nothing to the Android log.
        {kavo::kLogConsoleMode, kavo::kLogError, -1, "hi \n"},
        {kavo::kLogConsoleMode, kavo::kLogDebug, -1, "hi \n"},
    };
    for (const auto& c : cases) {
        LogPrintf::setLogStatus(static_cast<int>(c.mask));
        capture_.clear();
        EXPECT_EQ(captureStdout([&c] { LogPrintf::logPrint(c.level, "hi"); }), c.stdOut)
            << c.mask << "/" << c.level;
        const auto lines = capture_.lines();
        ASSERT_EQ(lines.size(), c.priority < 0 ? 0u : 1u) << c.mask << "/" << c.level;
        if (c.priority >= 0) {
            EXPECT_EQ(lines[0].priority, c.priority) << c.mask << "/" << c.level;
        }
    }
}

TEST_F(LogPrintfTest, PathWithoutSlashIsPrintedWhole) {
    EXPECT_STREQ(LogPrintf::baseName("/c.cpp"), "c.cpp");
    EXPECT_STREQ(LogPrintf::baseName("c.cpp"), "c.cpp");
    EXPECT_STREQ(LogPrintf::baseName("dir/"), "");
}

TEST_F(LogPrintfTest, OverlongMessageIsTruncatedNotFatal) {
    LogPrintf::logPrint(kavo::kLogError, "%s", std::string(3000, 'x').c_str());
    ASSERT_EQ(capture_.lines().size(), 1u);
    EXPECT_EQ(capture_.lines()[0].text, std::string(1023, 'x'));
}

TEST_F(LogPrintfTest, ConstructionAndDestructionResetTheMaskToErrorsOnly) {
    LogPrintf::setLogStatus(15);
    {
        LogPrintf logger;
        EXPECT_EQ(LogPrintf::mLogLevel, 1u);
        LogPrintf::setLogStatus(255);
    }
    EXPECT_EQ(LogPrintf::mLogLevel, 1u);
}

TEST_F(LogPrintfTest, PropertyValueBecomesTheMaskKeepingSixBits) {
    const struct {
        const char* value;  // null: property unset
        const char* defaultValue;
        uint32_t before;
        uint32_t after;
    } cases[] = {
        {"15", "0", 1, 15},     {"255", "0", 1, 63}, {"-1", "0", 1, 63}, {"32", "0", 255, 32},
        {"64", "0", 5, 0},      {"0", "0", 5, 5},    {"abc", "0", 5, 5}, {nullptr, "0", 5, 5},
        {nullptr, "12", 1, 12}, {"3", "12", 1, 3},
    };
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
