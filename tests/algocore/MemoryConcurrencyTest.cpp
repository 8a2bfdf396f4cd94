// The registry and the host mirror under several threads at once. Run under ThreadSanitizer by CI
// (label "concurrency"): the interesting failures here are data races and lock-order inversions,
// not wrong numbers.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "ALGONativeGalloc.h"
#include "APSAlgoMemTrace.h"
#include "ApsMemMap.h"
#include "MemoryTestSupport.h"
#include "StatusCodes.h"

namespace {

using kavo::AlgorithmMemory;
using kavo::Native;

constexpr int kThreads = 4;
constexpr int kRounds = 1500;
constexpr int kLiveBlocks = 8;

class MemoryConcurrencyTest : public algocoretest::TracedRegistryTest {
  protected:
    void connectHost() {
        kavo::APSMemMapInfo info = host_.info();
        ASSERT_EQ(kavo::APSAlgoMemTrace::setAPSMemInfo(&info), 0);
    }

    hostaps::ApsMemMap host_;
};

// One worker: keeps a few blocks alive, and allocates, grows, checks and frees them in turn.
int churn(int seed) {
    int faults = 0;
    void* live[kLiveBlocks] = {};
    uint32_t sizes[kLiveBlocks] = {};
    uint32_t state = static_cast<uint32_t>(seed) * 2654435761u + 1;
    for (int round = 0; round < kRounds; ++round) {
        state = state * 1103515245u + 12345u;
        const int slot = static_cast<int>((state >> 16) % kLiveBlocks);
        const uint32_t size = 8 + (state >> 8) % 256;
        if (live[slot] == nullptr) {
            live[slot] = (round % 3 == 0) ? Native::calloc(1, size, "worker.cpp", 1)
                                          : Native::malloc(size, "worker.cpp", 2);
            sizes[slot] = size;
            if (live[slot] == nullptr)
                ++faults;
        } else if (round % 5 == 0 && sizes[slot] < 4096) {
            live[slot] = Native::realloc(live[slot], sizes[slot] * 2, "worker.cpp", 3);
            sizes[slot] *= 2;
            if (live[slot] == nullptr)
                ++faults;
        } else {
            auto* last =
                static_cast<char*>(Native::get(live[slot], sizes[slot] - 1, 1, 1, "worker.cpp", 4));
            if (last == nullptr) {
                ++faults;
            } else {
                *last = 1;
            }
            Native::free(live[slot], "worker.cpp", 5);
            live[slot] = nullptr;
        }
    }
    for (void* p : live)
        Native::free(p, "worker.cpp", 6);
    return faults;
}

TEST_F(MemoryConcurrencyTest, ThreadsAllocatingAndFreeingLeaveNothingBehind) {
    testsupport::LogLevelScope errorsOnly(kavo::kLogError);
    connectHost();
    AlgorithmMemory::memTraceInit(256);

    std::atomic<bool> done{false};
    std::atomic<int> faults{0};
    // A reader that walks the maps and counters the way a leak report would, meanwhile.
    std::thread reader([&] {
        while (!done.load()) {
            AlgorithmMemory::mapPrint(kavo::ALGO_MEM_NATIVE);
            (void)AlgorithmMemory::getTotalMemSize();
            (void)AlgorithmMemory::getInternalMemMaxSize();
            (void)host_.nativeRecordCount();
            (void)host_.nativeUsingSize();
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) {
        workers.emplace_back([t, &faults] { faults += churn(t + 1); });
    }
    for (std::thread& worker : workers)
        worker.join();
    done = true;
    reader.join();

    EXPECT_EQ(faults.load(), 0);
    EXPECT_EQ(AlgorithmMemory::memFinalCheck(), 0);
    EXPECT_GT(AlgorithmMemory::getInternalMemMaxSize(), 0u);
    EXPECT_EQ(host_.nativeRecordCount(), 0u);
    EXPECT_EQ(host_.nativeUsingSize(), 0u);
    EXPECT_EQ(capture_.errorCount(), 0u);
}

TEST_F(MemoryConcurrencyTest, EachCounterOperationIsExactUnderContention) {
    // One thread adds while another subtracts, and nothing else runs, so that no other lock
    // orders them: an update without its lock is then a race the sanitizer sees on every run.
    const struct {
        void (*add)(uint32_t);
        void (*dec)(uint32_t);
        uint32_t (*read)();
    } counters[] = {
        {AlgorithmMemory::nativeMemAdd, AlgorithmMemory::nativeMemDec,
         AlgorithmMemory::getInternalMemSize},
        {AlgorithmMemory::externalMemAdd, AlgorithmMemory::externalMemDec,
         AlgorithmMemory::getTotalMemSize},
        {AlgorithmMemory::virtureMemAdd, AlgorithmMemory::virtureMemDec,
         AlgorithmMemory::getTotalMemSize},
    };
    constexpr uint32_t kUpdates = 20000;
    for (const auto& counter : counters) {
        std::thread adder([&counter] {
            for (uint32_t i = 0; i < kUpdates; ++i)
                counter.add(3);
        });
        std::thread subtracter([&counter] {
            for (uint32_t i = 0; i < kUpdates; ++i)
                counter.dec(2);
        });
        adder.join();
        subtracter.join();
        EXPECT_EQ(counter.read(), kUpdates);
        counter.dec(kUpdates);
    }
}

TEST_F(MemoryConcurrencyTest, RacingRegistrationsOfOnePointerRegisterItOnce) {
    connectHost();
    char block[32];
    std::atomic<uint32_t> registeredBytes{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) {
        workers.emplace_back([&] {
            const uint32_t size = AlgorithmMemory::mapInsert(block, sizeof(block), 0, "r.cpp", 1);
            AlgorithmMemory::nativeMemAdd(size);
            registeredBytes += size;
        });
    }
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(registeredBytes.load(), 32u);
    EXPECT_EQ(AlgorithmMemory::getInternalMemSize(), 32u);
    EXPECT_EQ(host_.nativeRecordCount(), 1u);
    EXPECT_EQ(host_.nativeUsingSize(), 32u);
    KAVO_UNTRACK(block);
    EXPECT_EQ(host_.nativeUsingSize(), 0u);
}

}  // namespace
