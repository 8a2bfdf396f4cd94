// The registry, its host mirror and the property readers under several threads at once. Run under
// ThreadSanitizer by CI (label "concurrency"): the interesting failures here are data races and
// lock-order inversions, not wrong numbers.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "ALGONativeGalloc.h"
#include "MemoryTestSupport.h"
#include "Properties.h"
#include "host_properties.h"

namespace {

using kavo::AlgorithmMemory;
using kavo::Native;

constexpr int kThreads = 4;
constexpr int kRounds = 1500;

class MemoryConcurrencyTest : public algocoretest::TracedRegistryTest {};

// One worker: keeps a few blocks alive and allocates, grows, checks and frees them in turn, and
// writes and reads back its own property.
int churn(int seed) {
    int faults = 0;
    void* live[8] = {};
    uint32_t sizes[8] = {};
    const std::string key = "test.thread." + std::to_string(seed);
    uint32_t state = static_cast<uint32_t>(seed) * 2654435761u + 1;
    for (int round = 0; round < kRounds; ++round) {
        state = state * 1103515245u + 12345u;
        const int slot = static_cast<int>((state >> 16) % 8);
        const uint32_t size = 8 + (state >> 8) % 256;
        if (live[slot] == nullptr) {
            live[slot] = (round % 3 == 0) ? Native::calloc(1, size, "worker.cpp", 1)
                                          : Native::malloc(size, "worker.cpp", 2);
            sizes[slot] = size;
            faults += live[slot] == nullptr;
        } else if (round % 5 == 0 && sizes[slot] < 4096) {
            sizes[slot] *= 2;
            live[slot] = Native::realloc(live[slot], sizes[slot], "worker.cpp", 3);
            faults += live[slot] == nullptr;
        } else {
            auto* last =
                static_cast<char*>(Native::get(live[slot], sizes[slot] - 1, 1, 1, "worker.cpp", 4));
            faults += last == nullptr;
            if (last != nullptr)
                *last = 1;
            Native::free(live[slot], "worker.cpp", 5);
            live[slot] = nullptr;
        }
        if (round % 10 == 0) {
            faults += property_set(key.c_str(), std::to_string(round).c_str()) != 0;
            faults += property_get_int32(key.c_str(), -1) != round;
        }
    }
    for (void* p : live)
        Native::free(p, "worker.cpp", 6);
    return faults;
}

TEST_F(MemoryConcurrencyTest, ThreadsAllocatingAndFreeingLeaveNothingBehind) {
    testsupport::LogLevelScope errorsOnly(kavo::kLogError);
    host_property_clear();
    AlgorithmMemory::memTraceInit(256);
    std::atomic<bool> done{false};
    std::atomic<int> faults{0};
    // A reader that walks the maps, counters and properties the way a leak report would.
    std::thread reader([&] {
        while (!done.load()) {
            AlgorithmMemory::mapPrint(kavo::ALGO_MEM_NATIVE);
            (void)AlgorithmMemory::getTotalMemSize();
            (void)host_.nativeRecordCount();
            (void)host_.nativeUsingSize();
            property_list([](const char*, const char*, void*) {}, nullptr);
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t)
        workers.emplace_back([t, &faults] { faults += churn(t + 1); });
    for (std::thread& worker : workers)
        worker.join();
    done = true;
    reader.join();
    host_property_clear();

    EXPECT_EQ(faults.load(), 0);
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), 0);
    EXPECT_GT(AlgorithmMemory::getInternalMemMaxSize(), 0u);
    EXPECT_EQ(capture_.errorCount(), 0u);
}

}  // namespace
