// A frame case through the plug-in's own frame code: the settings the plug-in takes from the
// camera's image (NV21 from a sensor mounted at 90 degrees) and the caller-owned buffers it works
// in. Header only, for the programs that link the frame code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "BodySegmentFunc.h"
#include "FrameCases.h"

namespace benchsupport {

// The network's picture, as the plug-in feeds it.
constexpr int kNetWidth = 342;
constexpr int kNetHeight = 456;
constexpr size_t kNetPixels = static_cast<size_t>(kNetWidth) * kNetHeight;

inline bodysegment::Settings frameSettings(const FrameCase& f) {
    bodysegment::Settings s;
    s.stride = f.stride;
    s.scan = f.scan;
    s.width = f.width;
    s.height = f.height;
    s.orientation = 90;
    s.image_type = 5;
    return s;
}

struct FrameBuffers {
    explicit FrameBuffers(const FrameCase& f)
        : frame(testFrame(f)),
          tmp(frame.size()),
          scaled(kNetPixels * 3 / 2),
          rotated(kNetPixels * 3 / 2),
          tensor(kNetPixels * 3),
          labels(kNetPixels),
          mask(kNetPixels) {}

    std::vector<uint8_t> frame, tmp, scaled, rotated, tensor, labels, mask;
};

}  // namespace benchsupport
