// Stopwatches: start stores the monotonic clock in microseconds; end logs the elapsed whole
// milliseconds and resets the start to 0. No duration is asserted, only where it is measured from.
#include <gtest/gtest.h>
#include <time.h>

#include <string>

#include "BodySegmentFunc.h"
#include "VerboseLog.h"

namespace functest {
namespace {

unsigned long long clockMicros() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned long long>(now.tv_sec) * 1000000ULL +
           static_cast<unsigned long long>(now.tv_nsec) / 1000ULL;
}

// The milliseconds of the one DEBUG line "<label> = <ms> ms".
unsigned long long loggedMillis(const testsupport::LogCapture& log, const std::string& label) {
    const auto lines = log.matching("time_end() " + label + " = ");
    EXPECT_EQ(1u, lines.size());
    if (lines.size() != 1)
        return 0;
    EXPECT_EQ(ANDROID_LOG_DEBUG, lines[0].priority);
    const std::string& text = lines[0].text;
    const size_t from = text.find(label + " = ") + label.size() + 3;
    EXPECT_EQ(" ms", text.substr(text.size() - 3));
    return std::stoull(text.substr(from, text.size() - 3 - from));
}

TEST(FuncStopwatch, StartStoresTheMonotonicClockInMicroseconds) {
    const unsigned long long before = clockMicros();
    unsigned long long t = 0;
    bodysegment::time_start(&t);
    const unsigned long long after = clockMicros();
    EXPECT_LE(before, t);
    EXPECT_LE(t, after);
}

TEST(FuncStopwatch, EndResetsTheStartAndLogsAtDebug) {
    VerboseLog verbose;
    testsupport::LogCapture log;
    unsigned long long t = 0;
    bodysegment::time_start(&t);
    const unsigned long long started = t;
    bodysegment::time_end(&t, "pre process bodysegment time");
    const unsigned long long ended = clockMicros();
    EXPECT_EQ(0u, t);
    EXPECT_LE(loggedMillis(log, "pre process bodysegment time"), (ended - started) / 1000);
    EXPECT_TRUE(loggedOnce(log, ANDROID_LOG_DEBUG, "time_end",
                           "pre process bodysegment time = " +
                               std::to_string(loggedMillis(log, "pre process bodysegment time")) +
                               " ms"));
}

TEST(FuncStopwatch, NeverStartedAndSecondEndReportTheAbsoluteClock) {
    VerboseLog verbose;
    testsupport::LogCapture log;
    unsigned long long never_started = 0;
    unsigned long long before = clockMicros() / 1000;
    bodysegment::time_end(&never_started, "init time");
    unsigned long long after = clockMicros() / 1000;
    const unsigned long long absolute = loggedMillis(log, "init time");
    EXPECT_LE(before, absolute);
    EXPECT_LE(absolute, after);

    unsigned long long t = 0;
    bodysegment::time_start(&t);
    bodysegment::time_end(&t, "inference time");
    before = clockMicros() / 1000;
    bodysegment::time_end(&t, "lable redistribute time");
    after = clockMicros() / 1000;
    const unsigned long long second = loggedMillis(log, "lable redistribute time");
    EXPECT_LE(before, second);
    EXPECT_LE(second, after);
}

TEST(FuncStopwatch, NothingIsLoggedWithDebugOff) {
    testsupport::LogCapture log;
    unsigned long long t = 0;
    bodysegment::time_start(&t);
    bodysegment::time_end(&t, "release time");
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(0u, t);
}

}  // namespace
}  // namespace functest
