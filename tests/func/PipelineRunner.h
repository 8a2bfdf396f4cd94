// Runs pre- and post-processing on caller-sized buffers, exactly as large as the frame path
// allocates them, and reads the results back as pictures.
#pragma once

#include <cstdint>
#include <vector>

#include "BodySegmentFunc.h"
#include "FrameBuilder.h"

namespace functest {

constexpr int kNetWidth = 342;   // portrait tensor columns, landscape mask rows
constexpr int kNetHeight = 456;  // portrait tensor rows, landscape mask columns

struct Bgr {
    int b;
    int g;
    int r;
};

class PipelineRunner {
  public:
    explicit PipelineRunner(const FrameGeometry& geometry);

    int pre(const uint8_t* src, const bodysegment::Settings& settings);
    int pre(const Frame& frame, int orientation);
    // Feeds the tensor's first channel to post-processing as the label plane.
    int postFromFirstChannel(const bodysegment::Settings& settings);

    const std::vector<uint8_t>& tensor() const { return tensor_; }
    std::vector<uint8_t>& tmpI420() { return tmp_; }
    const std::vector<uint8_t>& mask() const { return mask_; }
    // Tensor pixel at portrait column x, row y.
    Bgr tensorAt(int x, int y) const;
    // Mask label at landscape column x, row y.
    uint8_t maskAt(int x, int y) const { return mask_[static_cast<size_t>(y) * kNetHeight + x]; }

  private:
    std::vector<uint8_t> tmp_;
    std::vector<uint8_t> scaled_;
    std::vector<uint8_t> rotated_;
    std::vector<uint8_t> tensor_;
    std::vector<uint8_t> labels_;
    std::vector<uint8_t> mask_;
};

}  // namespace functest
