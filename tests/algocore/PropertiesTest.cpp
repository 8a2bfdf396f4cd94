// Typed property readers over the host property store: defaults, the truth-word table, integer
// bases and bounds, the INFO lines of the integer reader, errno, writing and listing.
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

class PropertiesTest : public testing::Test {
  protected:
    void SetUp() override { host_property_clear(); }
    void TearDown() override { host_property_clear(); }

    // Sets kKey, or leaves it unset for a null value.
    static void setValue(const char* value) {
        host_property_unset(kKey);
        if (value != nullptr) {
            ASSERT_EQ(property_set(kKey, value), 0) << value;
        }
    }
};

TEST_F(PropertiesTest, GetFallsBackToTheDefaultCutTo91Characters) {
    const std::string longDefault(120, 'd');
    const struct {
        const char* stored;  // null: unset
        const char* defaultValue;
        int length;
        std::string value;
    } cases[] = {
        {nullptr, nullptr, 0, ""},
        {nullptr, "fallback", 8, "fallback"},
        {"", "fallback", 8, "fallback"},
        {"stored", "fallback", 6, "stored"},
        {nullptr, longDefault.c_str(), 91, std::string(91, 'd')},
    };
    for (const auto& c : cases) {
        setValue(c.stored);
        char value[PROPERTY_VALUE_MAX];
        std::memset(value, 'x', sizeof(value));
        EXPECT_EQ(property_get(kKey, value, c.defaultValue), c.length) << c.value;
        EXPECT_EQ(std::string(value), c.value);
    }
}

TEST_F(PropertiesTest, BoolFollowsTheTruthWordTable) {
    constexpr int8_t kDefault = 7;
    const struct {
        const char* value;  // null: unset
        int8_t expected;
    } cases[] = {
        {"0", 0},           {"n", 0},        {"no", 0},
        {"false", 0},       {"off", 0},      {"1", 1},
        {"y", 1},           {"yes", 1},      {"true", 1},
        {"on", 1},          {"Y", kDefault}, {"True", kDefault},
        {"10", kDefault},   {"", kDefault},  {nullptr, kDefault},
        {"yes ", kDefault},
    };
    for (const auto& c : cases) {
        setValue(c.value);
        EXPECT_EQ(property_get_bool(kKey, kDefault), c.expected) << (c.value ? c.value : "(unset)");
    }
    EXPECT_EQ(property_get_bool(nullptr, 4), 4);
}

// Both integer readers share one parser; its INFO line names it and the caller's default.
TEST_F(PropertiesTest, IntegersReadAnyBaseWithinTheirBoundsAndKeepErrno) {
    const struct {
        bool wide;  // property_get_int64 (default 5000000000), else property_get_int32 (-77)
        const char* value;
        int64_t expected;
        const char* message;  // the INFO line's reason, or null for none
    } cases[] = {
        {false, " 42", 42, nullptr},
        {false, "0x1F", 31, nullptr},
        {false, "017", 15, nullptr},
        {false, "12abc", 12, nullptr},
        {false, "0x", 0, nullptr},
        {false, nullptr, -77, nullptr},
        {false, "2147483647", INT32_MAX, nullptr},
        {false, "-2147483648", INT32_MIN, nullptr},
        {false, "2147483648", -77, "out of range"},
        {false, "-2147483649", -77, "out of range"},
        {false, "99999999999999999999", -77, "overflow"},
        {false, "abc", -77, "numeric conversion failed"},
        {true, "2147483648", 2147483648LL, nullptr},
        {true, "9223372036854775807", INT64_MAX, nullptr},
        {true, "-9223372036854775808", INT64_MIN, nullptr},
        {true, "9223372036854775808", 5000000000LL, "overflow"},
        {true, "-9223372036854775809", 5000000000LL, "overflow"},
        {true, "0xffffffffffffffff", 5000000000LL, "overflow"},
    };
    testsupport::LogLevelScope level(kavo::kLogError | kavo::kLogInfo);
    testsupport::LogCapture capture;
    for (const auto& c : cases) {
        const std::string context = c.value ? c.value : "(unset)";
        setValue(c.value);
        capture.clear();
        errno = EDOM;
        EXPECT_EQ(c.wide ? property_get_int64(kKey, 5000000000LL) : property_get_int32(kKey, -77),
                  c.expected)
            << context;
        EXPECT_EQ(errno, EDOM) << context;
        if (c.message == nullptr) {
            EXPECT_TRUE(capture.lines().empty()) << context;
            continue;
        }
        const std::string call = std::string("property_get_imax(") + kKey + "," +
                                 (c.wide ? "5000000000" : "-77") + ") - " + c.message;
        EXPECT_TRUE(testsupport::onlyLine(capture, ANDROID_LOG_INFO, "property_get_imax", call))
            << context;
    }
    EXPECT_EQ(property_get_int32(nullptr, 11), 11);
    EXPECT_EQ(property_get_int64(nullptr, -11), -11);
}

// property_set passes the host store's verdict through; the store keeps values up to 91
// characters, writes read-only properties once, and forgets them only when unset or cleared.
TEST_F(PropertiesTest, SetFollowsTheStoreRules) {
    auto read = [](const char* key) {
        char value[PROPERTY_VALUE_MAX];
        property_get(key, value, nullptr);
        return std::string(value);
    };
    const std::string longest(PROPERTY_VALUE_MAX - 1, 'v');
    EXPECT_EQ(property_set(kKey, longest.c_str()), 0);
    EXPECT_EQ(property_set(kKey, std::string(PROPERTY_VALUE_MAX, 'w').c_str()), -1);
    EXPECT_EQ(read(kKey), longest);
    EXPECT_EQ(property_set(nullptr, "v"), -1);
    EXPECT_EQ(property_set(kKey, nullptr), -1);
    EXPECT_EQ(property_set("", "v"), -1);
    EXPECT_EQ(property_get(nullptr, nullptr, nullptr), 0);

    EXPECT_EQ(property_set("ro.test.once", "first"), 0);
    EXPECT_EQ(property_set("ro.test.once", "second"), -1);
    EXPECT_EQ(read("ro.test.once"), "first");
    EXPECT_EQ(host_property_unset("ro.test.once"), 0);
    EXPECT_EQ(host_property_unset("ro.test.once"), -1);
    EXPECT_EQ(property_set("ro.test.once", "third"), 0);
    EXPECT_EQ(read("ro.test.once"), "third");
    host_property_clear();
    EXPECT_EQ(read("ro.test.once"), "");
}

TEST_F(PropertiesTest, ListVisitsEveryPropertyInNameOrderWithTheCookie) {
    ASSERT_EQ(property_set("test.b", "2"), 0);
    ASSERT_EQ(property_set("test.a", "1"), 0);
    ASSERT_EQ(property_set("ro.test.c", "3"), 0);
    using Seen = std::vector<std::pair<std::string, std::string>>;
    Seen seen;
    auto visit = [](const char* key, const char* value, void* cookie) {
        static_cast<Seen*>(cookie)->emplace_back(key, value);
    };
    EXPECT_EQ(property_list(visit, &seen), 0);
    EXPECT_EQ(seen, (Seen{{"ro.test.c", "3"}, {"test.a", "1"}, {"test.b", "2"}}));
}

}  // namespace
