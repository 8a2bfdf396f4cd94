// Frame preparation and mask output against the bare libyuv calls they make, measured in the
// same run, with a memcpy of the same data as a floor. The closing table gives the ratios.
#include <benchmark/benchmark.h>
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/rotate.h>
#include <libyuv/scale.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "BodySegmentFunc.h"
#include "RatioReporter.h"

namespace {

constexpr int kNetW = 342;
constexpr int kNetH = 456;
constexpr size_t kNetPixels = static_cast<size_t>(kNetW) * kNetH;

struct FrameCase {
    const char* label;
    int width;
    int height;
    int stride;
    int scan;
};

const FrameCase kFrames[] = {
    {"1920x1080 stride 1920 scan 1088", 1920, 1080, 1920, 1088},
    {"3280x2464 stride 3328", 3280, 2464, 3328, 2464},
    {"4000x3000", 4000, 3000, 4000, 3000},
};

// Caller-owned buffers as the frame path provides them, with a frame that is not flat.
struct Buffers {
    explicit Buffers(const FrameCase& f)
        : frame(static_cast<size_t>(f.stride) * f.scan * 3 / 2),
          tmp(frame.size()),
          scaled(kNetPixels * 3 / 2),
          rotated(kNetPixels * 3 / 2),
          tensor(kNetPixels * 3),
          copy(frame.size()) {
        for (size_t i = 0; i < frame.size(); ++i)
            frame[i] = static_cast<uint8_t>(i * 131 >> 4);
    }
    std::vector<uint8_t> frame, tmp, scaled, rotated, tensor, copy;
};

bodysegment::Settings settingsFor(const FrameCase& f) {
    bodysegment::Settings s;
    s.stride = f.stride;
    s.scan = f.scan;
    s.width = f.width;
    s.height = f.height;
    s.orientation = 90;
    s.image_type = 5;
    return s;
}

void preProcess(benchmark::State& state, const FrameCase& f) {
    Buffers b(f);
    const bodysegment::Settings s = settingsFor(f);
    for (auto _ : state) {
        benchmark::DoNotOptimize(bodysegment::pre_process_bodysegment(
            b.frame.data(), b.tensor.data(), b.tmp.data(), b.scaled.data(), b.rotated.data(), &s));
        benchmark::ClobberMemory();
    }
}

// The same four libyuv calls, written out.
void bareLibyuv(benchmark::State& state, const FrameCase& f) {
    Buffers b(f);
    const size_t luma = static_cast<size_t>(f.stride) * f.scan;
    uint8_t* ty = b.tmp.data();
    uint8_t* tu = ty + luma;
    uint8_t* tv = ty + luma * 5 / 4;
    uint8_t* sy = b.scaled.data();
    uint8_t* su = sy + kNetPixels;
    uint8_t* sv = sy + kNetPixels * 5 / 4;
    uint8_t* ry = b.rotated.data();
    uint8_t* ru = ry + kNetPixels;
    uint8_t* rv = ry + kNetPixels * 5 / 4;
    const int half = f.stride / 2;
    for (auto _ : state) {
        int r = libyuv::NV21ToI420(b.frame.data(), f.stride, b.frame.data() + luma, f.stride, ty,
                                   f.stride, tu, half, tv, half, f.width, f.height);
        r += libyuv::I420Scale(ty, f.stride, tu, half, tv, half, f.width, f.height, sy, kNetH, su,
                               kNetH / 2, sv, kNetH / 2, kNetH, kNetW, libyuv::kFilterNone);
        r += libyuv::I420Rotate(sy, kNetH, su, kNetH / 2, sv, kNetH / 2, ry, kNetW, ru, kNetW / 2,
                                rv, kNetW / 2, kNetH, kNetW, libyuv::kRotate90);
        r += libyuv::I420ToRGB24(ry, kNetW, ru, kNetW / 2, rv, kNetW / 2, b.tensor.data(),
                                 kNetW * 3, kNetW, kNetH);
        benchmark::DoNotOptimize(r);
        benchmark::ClobberMemory();
    }
}

void frameMemcpy(benchmark::State& state, const FrameCase& f) {
    Buffers b(f);
    for (auto _ : state) {
        std::memcpy(b.copy.data(), b.frame.data(), b.frame.size());
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
        benchmark::DoNotOptimize(
            libyuv::RotatePlane(b.labels.data(), kNetW, b.mask.data(), kNetH, kNetW, kNetH, mode));
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
    std::vector<funcbench::Comparison> rows;
    for (const FrameCase& f : kFrames) {
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

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    funcbench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTable(rows);
    benchmark::Shutdown();
    return 0;
}
