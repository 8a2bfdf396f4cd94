// The logger as call sites and hosts see it: the level test before any work, the fixed heads, the
// Android priorities and tag, console mode, and the mask taken from a system property.
#include <android/log.h>
#include <gtest/gtest.h>

#include <string>

#include "LogCapture.h"
#include "LogPrintf.h"
#include "LogTestSupport.h"
#include "Properties.h"
#include "host_properties.h"

namespace {

using algocoretest::captureStdout;
using algocoretest::LogLevelScope;
using kavo::LogPrintf;

constexpr const char* kAndroidTag = "beauty-sdk-body-detect";
constexpr const char* kLevelProperty = "persist.camera.algo.aibeautybodydetect.loglvl";

// One emitter per level; each returns the line of its log statement.
int emitError(int value) {
    KAVO_LOGE("value %d", value);
    return __LINE__ - 1;
}
int emitWarning(int value) {
    KAVO_LOGW("value %d", value);
    return __LINE__ - 1;
}
int emitInfo(int value) {
    KAVO_LOGI("value %d", value);
    return __LINE__ - 1;
}
int emitDebug(int value) {
    KAVO_LOGD("value %d", value);
    return __LINE__ - 1;
}

struct Level {
    int (*emit)(int);
    uint32_t bit;
    int priority;
    const char* word;
    const char* function;
};

const Level kLevels[] = {
    {emitError, kavo::kLogError, ANDROID_LOG_ERROR, "ERROR", "emitError"},
    {emitWarning, kavo::kLogWarn, ANDROID_LOG_WARN, "WARING", "emitWarning"},
    {emitInfo, kavo::kLogInfo, ANDROID_LOG_INFO, "INFO", "emitInfo"},
    {emitDebug, kavo::kLogDebug, ANDROID_LOG_DEBUG, "DEBUG", "emitDebug"},
};

std::string expectedText(const Level& level, int line, int value) {
    return "[" + std::string(level.word) + "] [KAVO] [LogPrintfTest.cpp] " + std::to_string(line) +
           "  " + level.function + "() value " + std::to_string(value);
}

class LogPrintfTest : public testing::Test {
  protected:
    LogLevelScope level_{kavo::kLogError};
    testsupport::LogCapture capture_;
};

TEST_F(LogPrintfTest, EachLevelWritesItsHeadPriorityAndTag) {
    LogPrintf::setLogStatus(0x0F);
    for (const Level& level : kLevels) {
        capture_.clear();
        const int line = level.emit(7);
        const auto lines = capture_.lines();
        ASSERT_EQ(lines.size(), 1u) << level.word;
        EXPECT_EQ(lines[0].priority, level.priority);
        EXPECT_EQ(lines[0].tag, kAndroidTag);
        EXPECT_EQ(lines[0].text, expectedText(level, line, 7));
    }
}

TEST_F(LogPrintfTest, OnlyTheLevelsInTheMaskAreWritten) {
    for (const Level& enabled : kLevels) {
        LogPrintf::setLogStatus(static_cast<int>(enabled.bit));
        capture_.clear();
        for (const Level& level : kLevels)
            level.emit(1);
        const auto lines = capture_.lines();
        ASSERT_EQ(lines.size(), 1u) << enabled.word;
        EXPECT_EQ(lines[0].priority, enabled.priority);
    }
}

TEST_F(LogPrintfTest, DisabledStatementEvaluatesNothing) {
    int evaluated = 0;
    auto count = [&evaluated](const char* text) {
        ++evaluated;
        return text;
    };
    for (uint32_t mask : {0u, 1u}) {
        LogPrintf::setLogStatus(static_cast<int>(mask));
        KAVO_LOGI("%s", count("argument"));
        KAVO_LOGD("%s", count("argument"));
        KAVO_LOGW("%s", count("argument"));
        // The path and function expressions are not evaluated either: no base name is computed.
        KAVO_LOG_WHERE(kavo::kLogInfo, "INFO", count("dir/file.cpp"), count("f"), "%s",
                       count("argument"));
    }
    LogPrintf::setLogStatus(0);
    KAVO_LOGE("%s", count("argument"));
    EXPECT_EQ(evaluated, 0);
    EXPECT_TRUE(capture_.lines().empty());

    LogPrintf::setLogStatus(kavo::kLogInfo);
    KAVO_LOG_WHERE(kavo::kLogInfo, "INFO", count("dir/file.cpp"), count("f"), "%s",
                   count("argument"));
    EXPECT_EQ(evaluated, 3);
}

TEST_F(LogPrintfTest, ConsoleModeSendsEveryLevelToStandardOutput) {
    LogPrintf::setLogStatus(255);
    for (const Level& level : kLevels) {
        int line = 0;
        const std::string out = captureStdout([&] { line = level.emit(3); });
        EXPECT_EQ(out, expectedText(level, line, 3) + " \n");
    }
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(LogPrintfTest, ConsoleBitEchoesWithTheAndroidTag) {
    LogPrintf::setLogStatus(kavo::kLogConsole);
    const std::string out =
        captureStdout([] { LogPrintf::logPrint(kavo::kLogConsole, "hello %d", 5); });
    EXPECT_EQ(out, "beauty-sdk-body-detect hello 5\n");
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(LogPrintfTest, LowestCommonBitDecidesTheOnlyOutput) {
    LogPrintf::setLogStatus(0x3F);
    const std::string out = captureStdout([] { emitError(1); });
    EXPECT_TRUE(out.empty());
    ASSERT_EQ(capture_.lines().size(), 1u);
    EXPECT_EQ(capture_.lines()[0].priority, ANDROID_LOG_ERROR);

    capture_.clear();
    const std::string echoed = captureStdout(
        [] { LogPrintf::logPrint(kavo::kLogConsole | kavo::kLogDebug, "both bits"); });
    EXPECT_TRUE(echoed.empty());
    ASSERT_EQ(capture_.lines().size(), 1u);
    EXPECT_EQ(capture_.lines()[0].priority, ANDROID_LOG_DEBUG);

    capture_.clear();
    LogPrintf::logPrint(kavo::kLogVerbose, "verbose");
    ASSERT_EQ(capture_.lines().size(), 1u);
    EXPECT_EQ(capture_.lines()[0].priority, ANDROID_LOG_VERBOSE);
}

TEST_F(LogPrintfTest, MaskZeroSilencesEverything) {
    LogPrintf::setLogStatus(0);
    const std::string out = captureStdout([] {
        for (const Level& level : kLevels)
            level.emit(1);
        LogPrintf::logPrint(kavo::kLogError | kavo::kLogConsole, "direct");
    });
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(LogPrintfTest, LevelOutsideTheMaskWritesNothing) {
    LogPrintf::setLogStatus(kavo::kLogWarn);
    LogPrintf::logPrint(kavo::kLogError, "not for this mask");
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(LogPrintfTest, SetLogStatusStoresTheValueUnchanged) {
    for (int level : {0, 1, 63, 64, 255, 1000}) {
        LogPrintf::setLogStatus(level);
        EXPECT_EQ(LogPrintf::mLogLevel, static_cast<uint32_t>(level));
    }
}

TEST_F(LogPrintfTest, PathWithoutSlashIsPrintedWhole) {
    LogPrintf::setLogStatus(kavo::kLogError);
    KAVO_LOG_WHERE(kavo::kLogError, "ERROR", "plain.cpp", "caller", "text");
    const int line = __LINE__ - 1;
    ASSERT_EQ(capture_.lines().size(), 1u);
    EXPECT_EQ(capture_.lines()[0].text,
              "[ERROR] [KAVO] [plain.cpp] " + std::to_string(line) + "  caller() text");
    EXPECT_STREQ(LogPrintf::baseName("a/b/c.cpp"), "c.cpp");
    EXPECT_STREQ(LogPrintf::baseName("/c.cpp"), "c.cpp");
    EXPECT_STREQ(LogPrintf::baseName("c.cpp"), "c.cpp");
    EXPECT_STREQ(LogPrintf::baseName("dir/"), "");
}

TEST_F(LogPrintfTest, OverlongMessageIsTruncatedNotFatal) {
    LogPrintf::setLogStatus(kavo::kLogError);
    const std::string text(3000, 'x');
    LogPrintf::logPrint(kavo::kLogError, "%s", text.c_str());
    ASSERT_EQ(capture_.lines().size(), 1u);
    EXPECT_EQ(capture_.lines()[0].text, std::string(1023, 'x'));
}

TEST_F(LogPrintfTest, ConstructionAndDestructionResetTheMaskToErrorsOnly) {
    LogPrintf::setLogStatus(15);
    {
        LogPrintf logger;
        EXPECT_EQ(LogPrintf::mLogLevel, 1u);
        LogPrintf::setLogStatus(15);
    }
    EXPECT_EQ(LogPrintf::mLogLevel, 1u);

    LogPrintf* heap = new LogPrintf;
    LogPrintf::setLogStatus(255);
    delete heap;
    EXPECT_EQ(LogPrintf::mLogLevel, 1u);
}

class LogLevelPropertyTest : public LogPrintfTest {
  protected:
    void TearDown() override { host_property_unset(kLevelProperty); }
};

TEST_F(LogLevelPropertyTest, NonZeroValueBecomesTheMaskKeepingSixBits) {
    struct Case {
        const char* value;  // null: property unset
        uint32_t before;
        uint32_t after;
    };
    const Case cases[] = {
        {"15", 1, 15}, {"255", 1, 63}, {"1", 0, 1},     {"64", 5, 0},
        {"0", 5, 5},   {"abc", 5, 5},  {nullptr, 5, 5}, {"", 9, 9},
        {"7x", 1, 7},  {"-1", 1, 63},  {"32", 255, 32}, {" 12", 1, 12},
    };
    for (const Case& c : cases) {
        host_property_unset(kLevelProperty);
        if (c.value != nullptr) {
            ASSERT_EQ(property_set(kLevelProperty, c.value), 0);
        }
        LogPrintf::mLogLevel = c.before;
        LogPrintf::setLogStatusByProp(kLevelProperty, "0");
        EXPECT_EQ(LogPrintf::mLogLevel, c.after) << (c.value ? c.value : "(unset)");
    }
}

TEST_F(LogLevelPropertyTest, DefaultAppliesWhenThePropertyIsUnset) {
    LogPrintf::mLogLevel = 1;
    LogPrintf::setLogStatusByProp(kLevelProperty, "12");
    EXPECT_EQ(LogPrintf::mLogLevel, 12u);
}

}  // namespace
