#include "FrameBuilder.h"

#include <algorithm>
#include <cmath>

namespace functest {

namespace {

uint8_t clampByte(double value) {
    return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

}  // namespace

Yuv yuvFromRgb(int r, int g, int b) {
    return {clampByte(16 + (65.481 * r + 128.553 * g + 24.966 * b) / 255.0),
            clampByte(128 + (-37.797 * r - 74.203 * g + 112.0 * b) / 255.0),
            clampByte(128 + (112.0 * r - 93.786 * g - 18.214 * b) / 255.0)};
}

Frame::Frame(FrameGeometry geometry, int image_type, uint8_t pad_luma, uint8_t pad_chroma)
    : geometry_(geometry), image_type_(image_type) {
    const size_t luma = static_cast<size_t>(geometry.stride) * geometry.scan;
    // Exactly what a host allocates, so that a read past the frame trips the sanitizer.
    bytes_.assign(luma * 3 / 2, pad_chroma);
    std::fill(bytes_.begin(), bytes_.begin() + luma, pad_luma);
}

void Frame::paint(const std::function<Yuv(int x, int y)>& colour) {
    const FrameGeometry& g = geometry_;
    uint8_t* chroma = bytes_.data() + static_cast<size_t>(g.stride) * g.scan;
    const bool v_first = image_type_ == kImageNV21;
    for (int y = 0; y < g.height; ++y) {
        for (int x = 0; x < g.width; ++x) {
            const Yuv c = colour(x, y);
            bytes_[static_cast<size_t>(y) * g.stride + x] = c.y;
            if (x % 2 == 0 && y % 2 == 0) {
                uint8_t* pair = chroma + static_cast<size_t>(y / 2) * g.stride + x;
                pair[0] = v_first ? c.v : c.u;
                pair[1] = v_first ? c.u : c.v;
            }
        }
    }
}

bodysegment::Settings Frame::settings(int orientation) const {
    bodysegment::Settings s;
    s.stride = geometry_.stride;
    s.scan = geometry_.scan;
    s.width = geometry_.width;
    s.height = geometry_.height;
    s.orientation = orientation;
    s.image_type = image_type_;
    return s;
}

}  // namespace functest
