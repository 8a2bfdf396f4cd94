// The host property store that stands in for Android's property service: value limit, read-only
// properties, unset and clear, and the foreach/read-callback pair.
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include <string>
#include <utility>
#include <vector>

#include "host_properties.h"

namespace {

class PropertyStoreTest : public testing::Test {
  protected:
    void SetUp() override { host_property_clear(); }
    void TearDown() override { host_property_clear(); }

    static std::string get(const char* name) {
        char value[PROP_VALUE_MAX];
        __system_property_get(name, value);
        return value;
    }
};

TEST_F(PropertyStoreTest, ValuesUpTo91CharactersAreKept) {
    const std::string longest(PROP_VALUE_MAX - 1, 'v');
    EXPECT_EQ(__system_property_set("test.store.long", longest.c_str()), 0);
    char value[PROP_VALUE_MAX];
    EXPECT_EQ(__system_property_get("test.store.long", value), PROP_VALUE_MAX - 1);
    EXPECT_EQ(std::string(value), longest);

    const std::string tooLong(PROP_VALUE_MAX, 'w');
    EXPECT_EQ(__system_property_set("test.store.long", tooLong.c_str()), -1);
    EXPECT_EQ(get("test.store.long"), longest);
}

TEST_F(PropertyStoreTest, UnsetPropertyReadsEmpty) {
    char value[PROP_VALUE_MAX] = "junk";
    EXPECT_EQ(__system_property_get("test.store.none", value), 0);
    EXPECT_STREQ(value, "");
}

TEST_F(PropertyStoreTest, ReadOnlyPropertiesAreWrittenOnce) {
    EXPECT_EQ(__system_property_set("ro.test.once", "first"), 0);
    EXPECT_EQ(__system_property_set("ro.test.once", "second"), -1);
    EXPECT_EQ(get("ro.test.once"), "first");

    EXPECT_EQ(__system_property_set("test.rw", "first"), 0);
    EXPECT_EQ(__system_property_set("test.rw", "second"), 0);
    EXPECT_EQ(get("test.rw"), "second");
}

TEST_F(PropertyStoreTest, BadArgumentsAreRefused) {
    EXPECT_EQ(__system_property_set(nullptr, "v"), -1);
    EXPECT_EQ(__system_property_set("test.x", nullptr), -1);
    EXPECT_EQ(__system_property_set("", "v"), -1);
    EXPECT_EQ(__system_property_get(nullptr, nullptr), 0);
    EXPECT_EQ(__system_property_foreach(nullptr, nullptr), -1);
}

TEST_F(PropertyStoreTest, UnsetAndClearRemoveReadOnlyPropertiesToo) {
    ASSERT_EQ(__system_property_set("ro.test.gone", "1"), 0);
    EXPECT_EQ(host_property_unset("ro.test.gone"), 0);
    EXPECT_EQ(host_property_unset("ro.test.gone"), -1);
    EXPECT_EQ(__system_property_set("ro.test.gone", "2"), 0);
    EXPECT_EQ(get("ro.test.gone"), "2");

    host_property_clear();
    EXPECT_EQ(get("ro.test.gone"), "");
}

TEST_F(PropertyStoreTest, ForeachVisitsInNameOrderWithSerials) {
    ASSERT_EQ(__system_property_set("test.b", "1"), 0);
    ASSERT_EQ(__system_property_set("test.a", "1"), 0);
    ASSERT_EQ(__system_property_set("test.a", "2"), 0);
    struct Seen {
        std::vector<std::pair<std::string, std::string>> entries;
        std::vector<uint32_t> serials;
    } seen;
    auto visit = [](const prop_info* pi, void* cookie) {
        __system_property_read_callback(
            pi,
            [](void* c, const char* name, const char* value, uint32_t serial) {
                Seen* s = static_cast<Seen*>(c);
                s->entries.emplace_back(name, value);
                s->serials.push_back(serial);
            },
            cookie);
    };
    EXPECT_EQ(__system_property_foreach(visit, &seen), 0);
    const std::vector<std::pair<std::string, std::string>> expected = {{"test.a", "2"},
                                                                       {"test.b", "1"}};
    EXPECT_EQ(seen.entries, expected);
    ASSERT_EQ(seen.serials.size(), 2u);
    EXPECT_GT(seen.serials[0], seen.serials[1]) << "a rewritten property has a newer serial";
}

}  // namespace
