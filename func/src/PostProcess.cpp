#include <libyuv/rotate.h>

#include "BodySegmentFunc.h"
#include "LogPrintf.h"

namespace bodysegment {

namespace {

// The exact inverse of the turn that made the network input upright.
libyuv::RotationMode frameTurn(int orientation) {
    return (orientation == 90 || orientation == 180) ? libyuv::kRotate270 : libyuv::kRotate90;
}

}  // namespace

int post_process_bodysegment(unsigned char* dst_mask, const unsigned char* src_labels,
                             const Settings* settings) {
    if (dst_mask == nullptr || src_labels == nullptr || settings == nullptr) {
        KAVO_LOGE("send nullptr to post_proces_bodysegment");
        return -1;
    }
    const int result = libyuv::RotatePlane(src_labels, settings->net_width, dst_mask,
                                           settings->net_height, settings->net_width,
                                           settings->net_height, frameTurn(settings->orientation));
    if (result != 0) {
        KAVO_LOGE("post_proces_bodysegment failed");
    }
    return result;
}

}  // namespace bodysegment
