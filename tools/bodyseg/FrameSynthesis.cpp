#include "FrameSynthesis.h"

#include <libyuv/convert.h>
#include <libyuv/convert_from.h>
#include <libyuv/rotate.h>

#include <cstring>

#include "I420.h"
#include "Turn.h"

namespace bodyseg {

namespace {

// `to` must have the turned size.
int turn(I420& from, I420& to, int clockwiseDegrees) {
    return libyuv::I420Rotate(from.y(), from.width, from.u(), from.halfWidth(), from.v(),
                              from.halfWidth(), to.y(), to.width, to.u(), to.halfWidth(), to.v(),
                              to.halfWidth(), from.width, from.height,
                              clockwiseTurn(clockwiseDegrees));
}

}  // namespace

bool frameFromPhoto(const RgbImage& photo, const FrameLayout& layout, Frame* frame,
                    std::string* error) {
    if (photo.width <= 0 || photo.height <= 0 || photo.width % 2 != 0 || photo.height % 2 != 0) {
        *error = "a frame needs an even, non-zero picture size";
        return false;
    }
    const bool swap = swapsSides(layout.orientation);
    I420 upright(photo.width, photo.height);
    I420 turned(swap ? photo.height : photo.width, swap ? photo.width : photo.height);
    // libyuv's "RAW" is red, green, blue in memory, the order of our RGB pictures.
    int failed = libyuv::RAWToI420(photo.pixels.data(), photo.width * 3, upright.y(), upright.width,
                                   upright.u(), upright.halfWidth(), upright.v(),
                                   upright.halfWidth(), upright.width, upright.height);
    // Counter-clockwise by o is clockwise by 360 - o.
    failed |= turn(upright, turned, (360 - layout.orientation) % 360);

    frame->format = layout.format;
    frame->orientation = layout.orientation;
    frame->width = turned.width;
    frame->height = turned.height;
    frame->stride = turned.width + layout.stridePad;
    frame->scan = turned.height + layout.scanPad;
    frame->bytes.assign(frameBytes(frame->stride, frame->scan), 0);
    uint8_t* luma = frame->bytes.data();
    uint8_t* chroma = luma + static_cast<size_t>(frame->stride) * frame->scan;
    const auto interleave =
        layout.format == PixelFormat::NV21 ? libyuv::I420ToNV21 : libyuv::I420ToNV12;
    failed |= interleave(turned.y(), turned.width, turned.u(), turned.halfWidth(), turned.v(),
                         turned.halfWidth(), luma, frame->stride, chroma, frame->stride,
                         turned.width, turned.height);
    if (failed != 0) {
        *error = "colour conversion of the photo failed";
        return false;
    }
    return true;
}

RgbImage cropToEven(const RgbImage& photo) {
    RgbImage even;
    even.width = photo.width & ~1;
    even.height = photo.height & ~1;
    even.pixels.resize(static_cast<size_t>(even.width) * even.height * 3);
    for (int y = 0; y < even.height && even.width > 0; ++y) {
        std::memcpy(even.at(0, y), photo.at(0, y), static_cast<size_t>(even.width) * 3);
    }
    return even;
}

I420 planarFromPicture(const RgbImage& picture) {
    I420 planes(picture.width, picture.height);
    libyuv::RAWToI420(picture.pixels.data(), picture.width * 3, planes.y(), planes.width,
                      planes.u(), planes.halfWidth(), planes.v(), planes.halfWidth(), planes.width,
                      planes.height);
    return planes;
}

I420 planarFromFrame(const Frame& frame) {
    I420 planes(frame.width, frame.height);
    const auto split = frame.format == PixelFormat::NV21 ? libyuv::NV21ToI420 : libyuv::NV12ToI420;
    split(frame.luma(), frame.stride, frame.chroma(), frame.stride, planes.y(), planes.width,
          planes.u(), planes.halfWidth(), planes.v(), planes.halfWidth(), planes.width,
          planes.height);
    return planes;
}

RgbImage uprightPicture(const Frame& frame) {
    const bool swap = swapsSides(frame.orientation);
    I420 sensor = planarFromFrame(frame);
    I420 upright(swap ? frame.height : frame.width, swap ? frame.width : frame.height);
    turn(sensor, upright, frame.orientation);
    RgbImage picture;
    picture.width = upright.width;
    picture.height = upright.height;
    picture.pixels.resize(static_cast<size_t>(picture.width) * picture.height * 3);
    libyuv::I420ToRAW(upright.y(), upright.width, upright.u(), upright.halfWidth(), upright.v(),
                      upright.halfWidth(), picture.pixels.data(), picture.width * 3, picture.width,
                      picture.height);
    return picture;
}

Frame syntheticFrame(PixelFormat format, int orientation, int width, int height, int stride,
                     int scan) {
    Frame frame;
    frame.format = format;
    frame.orientation = orientation;
    frame.width = width;
    frame.height = height;
    frame.stride = stride;
    frame.scan = scan;
    frame.bytes.assign(frameBytes(stride, scan), 128);
    for (int y = 0; y < height; ++y) {
        uint8_t* row = frame.bytes.data() + static_cast<size_t>(y) * stride;
        for (int x = 0; x < width; ++x) {
            row[x] = static_cast<uint8_t>(16 + (x * 219 / width + y * 97 / height) % 220);
        }
    }
    return frame;
}

}  // namespace bodyseg
