// What a sensor would have delivered for a photo, and the upright picture of a frame: the frame
// for sensor orientation o is the upright photo turned counter-clockwise by o degrees, so turning
// the frame clockwise by o gives the photo again. Colours are converted with BT.601 limited range,
// as camera pipelines do.
#pragma once

#include <string>

#include "Frame.h"
#include "I420.h"
#include "ImageIo.h"

namespace bodyseg {

struct FrameLayout {
    PixelFormat format = PixelFormat::NV21;
    int orientation = 0;  // 0, 90, 180 or 270
    int stridePad = 0;    // bytes added to every row; even
    int scanPad = 0;      // rows added below the picture; even
};

// The frame for an upright photo of even width and height. Padding bytes are zero.
bool frameFromPhoto(const RgbImage& photo, const FrameLayout& layout, Frame* frame,
                    std::string* error);

// The photo without its last column and/or row when those sides are odd: the chroma of
// NV21/NV12 covers pixels in pairs.
RgbImage cropToEven(const RgbImage& photo);

// The upright RGB picture of a frame: converted and turned clockwise by its orientation.
RgbImage uprightPicture(const Frame& frame);

// The planes of a picture (BT.601 limited range) and of a frame (without its padding), as video
// files store them.
I420 planarFromPicture(const RgbImage& picture);
I420 planarFromFrame(const Frame& frame);

// A frame for timing: a smooth luma ramp with neutral chroma, so that no two rows are equal.
Frame syntheticFrame(PixelFormat format, int orientation, int width, int height, int stride,
                     int scan);

}  // namespace bodyseg
