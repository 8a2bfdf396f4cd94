// Synthetic camera frames with known content: NV21 or NV12, with the luma pitch (stride) and row
// count (scan) larger than the picture when asked, the extra bytes filled with a chosen value.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

namespace functest {

constexpr int kImageNV21 = 5;
constexpr int kImageNV12 = 6;

struct Yuv {
    uint8_t y;
    uint8_t u;
    uint8_t v;
};

// BT.601 limited range, the matrix libyuv's I420ToRGB24 inverts.
inline Yuv yuvFromRgb(int r, int g, int b) {
    const auto clamped = [](double value) {
        return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
    };
    return {clamped(16 + (65.481 * r + 128.553 * g + 24.966 * b) / 255.0),
            clamped(128 + (-37.797 * r - 74.203 * g + 112.0 * b) / 255.0),
            clamped(128 + (112.0 * r - 93.786 * g - 18.214 * b) / 255.0)};
}

struct FrameGeometry {
    int width;
    int height;
    int stride;
    int scan;
};

class Frame {
  public:
    // Every byte starts as padding: `pad_luma` in the luma plane, `pad_chroma` in the chroma
    // plane. Exactly what a host allocates, so that a read past the frame trips the sanitizer.
    Frame(FrameGeometry geometry, int image_type, uint8_t pad_luma = 0, uint8_t pad_chroma = 0)
        : geometry_(geometry), image_type_(image_type) {
        const size_t luma = static_cast<size_t>(geometry.stride) * geometry.scan;
        bytes_.assign(luma * 3 / 2, pad_chroma);
        std::fill(bytes_.begin(), bytes_.begin() + luma, pad_luma);
    }

    // Paints the picture; the chroma of each 2x2 block comes from its top-left pixel.
    void paint(const std::function<Yuv(int x, int y)>& colour) {
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

    const uint8_t* data() const { return bytes_.data(); }
    const std::vector<uint8_t>& bytes() const { return bytes_; }
    const FrameGeometry& geometry() const { return geometry_; }

  private:
    FrameGeometry geometry_;
    int image_type_;
    std::vector<uint8_t> bytes_;
};

}  // namespace functest
