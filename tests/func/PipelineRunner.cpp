#include "PipelineRunner.h"

namespace functest {

namespace {
constexpr size_t kNetPixels = static_cast<size_t>(kNetWidth) * kNetHeight;
}  // namespace

PipelineRunner::PipelineRunner(const FrameGeometry& geometry)
    : tmp_(static_cast<size_t>(geometry.stride) * geometry.scan * 3 / 2),
      scaled_(kNetPixels * 3 / 2),
      rotated_(kNetPixels * 3 / 2),
      tensor_(kNetPixels * 3),
      labels_(kNetPixels),
      mask_(kNetPixels) {}

int PipelineRunner::pre(const uint8_t* src, const bodysegment::Settings& settings) {
    return bodysegment::pre_process_bodysegment(src, tensor_.data(), tmp_.data(), scaled_.data(),
                                                rotated_.data(), &settings);
}

int PipelineRunner::pre(const Frame& frame, int orientation) {
    return pre(frame.data(), frame.settings(orientation));
}

int PipelineRunner::postFromFirstChannel(const bodysegment::Settings& settings) {
    for (size_t i = 0; i < kNetPixels; ++i)
        labels_[i] = tensor_[3 * i];
    return bodysegment::post_process_bodysegment(mask_.data(), labels_.data(), &settings);
}

Bgr PipelineRunner::tensorAt(int x, int y) const {
    const uint8_t* p = &tensor_[(static_cast<size_t>(y) * kNetWidth + x) * 3];
    return {p[0], p[1], p[2]};
}

}  // namespace functest
