// The libyuv calls of the plug-in's frame path written out over caller-owned buffers: the frame
// to I420 in the full-frame work buffer, scaled to the network's size, turned for a sensor
// mounted at 90 degrees and converted to RGB24; and the mask turned back with its labels shifted.
// Header only, for the programs that link libyuv.
#pragma once

#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/rotate.h>
#include <libyuv/scale.h>

#include "FramePath.h"

namespace benchsupport {

// Returns the sum of libyuv's return codes (0 when every call succeeded).
inline int bareFramePreparation(FrameBuffers& b, const FrameCase& f) {
    const size_t luma = static_cast<size_t>(f.stride) * f.scan;
    uint8_t* ty = b.tmp.data();
    uint8_t* tu = ty + luma;
    uint8_t* tv = ty + luma * 5 / 4;
    uint8_t* sy = b.scaled.data();
    uint8_t* su = sy + kNetPixels;
    uint8_t* sv = sy + kNetPixels * 5 / 4;
    uint8_t* ry = b.rotated.data();
    uint8_t* ru = ry + kNetPixels;
    uint8_t* rv = ry + kNetPixels * 5 / 4;
    const int half = f.stride / 2;
    int r = libyuv::NV21ToI420(b.frame.data(), f.stride, b.frame.data() + luma, f.stride, ty,
                               f.stride, tu, half, tv, half, f.width, f.height);
    r += libyuv::I420Scale(ty, f.stride, tu, half, tv, half, f.width, f.height, sy, kNetHeight, su,
                           kNetHeight / 2, sv, kNetHeight / 2, kNetHeight, kNetWidth,
                           libyuv::kFilterNone);
    r += libyuv::I420Rotate(sy, kNetHeight, su, kNetHeight / 2, sv, kNetHeight / 2, ry, kNetWidth,
                            ru, kNetWidth / 2, rv, kNetWidth / 2, kNetHeight, kNetWidth,
                            libyuv::kRotate90);
    r += libyuv::I420ToRGB24(ry, kNetWidth, ru, kNetWidth / 2, rv, kNetWidth / 2, b.tensor.data(),
                             kNetWidth * 3, kNetWidth, kNetHeight);
    return r;
}

// The network's labels turned back into the sensor's orientation (the 90-degree case), then every
// label but the background moved up by one, as the plug-in hands masks to the host.
inline int bareMaskOutput(FrameBuffers& b) {
    const int r = libyuv::RotatePlane(b.labels.data(), kNetWidth, b.mask.data(), kNetHeight,
                                      kNetWidth, kNetHeight, libyuv::kRotate270);
    uint8_t* mask = b.mask.data();
    for (size_t i = 0; i < kNetPixels; ++i)
        mask[i] = static_cast<uint8_t>(mask[i] + (mask[i] != 0));
    return r;
}

}  // namespace benchsupport
