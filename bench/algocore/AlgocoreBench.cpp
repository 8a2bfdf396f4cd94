// What the common services cost where the plug-in calls them most often.
//
// Logging: a log statement whose level is off, beside an empty loop body and a plain function call
// (every body ends with a compiler barrier, so the mask is loaded afresh each time).
// Memory: a registry insert+delete, and a tracked malloc+free, beside bare malloc+free, from one
// and from two threads. After the runs the program prints the ratios against the bare calls.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "ALGOGalloc.h"
#include "ALGONativeGalloc.h"
#include "APSAlgoMemTrace.h"
#include "ApsMemMap.h"
#include "LogPrintf.h"

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

// Keeps each run's time per iteration (ns) and items per second for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            nanos_[run.benchmark_name()] = run.GetAdjustedRealTime();
            const auto items = run.counters.find("items_per_second");
            if (items != run.counters.end())
                perSecond_[run.benchmark_name()] = items->second;
        }
    }

    void printRatio(const std::string& what, const std::string& of, const std::string& base) {
        const auto a = nanos_.find(of);
        const auto b = nanos_.find(base);
        if (a == nanos_.end() || b == nanos_.end() || b->second <= 0)
            return;
        std::printf("%-58s %8.2f x  (%.2f ns vs %.2f ns)\n", what.c_str(), a->second / b->second,
                    a->second, b->second);
    }

    void printRate(const std::string& what, const std::string& name) {
        const auto rate = perSecond_.find(name);
        if (rate == perSecond_.end())
            return;
        std::printf("%-58s %10.3f M/s\n", what.c_str(), rate->second / 1e6);
    }

  private:
    std::map<std::string, double> nanos_;
    std::map<std::string, double> perSecond_;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    // Tracing on, as every handle switches it on; log lines off except errors.
    kavo::LogPrintf::setLogStatus(kavo::kLogError);
    kavo::AlgorithmMemory::memTraceInit(256);

    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("\nRatios against the bare calls of this run:\n");
    reporter.printRatio("disabled log statement / empty loop body", "DisabledLogStatement",
                        "EmptyLoopBody");
    reporter.printRatio("disabled log statement / plain call", "DisabledLogStatement", "PlainCall");
    for (const char* threads : {"1", "2"}) {
        const std::string suffix = std::string("/real_time/threads:") + threads;
        const std::string label =
            std::string(" (") + threads + " thread" + (threads[0] == '1' ? "" : "s") + ")";
        reporter.printRate("registry insert+delete per second" + label,
                           "RegistryInsertDelete" + suffix);
        reporter.printRate("bare malloc+free per second" + label, "BareMallocFree" + suffix);
        reporter.printRatio("registry insert+delete / bare malloc+free" + label,
                            "RegistryInsertDelete" + suffix, "BareMallocFree" + suffix);
        reporter.printRatio("tracked malloc+free / bare malloc+free" + label,
                            "TrackedMallocFree" + suffix, "BareMallocFree" + suffix);
        reporter.printRatio("mirrored tracked malloc+free / bare malloc+free" + label,
                            "TrackedMallocFreeMirrored" + suffix, "BareMallocFree" + suffix);
    }
    benchmark::Shutdown();
    return 0;
}
