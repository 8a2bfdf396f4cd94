// Runs pre- and post-processing on work buffers exactly as large as the frame path allocates
// them, so that a write past one trips the sanitizer, and reads the results back as pictures.
#pragma once

#include <cstdint>
#include <vector>

#include "BodySegmentFunc.h"
#include "FrameBuilder.h"

namespace functest {

constexpr int kNetWidth = 342;   // portrait tensor columns, landscape mask rows
constexpr int kNetHeight = 456;  // portrait tensor rows, landscape mask columns
constexpr size_t kNetPixels = static_cast<size_t>(kNetWidth) * kNetHeight;

struct Bgr {
    int b;
    int g;
    int r;
};

struct PipelineRunner {
    explicit PipelineRunner(const FrameGeometry& g)
        : tmp(static_cast<size_t>(g.stride) * g.scan * 3 / 2),
          scaled(kNetPixels * 3 / 2),
          rotated(kNetPixels * 3 / 2),
          tensor(kNetPixels * 3),
          labels(kNetPixels),
          mask(kNetPixels) {}

    int pre(const uint8_t* src, const bodysegment::Settings& settings) {
        return bodysegment::pre_process_bodysegment(src, tensor.data(), tmp.data(), scaled.data(),
                                                    rotated.data(), &settings);
    }
    int pre(const Frame& frame, int orientation) {
        return pre(frame.data(), frame.settings(orientation));
    }
    // Feeds the tensor's first channel to post-processing as the label plane.
    int postFromFirstChannel(const bodysegment::Settings& settings) {
        for (size_t i = 0; i < kNetPixels; ++i)
            labels[i] = tensor[3 * i];
        return bodysegment::post_process_bodysegment(mask.data(), labels.data(), &settings);
    }
    // Tensor pixel at portrait column x, row y.
    Bgr tensorAt(int x, int y) const {
        const uint8_t* p = &tensor[(static_cast<size_t>(y) * kNetWidth + x) * 3];
        return {p[0], p[1], p[2]};
    }

    std::vector<uint8_t> tmp;  // the full-size I420 work buffer
    std::vector<uint8_t> scaled;
    std::vector<uint8_t> rotated;
    std::vector<uint8_t> tensor;
    std::vector<uint8_t> labels;
    std::vector<uint8_t> mask;
};

}  // namespace functest
