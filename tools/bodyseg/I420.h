// A planar 4:2:0 picture with tight pitches: the layout libyuv converts through and the one a
// YUV4MPEG2 frame stores (Y, then U, then V).
#pragma once

#include <stdint.h>

#include <vector>

namespace bodyseg {

struct I420 {
    int width;
    int height;
    std::vector<uint8_t> bytes;

    I420(int w, int h)
        : width(w), height(h), bytes(static_cast<size_t>(w) * static_cast<size_t>(h) * 3 / 2) {}
    uint8_t* y() { return bytes.data(); }
    uint8_t* u() { return bytes.data() + static_cast<size_t>(width) * height; }
    uint8_t* v() { return u() + static_cast<size_t>(width / 2) * (height / 2); }
    int halfWidth() const { return width / 2; }
};

}  // namespace bodyseg
