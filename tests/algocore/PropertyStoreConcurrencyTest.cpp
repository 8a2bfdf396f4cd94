// The host property store under several threads: writers, readers and a lister at once, and a
// race for a read-only property that exactly one writer may win.
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Properties.h"
#include "host_properties.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 500;

class PropertyStoreConcurrencyTest : public testing::Test {
  protected:
    void SetUp() override { host_property_clear(); }
    void TearDown() override { host_property_clear(); }
};

TEST_F(PropertyStoreConcurrencyTest, WritersReadersAndListersDoNotDisturbEachOther) {
    std::atomic<bool> done{false};
    std::atomic<int> faults{0};
    std::thread lister([&] {
        while (!done.load()) {
            int count = 0;
            property_list([](const char*, const char*, void* c) { ++*static_cast<int*>(c); },
                          &count);
            if (count > kThreads + 1)
                ++faults;
        }
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) {
        workers.emplace_back([t, &faults] {
            const std::string own = "test.thread." + std::to_string(t);
            for (int round = 0; round < kRounds; ++round) {
                const std::string value = std::to_string(round);
                if (property_set(own.c_str(), value.c_str()) != 0)
                    ++faults;
                if (property_get_int32(own.c_str(), -1) != round)
                    ++faults;
                property_set("test.shared", value.c_str());
                if (property_get_int32("test.shared", -1) < 0)
                    ++faults;
            }
        });
    }
    for (std::thread& worker : workers)
        worker.join();
    done = true;
    lister.join();

    EXPECT_EQ(faults.load(), 0);
    for (int t = 0; t < kThreads; ++t) {
        const std::string own = "test.thread." + std::to_string(t);
        EXPECT_EQ(property_get_int32(own.c_str(), -1), kRounds - 1);
    }
}

TEST_F(PropertyStoreConcurrencyTest, ExactlyOneWriterWinsAReadOnlyProperty) {
    for (int race = 0; race < 20; ++race) {
        host_property_clear();
        std::atomic<int> winners{0};
        std::atomic<int> winner{-1};
        std::vector<std::thread> writers;
        for (int t = 0; t < kThreads; ++t) {
            writers.emplace_back([t, &winners, &winner] {
                if (__system_property_set("ro.test.race", std::to_string(t).c_str()) == 0) {
                    ++winners;
                    winner = t;
                }
            });
        }
        for (std::thread& writer : writers)
            writer.join();
        ASSERT_EQ(winners.load(), 1);
        EXPECT_EQ(property_get_int32("ro.test.race", -1), winner.load());
    }
}

}  // namespace
