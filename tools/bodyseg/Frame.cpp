#include "Frame.h"

#include "BodySegmentAPI.h"

namespace bodyseg {

const char* formatName(PixelFormat format) {
    return format == PixelFormat::NV21 ? "NV21" : "NV12";
}

int32_t imageTypeCode(PixelFormat format) {
    return format == PixelFormat::NV21 ? BODYSEG_IMAGE_NV21 : BODYSEG_IMAGE_NV12;
}

size_t frameBytes(int stride, int scan) {
    return static_cast<size_t>(stride) * static_cast<size_t>(scan) * 3 / 2;
}

}  // namespace bodyseg
