// A camera frame as a sensor hands it to the host: a luma plane of `stride` x `scan` bytes and, at
// byte stride * scan, the interleaved chroma plane (one row of V/U or U/V pairs per two luma rows,
// `stride` bytes each, scan / 2 rows). The buffer always holds exactly frameBytes(stride, scan).
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace bodyseg {

enum class PixelFormat { NV21, NV12 };

const char* formatName(PixelFormat format);  // "NV21" / "NV12"

// The plug-in's image_type code for the format.
int32_t imageTypeCode(PixelFormat format);

// Limits that keep every buffer size the plug-in derives (stride * scan * 3 / 2 as a signed
// 32-bit number) far from overflow.
constexpr int kMaxFrameSide = 16384;
constexpr int kMaxPadding = 4096;

struct Frame {
    PixelFormat format = PixelFormat::NV21;
    int orientation = 0;  // degrees; the upright picture is the frame turned clockwise by this
    int width = 0;
    int height = 0;
    int stride = 0;
    int scan = 0;
    std::vector<uint8_t> bytes;

    const uint8_t* luma() const { return bytes.data(); }
    const uint8_t* chroma() const {
        return bytes.data() + static_cast<size_t>(stride) * static_cast<size_t>(scan);
    }
};

size_t frameBytes(int stride, int scan);

}  // namespace bodyseg
