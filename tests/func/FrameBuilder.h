// Synthetic camera frames with known content: NV21 or NV12, with the luma pitch (stride) and row
// count (scan) larger than the picture when asked, the extra bytes filled with a chosen value.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "BodySegmentFunc.h"

namespace functest {

constexpr int kImageNV21 = 5;
constexpr int kImageNV12 = 6;

struct Yuv {
    uint8_t y;
    uint8_t u;
    uint8_t v;
};

// BT.601 limited range, the matrix libyuv's I420ToRGB24 inverts.
Yuv yuvFromRgb(int r, int g, int b);

struct FrameGeometry {
    int width;
    int height;
    int stride;
    int scan;
};

class Frame {
  public:
    // Every byte starts as padding: `pad_luma` in the luma plane, `pad_chroma` in the chroma plane.
    Frame(FrameGeometry geometry, int image_type, uint8_t pad_luma = 0, uint8_t pad_chroma = 0);

    // Paints the picture; the chroma of each 2x2 block comes from its top-left pixel.
    void paint(const std::function<Yuv(int x, int y)>& colour);

    const uint8_t* data() const { return bytes_.data(); }
    const FrameGeometry& geometry() const { return geometry_; }
    bodysegment::Settings settings(int orientation) const;

  private:
    FrameGeometry geometry_;
    int image_type_;
    std::vector<uint8_t> bytes_;
};

}  // namespace functest
