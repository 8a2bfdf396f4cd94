// Typed property readers over the host property store: defaults cut to the value bound, the
// truth-word table, integer bases and bounds with the integer reader's INFO lines, errno, writing
// and listing.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "LogCapture.h"
#include "LogExpect.h"
#include "LogLevelScope.h"
#include "Properties.h"
#include "host_properties.h"

namespace {

constexpr const char* kKey = "persist.test.core.value";

// Sets kKey, or leaves it unset for a null value.
void setValue(const char* value) {
    host_property_unset(kKey);
    if (value != nullptr) {
        ASSERT_EQ(property_set(kKey, value), 0) << value;
    }
}

TEST(Properties, GetAndBoolFallBackToTheirDefaults) {
    const std::string longDefault(120, 'd');
    const struct {
        const char* stored;  // null: unset
        const char* defaultValue;
        int length;
        std::string value;
    } gets[] = {{nullptr, nullptr, 0, ""},
                {nullptr, "fallback", 8, "fallback"},
                {"", "fallback", 8, "fallback"},
                {"stored", "fallback", 6, "stored"},
                {nullptr, longDefault.c_str(), PROPERTY_VALUE_MAX - 1, std::string(91, 'd')}};
    for (const auto& c : gets) {
        setValue(c.stored);
        char value[PROPERTY_VALUE_MAX];
        std::memset(value, 'x', sizeof(value));
        EXPECT_EQ(property_get(kKey, value, c.defaultValue), c.length) << c.value;
        EXPECT_EQ(std::string(value), c.value);
    }
    EXPECT_EQ(property_get(nullptr, nullptr, nullptr), 0);

    const std::pair<const char*, int8_t> bools[] = {
        {"0", 0},  {"n", 0},   {"no", 0},    {"false", 0}, {"off", 0}, {"1", 1},
        {"y", 1},  {"yes", 1}, {"true", 1},  {"on", 1},    {"Y", 7},   {"True", 7},
        {"10", 7}, {"", 7},    {nullptr, 7}, {"yes ", 7}};
    for (const auto& c : bools) {
        setValue(c.first);
        EXPECT_EQ(property_get_bool(kKey, 7), c.second) << (c.first ? c.first : "(unset)");
    }
    EXPECT_EQ(property_get_bool(nullptr, 4), 4);
}

// Both integer readers share one parser; its INFO line names it and the caller's default.
TEST(Properties, IntegersReadAnyBaseWithinTheirBoundsAndKeepErrno) {
    const struct {
        bool wide;  // property_get_int64 (default 5000000000), else property_get_int32 (-77)
        const char* value;
        int64_t expected;
        const char* message;  // the INFO line's reason, or null for none
    } cases[] = {{false, " 42", 42, nullptr},
                 {false, "0x1F", 31, nullptr},
                 {false, "017", 15, nullptr},
                 {false, "12abc", 12, nullptr},
                 {false, nullptr, -77, nullptr},
                 {false, "2147483647", INT32_MAX, nullptr},
                 {false, "-2147483648", INT32_MIN, nullptr},
                 {false, "2147483648", -77, "out of range"},
                 {false, "99999999999999999999", -77, "overflow"},
                 {false, "abc", -77, "numeric conversion failed"},
                 {true, "2147483648", 2147483648LL, nullptr},
                 {true, "9223372036854775807", INT64_MAX, nullptr},
                 {true, "9223372036854775808", 5000000000LL, "overflow"},
                 {true, "-9223372036854775809", 5000000000LL, "overflow"}};
    testsupport::LogLevelScope level(kavo::kLogError | kavo::kLogInfo);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value ? c.value : "(unset)");
        setValue(c.value);
        testsupport::LogCapture capture;
        errno = EDOM;
        EXPECT_EQ(c.wide ? property_get_int64(kKey, 5000000000LL) : property_get_int32(kKey, -77),
                  c.expected);
        EXPECT_EQ(errno, EDOM);
        if (c.message == nullptr) {
            EXPECT_TRUE(capture.lines().empty());
        } else {
            EXPECT_TRUE(testsupport::onlyLine(capture, ANDROID_LOG_INFO, "property_get_imax",
                                              std::string("property_get_imax(") + kKey + "," +
                                                  (c.wide ? "5000000000" : "-77") + ") - " +
                                                  c.message));
        }
    }
    EXPECT_EQ(property_get_int32(nullptr, 11), 11);
    EXPECT_EQ(property_get_int64(nullptr, -11), -11);
}

// property_set passes the store's verdict through (values up to 91 characters); property_list
// visits every property in name order with the cookie.
TEST(Properties, SetAndListPassTheStoreThrough) {
    host_property_clear();
    EXPECT_EQ(property_set(kKey, std::string(PROPERTY_VALUE_MAX - 1, 'v').c_str()), 0);
    EXPECT_EQ(property_set(kKey, std::string(PROPERTY_VALUE_MAX, 'w').c_str()), -1);
    EXPECT_EQ(property_set(nullptr, "v"), -1);
    EXPECT_EQ(property_set("ro.test.once", "first"), 0);
    EXPECT_EQ(property_set("ro.test.once", "second"), -1);
    using Seen = std::vector<std::pair<std::string, std::string>>;
    Seen seen;
    auto visit = [](const char* key, const char* value, void* cookie) {
        static_cast<Seen*>(cookie)->emplace_back(key, value);
    };
    EXPECT_EQ(property_list(visit, &seen), 0);
    EXPECT_EQ(seen,
              (Seen{{kKey, std::string(PROPERTY_VALUE_MAX - 1, 'v')}, {"ro.test.once", "first"}}));
}

}  // namespace
