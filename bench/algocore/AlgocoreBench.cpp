// What the common services cost where the plug-in calls them most often.
//
// Logging: a log statement whose level is off, beside an empty loop body and a plain function call
// (every body ends with a compiler barrier, so the mask is loaded afresh each time).
// Memory: a registry insert+delete, and a tracked malloc+free, beside bare malloc+free, from one
// and from two threads. After the runs the program prints the ratios against the bare calls.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "ALGOGalloc.h"
#include "ALGONativeGalloc.h"
#include "APSAlgoMemTrace.h"
#include "ApsMemMap.h"
#include "LogPrintf.h"
#include "RatioReporter.h"

namespace {

constexpr uint32_t kBlockBytes = 64;

__attribute__((noinline)) void plainCall(int value) {
    benchmark::DoNotOptimize(value);
}

__attribute__((noinline)) const char* expensiveArgument() {
    static std::string text(256, 'x');
    return text.c_str();
}

void EmptyLoopBody(benchmark::State& state) {
    int i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(++i);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(EmptyLoopBody);

void PlainCall(benchmark::State& state) {
    int i = 0;
    for (auto _ : state) {
        plainCall(++i);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(PlainCall);

void DisabledLogStatement(benchmark::State& state) {
    kavo::LogPrintf::setLogStatus(kavo::kLogError);
    int i = 0;
    for (auto _ : state) {
        KAVO_LOGD("frame %d label %s", ++i, expensiveArgument());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(DisabledLogStatement);

void BareMallocFree(benchmark::State& state) {
    for (auto _ : state) {
        void* p = std::malloc(kBlockBytes);
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BareMallocFree)->Threads(1)->Threads(2)->UseRealTime();

// Registry bookkeeping alone: one private block per thread, registered and removed again.
void RegistryInsertDelete(benchmark::State& state) {
    alignas(64) char block[kBlockBytes];
    for (auto _ : state) {
        kavo::AlgorithmMemory::nativeMemAdd(
            kavo::AlgorithmMemory::mapInsert(block, kBlockBytes, 0, __FILE__, __LINE__));
        kavo::AlgorithmMemory::nativeMemDec(
            kavo::AlgorithmMemory::mapDelete(block, __FILE__, __LINE__));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(RegistryInsertDelete)->Threads(1)->Threads(2)->UseRealTime();

void TrackedMallocFree(benchmark::State& state) {
    for (auto _ : state) {
        void* p = kavo::Native::malloc(kBlockBytes, __FILE__, __LINE__);
        benchmark::DoNotOptimize(p);
        kavo::Native::free(p, __FILE__, __LINE__);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TrackedMallocFree)->Threads(1)->Threads(2)->UseRealTime();

// The same with every registration mirrored into a host memory map.
hostaps::ApsMemMap gHostMap;

void connectHostMap(const benchmark::State&) {
    kavo::APSMemMapInfo info = gHostMap.info();
    kavo::APSAlgoMemTrace::setAPSMemInfo(&info);
}

void disconnectHostMap(const benchmark::State&) {
    kavo::APSAlgoMemTrace::sAPSMemEnable = 0;
}

void TrackedMallocFreeMirrored(benchmark::State& state) {
    TrackedMallocFree(state);
}
BENCHMARK(TrackedMallocFreeMirrored)
    ->Setup(connectHostMap)
    ->Teardown(disconnectHostMap)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime();

void printRate(const benchsupport::RatioReporter& reporter, const std::string& what,
               const std::string& name) {
    const double rate = reporter.itemsPerSecond(name);
    if (rate >= 0)
        std::printf("%-50s %10.3f M/s\n", what.c_str(), rate / 1e6);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    // Tracing on, as every handle switches it on; log lines off except errors.
    kavo::LogPrintf::setLogStatus(kavo::kLogError);
    kavo::AlgorithmMemory::memTraceInit(256);

    benchsupport::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::vector<benchsupport::Comparison> rows = {
        {"disabled log statement / empty loop body", "DisabledLogStatement", "EmptyLoopBody", ""},
        {"disabled log statement / plain call", "DisabledLogStatement", "PlainCall", ""},
    };
    std::printf("\n");
    for (const char* threads : {"1", "2"}) {
        const std::string suffix = std::string("/real_time/threads:") + threads;
        const std::string label =
            std::string(" (") + threads + " thread" + (threads[0] == '1' ? "" : "s") + ")";
        printRate(reporter, "registry insert+delete per second" + label,
                  "RegistryInsertDelete" + suffix);
        printRate(reporter, "bare malloc+free per second" + label, "BareMallocFree" + suffix);
        for (const auto& [what, name] :
             {std::pair<const char*, const char*>{"registry insert+delete", "RegistryInsertDelete"},
              {"tracked malloc+free", "TrackedMallocFree"},
              {"mirrored tracked malloc+free", "TrackedMallocFreeMirrored"}}) {
            rows.push_back({std::string(what) + " / bare malloc+free" + label, name + suffix,
                            "BareMallocFree" + suffix, ""});
        }
    }
    reporter.printTable({"against the bare calls (median real time, ns)", "measured", "bare", ""},
                        rows);
    benchmark::Shutdown();
    return 0;
}
