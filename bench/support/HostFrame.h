// A frame case as a camera host hands it to processImage: its NV21 bytes from a sensor mounted at
// 90 degrees, and an output record over a mask buffer. Header only, for the programs that load the
// plug-in.
#pragma once

#include <cstdint>
#include <vector>

#include "BodySegmentAPI.h"
#include "FrameCases.h"

namespace benchsupport {

struct HostFrame {
    explicit HostFrame(const FrameCase& f) : frame(testFrame(f)), mask(BODYSEG_MASK_BYTES) {
        in.orientation = 90;
        in.image_type = BODYSEG_IMAGE_NV21;
        in.width = f.width;
        in.height = f.height;
        in.stride = f.stride;
        in.scan = f.scan;
        in.data = frame.data();
        out.data = mask.data();
    }
    // The records point into the buffers.
    HostFrame(const HostFrame&) = delete;
    HostFrame& operator=(const HostFrame&) = delete;

    std::vector<uint8_t> frame;
    std::vector<uint8_t> mask;
    Image in{};
    Image out{};
};

}  // namespace benchsupport
