// Quarter turns as libyuv names them. Orientation values are validated on the command line, so
// anything but 90, 180 and 270 means no turn.
#pragma once

#include <libyuv/rotate.h>

namespace bodyseg {

inline libyuv::RotationMode clockwiseTurn(int degrees) {
    switch (degrees) {
        case 90:
            return libyuv::kRotate90;
        case 180:
            return libyuv::kRotate180;
        case 270:
            return libyuv::kRotate270;
        default:
            return libyuv::kRotate0;
    }
}

// A quarter turn swaps width and height.
inline bool swapsSides(int degrees) {
    return degrees == 90 || degrees == 270;
}

}  // namespace bodyseg
