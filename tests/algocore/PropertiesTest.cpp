// Typed property readers: defaults, the truth-word table, integer bases and bounds, the INFO lines
// of the integer reader, errno, writing and listing.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <string>

#include "LogCapture.h"
#include "LogTestSupport.h"
#include "Properties.h"
#include "host_properties.h"

namespace {

using algocoretest::LogLevelScope;

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

TEST_F(PropertiesTest, GetWithoutDefaultReturnsThePlatformResult) {
    char value[PROPERTY_VALUE_MAX];
    std::memset(value, 'x', sizeof(value));
    EXPECT_EQ(property_get(kKey, value, nullptr), 0);
    EXPECT_EQ(value[0], '\0');
    EXPECT_EQ(value[1], 'x') << "the rest of the buffer is left as it was";
}

TEST_F(PropertiesTest, GetCopiesTheDefaultForUnsetOrEmpty) {
    for (const char* stored : {static_cast<const char*>(nullptr), ""}) {
        setValue(stored);
        char value[PROPERTY_VALUE_MAX];
        std::memset(value, 'x', sizeof(value));
        EXPECT_EQ(property_get(kKey, value, "fallback"), 8);
        EXPECT_STREQ(value, "fallback");
    }
}

TEST_F(PropertiesTest, GetPrefersTheStoredValue) {
    setValue("stored");
    char value[PROPERTY_VALUE_MAX] = {0};
    EXPECT_EQ(property_get(kKey, value, "fallback"), 6);
    EXPECT_STREQ(value, "stored");
}

TEST_F(PropertiesTest, LongDefaultIsCutTo91Characters) {
    const std::string longDefault(120, 'd');
    char value[PROPERTY_VALUE_MAX];
    std::memset(value, 'x', sizeof(value));
    EXPECT_EQ(property_get(kKey, value, longDefault.c_str()), 91);
    EXPECT_EQ(std::string(value), std::string(91, 'd'));
    EXPECT_EQ(value[91], '\0');
}

TEST_F(PropertiesTest, BoolFollowsTheTruthWordTable) {
    struct Case {
        const char* value;  // null: unset
        int8_t expected;    // kDefault stands for "the default"
    };
    constexpr int8_t kDefault = 7;
    const Case cases[] = {
        {"0", 0},         {"n", 0},           {"1", 1},
        {"y", 1},         {"x", kDefault},    {"Y", kDefault},
        {"no", 0},        {"false", 0},       {"off", 0},
        {"yes", 1},       {"true", 1},        {"on", 1},
        {"ON", kDefault}, {"True", kDefault}, {"yes ", kDefault},
        {"10", kDefault}, {"", kDefault},     {nullptr, kDefault},
    };
    for (const Case& c : cases) {
        setValue(c.value);
        EXPECT_EQ(property_get_bool(kKey, kDefault), c.expected) << (c.value ? c.value : "(unset)");
        EXPECT_EQ(property_get_bool(kKey, -3), c.expected == kDefault ? -3 : c.expected);
    }
    EXPECT_EQ(property_get_bool(nullptr, 4), 4);
}

enum class Message { None, Overflow, OutOfRange, ConversionFailed };

const char* suffixOf(Message m) {
    switch (m) {
        case Message::Overflow:
            return "overflow";
        case Message::OutOfRange:
            return "out of range";
        case Message::ConversionFailed:
            return "numeric conversion failed";
        case Message::None:
            break;
    }
    return "";
}

// The one INFO line the integer reader writes for `key` and `defaultValue`, if any.
void expectReaderMessage(const testsupport::LogCapture& capture, Message message,
                         const std::string& defaultText, const std::string& context) {
    const auto lines = capture.lines();
    if (message == Message::None) {
        EXPECT_TRUE(lines.empty()) << context;
        return;
    }
    ASSERT_EQ(lines.size(), 1u) << context;
    const algocoretest::HeadedLine line = algocoretest::parseHeadedLine(lines[0]);
    EXPECT_EQ(line.priority, ANDROID_LOG_INFO) << context;
    EXPECT_EQ(line.word, "INFO") << context;
    EXPECT_EQ(line.file, "Properties.cpp") << context;
    EXPECT_EQ(line.function, "property_get_imax") << context;
    EXPECT_EQ(line.message, "property_get_imax(persist.test.core.value," + defaultText + ") - " +
                                suffixOf(message))
        << context;
}

TEST_F(PropertiesTest, Int32ReadsAnyBaseWithinItsBounds) {
    struct Case {
        const char* value;
        int32_t expected;  // kDefault stands for "the default"
        Message message;
    };
    constexpr int32_t kDefault = -77;
    const Case cases[] = {
        {"42", 42, Message::None},
        {" 42", 42, Message::None},
        {"\t-5", -5, Message::None},
        {"+8", 8, Message::None},
        {"0x1F", 31, Message::None},
        {"0X1f", 31, Message::None},
        {"017", 15, Message::None},
        {"0", 0, Message::None},
        {"12abc", 12, Message::None},
        {"2147483647", INT32_MAX, Message::None},
        {"-2147483648", INT32_MIN, Message::None},
        {"2147483648", kDefault, Message::OutOfRange},
        {"-2147483649", kDefault, Message::OutOfRange},
        {"0x80000000", kDefault, Message::OutOfRange},
        {"2147483648abc", kDefault, Message::OutOfRange},
        {"99999999999999999999", kDefault, Message::Overflow},
        {"-99999999999999999999", kDefault, Message::Overflow},
        {"abc", kDefault, Message::ConversionFailed},
        {" ", kDefault, Message::ConversionFailed},
        {"0x", 0, Message::None},
        {"", kDefault, Message::None},
        {nullptr, kDefault, Message::None},
    };
    LogLevelScope level(kavo::kLogError | kavo::kLogInfo);
    testsupport::LogCapture capture;
    for (const Case& c : cases) {
        setValue(c.value);
        capture.clear();
        const std::string context = c.value ? c.value : "(unset)";
        EXPECT_EQ(property_get_int32(kKey, kDefault), c.expected) << context;
        expectReaderMessage(capture, c.message, "-77", context);
    }
}

TEST_F(PropertiesTest, Int64UsesTheWholeSignedRange) {
    struct Case {
        const char* value;
        int64_t expected;
        Message message;
    };
    constexpr int64_t kDefault = 5000000000LL;
    const Case cases[] = {
        {"2147483648", 2147483648LL, Message::None},
        {"9223372036854775807", INT64_MAX, Message::None},
        {"-9223372036854775808", INT64_MIN, Message::None},
        {"9223372036854775808", kDefault, Message::Overflow},
        {"-9223372036854775809", kDefault, Message::Overflow},
        {"0x7fffffffffffffff", INT64_MAX, Message::None},
        {"0xffffffffffffffff", kDefault, Message::Overflow},
        {"junk", kDefault, Message::ConversionFailed},
    };
    LogLevelScope level(kavo::kLogInfo);
    testsupport::LogCapture capture;
    for (const Case& c : cases) {
        setValue(c.value);
        capture.clear();
        EXPECT_EQ(property_get_int64(kKey, kDefault), c.expected) << c.value;
        expectReaderMessage(capture, c.message, "5000000000", c.value);
    }
}

TEST_F(PropertiesTest, IntegerMessagesNeedTheInfoLevel) {
    LogLevelScope level(kavo::kLogError);
    testsupport::LogCapture capture;
    setValue("abc");
    EXPECT_EQ(property_get_int32(kKey, 3), 3);
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(PropertiesTest, NullKeyGivesTheDefault) {
    EXPECT_EQ(property_get_int32(nullptr, 11), 11);
    EXPECT_EQ(property_get_int64(nullptr, -11), -11);
}

TEST_F(PropertiesTest, IntegerReadingPreservesErrno) {
    for (const char* value : {"12", "99999999999999999999", "abc", "2147483648"}) {
        setValue(value);
        errno = EDOM;
        property_get_int32(kKey, 0);
        EXPECT_EQ(errno, EDOM) << value;
        errno = 0;
        property_get_int64(kKey, 0);
        EXPECT_EQ(errno, 0) << value;
    }
}

TEST_F(PropertiesTest, SetPassesThePlatformResult) {
    EXPECT_EQ(property_set(kKey, "abc"), 0);
    char value[PROPERTY_VALUE_MAX] = {0};
    EXPECT_EQ(property_get(kKey, value, nullptr), 3);
    EXPECT_STREQ(value, "abc");
    EXPECT_LT(property_set(kKey, std::string(PROPERTY_VALUE_MAX, 'v').c_str()), 0);
    EXPECT_LT(property_set("", "x"), 0);
    property_get(kKey, value, nullptr);
    EXPECT_STREQ(value, "abc");
}

TEST_F(PropertiesTest, ListVisitsEveryPropertyWithTheCookie) {
    ASSERT_EQ(property_set("test.b", "2"), 0);
    ASSERT_EQ(property_set("test.a", "1"), 0);
    ASSERT_EQ(property_set("ro.test.c", "3"), 0);
    std::map<std::string, std::string> seen;
    auto visit = [](const char* key, const char* value, void* cookie) {
        (*static_cast<std::map<std::string, std::string>*>(cookie))[key] = value;
    };
    EXPECT_EQ(property_list(visit, &seen), 0);
    const std::map<std::string, std::string> expected = {
        {"ro.test.c", "3"}, {"test.a", "1"}, {"test.b", "2"}};
    EXPECT_EQ(seen, expected);
}

}  // namespace
