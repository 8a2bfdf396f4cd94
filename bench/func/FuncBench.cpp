// Frame preparation and mask output against the bare libyuv calls they make, measured in the
// same run, with a memcpy of the same data as a floor. The closing table gives the ratios.
#include <benchmark/benchmark.h>
#include <libyuv/rotate.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "BareFramePath.h"
#include "FramePath.h"
#include "RatioReporter.h"

namespace {

using benchsupport::FrameBuffers;
using benchsupport::FrameCase;
using benchsupport::kNetHeight;
using benchsupport::kNetPixels;
using benchsupport::kNetWidth;

void preProcess(benchmark::State& state, const FrameCase& f) {
    FrameBuffers b(f);
    const bodysegment::Settings s = benchsupport::frameSettings(f);
    for (auto _ : state) {
        benchmark::DoNotOptimize(bodysegment::pre_process_bodysegment(
            b.frame.data(), b.tensor.data(), b.tmp.data(), b.scaled.data(), b.rotated.data(), &s));
        benchmark::ClobberMemory();
    }
}

// The same four libyuv calls, written out.
void bareLibyuv(benchmark::State& state, const FrameCase& f) {
    FrameBuffers b(f);
    for (auto _ : state) {
        benchmark::DoNotOptimize(benchsupport::bareFramePreparation(b, f));
        benchmark::ClobberMemory();
    }
}

void frameMemcpy(benchmark::State& state, const FrameCase& f) {
    FrameBuffers b(f);
    for (auto _ : state) {
        std::memcpy(b.tmp.data(), b.frame.data(), b.frame.size());
        benchmark::ClobberMemory();
    }
}

struct LabelBuffers {
    LabelBuffers() : labels(kNetPixels), mask(kNetPixels) {
        for (size_t i = 0; i < labels.size(); ++i)
            labels[i] = static_cast<uint8_t>(i % 3);
    }
    std::vector<uint8_t> labels, mask;
};

void postProcess(benchmark::State& state, int orientation) {
    LabelBuffers b;
    bodysegment::Settings s;
    s.orientation = orientation;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            bodysegment::post_process_bodysegment(b.mask.data(), b.labels.data(), &s));
        benchmark::ClobberMemory();
    }
}

void bareRotatePlane(benchmark::State& state, libyuv::RotationMode mode) {
    LabelBuffers b;
    for (auto _ : state) {
        benchmark::DoNotOptimize(libyuv::RotatePlane(b.labels.data(), kNetWidth, b.mask.data(),
                                                     kNetHeight, kNetWidth, kNetHeight, mode));
        benchmark::ClobberMemory();
    }
}

void labelMemcpy(benchmark::State& state) {
    LabelBuffers b;
    for (auto _ : state) {
        std::memcpy(b.mask.data(), b.labels.data(), b.labels.size());
        benchmark::ClobberMemory();
    }
}

void add(const std::string& name, void (*fn)(benchmark::State&, const FrameCase&),
         const FrameCase& f) {
    benchmark::RegisterBenchmark(name.c_str(), fn, f)->Unit(benchmark::kMicrosecond);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<benchsupport::Comparison> rows;
    for (const FrameCase& f : benchsupport::frameCases()) {
        const std::string tag = std::string("/") + f.label;
        add("pre_process" + tag, preProcess, f);
        add("pre_bare_libyuv" + tag, bareLibyuv, f);
        add("frame_memcpy" + tag, frameMemcpy, f);
        rows.push_back({std::string("pre ") + f.label, "pre_process" + tag, "pre_bare_libyuv" + tag,
                        "frame_memcpy" + tag});
    }
    struct PostCase {
        int orientation;
        libyuv::RotationMode mode;
    };
    for (const PostCase p : {PostCase{0, libyuv::kRotate90}, PostCase{90, libyuv::kRotate270}}) {
        const std::string tag = "/orientation " + std::to_string(p.orientation);
        benchmark::RegisterBenchmark(("post_process" + tag).c_str(), postProcess, p.orientation)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("post_bare_rotate" + tag).c_str(), bareRotatePlane, p.mode)
            ->Unit(benchmark::kMicrosecond);
        rows.push_back(
            {"post" + tag, "post_process" + tag, "post_bare_rotate" + tag, "label_memcpy"});
    }
    benchmark::RegisterBenchmark("label_memcpy", labelMemcpy)->Unit(benchmark::kMicrosecond);

    return benchsupport::runWithTable(
        argc, argv, {"case (median real time, us)", "function", "bare libyuv", "memcpy"}, rows);
}
