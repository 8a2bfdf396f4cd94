// Image preparation and mask output: the frame turned into the network input, the labels turned
// back into the host's mask, and the stopwatches, directory maker and dump helpers around them.
// One source file, so that every line these functions log carries its name.
#include "BodySegmentFunc.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <fstream>

#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/rotate.h>
#include <libyuv/scale.h>

#include "LogPrintf.h"

namespace bodysegment {

// The frame fields default to the main sensor's full-resolution capture (3280 x 2464, stride
// 3328); the network size and channel count are constants of the model.
Settings::Settings()
    : param0(0),
      scale(1.0f),
      param1(0),
      model_path("/data/local/tmp/model/qint8_model.tflite"),
      cache_dir("/data/local/tmp/body_segment_cache"),
      input_dir("/data/local/tmp/input"),
      output_dir("/data/local/tmp/output"),
      output_dir2("/data/local/tmp/output"),
      dump_name("out"),
      stride(3328),
      scan(2464),
      width(3280),
      height(2464),
      net_width(342),
      net_height(456),
      channels(3),
      orientation(0),
      image_type(5) {}

namespace {

// One I420 picture inside a caller's buffer: U follows the luma plane, V follows U, and the
// chroma pitches are half the luma pitch.
struct I420Planes {
    unsigned char* y;
    unsigned char* u;
    unsigned char* v;
    int pitch_y;
    int pitch_uv;
};

I420Planes i420Planes(unsigned char* base, int pitch, int rows) {
    const std::ptrdiff_t luma_bytes = static_cast<std::ptrdiff_t>(pitch) * rows;
    return {base, base + luma_bytes, base + luma_bytes * 5 / 4, pitch, pitch / 2};
}

// Frame -> full-size I420. Formats other than NV21 and NV12 are not converted: the work buffer is
// used as it stands and the host is trusted to send one of the two.
int toI420(const unsigned char* src, const I420Planes& dst, const Settings& s) {
    const unsigned char* chroma = src + static_cast<std::ptrdiff_t>(s.stride) * s.scan;
    switch (s.image_type) {
        case 5:
            return libyuv::NV21ToI420(src, s.stride, chroma, s.stride, dst.y, dst.pitch_y, dst.u,
                                      dst.pitch_uv, dst.v, dst.pitch_uv, s.width, s.height);
        case 6:
            return libyuv::NV12ToI420(src, s.stride, chroma, s.stride, dst.y, dst.pitch_y, dst.u,
                                      dst.pitch_uv, dst.v, dst.pitch_uv, s.width, s.height);
        default:
            return 0;
    }
}

// The landscape picture is turned upright for the network. 180 deliberately shares the turn of
// 90; post-processing applies the inverse of the same pairing.
libyuv::RotationMode uprightTurn(int orientation) {
    return (orientation == 90 || orientation == 180) ? libyuv::kRotate90 : libyuv::kRotate270;
}

}  // namespace

int pre_process_bodysegment(const unsigned char* src, unsigned char* dst_rgb,
                            unsigned char* tmp_i420, unsigned char* scaled_i420,
                            unsigned char* rotated_i420, const Settings* settings) {
    if (src == nullptr || dst_rgb == nullptr || settings == nullptr) {
        KAVO_LOGE("send nullptr to pre_proces_bodysegment");
        return -1;
    }
    const Settings& s = *settings;
    const int net_w = s.net_width;
    const int net_h = s.net_height;
    KAVO_LOGI("net_width_%d, net_height_%d", net_w, net_h);
    KAVO_LOGI("stride_%d scan_%d, width_%d, height_%d, orientation_%d, image_type_%d", s.stride,
              s.scan, s.width, s.height, s.orientation, s.image_type);

    const I420Planes frame = i420Planes(tmp_i420, s.stride, s.scan);
    // Scaled: landscape, net_height columns by net_width rows. Rotated: portrait, net_width
    // columns by net_height rows.
    const I420Planes scaled = i420Planes(scaled_i420, net_h, net_w);
    const I420Planes rotated = i420Planes(rotated_i420, net_w, net_h);

    int result = toI420(src, frame, s);
    // Nearest-pixel scaling is deliberate: the cheapest filter, and the tensor keeps the camera's
    // own sample values.
    result +=
        libyuv::I420Scale(frame.y, frame.pitch_y, frame.u, frame.pitch_uv, frame.v, frame.pitch_uv,
                          s.width, s.height, scaled.y, scaled.pitch_y, scaled.u, scaled.pitch_uv,
                          scaled.v, scaled.pitch_uv, net_h, net_w, libyuv::kFilterNone);
    result +=
        libyuv::I420Rotate(scaled.y, scaled.pitch_y, scaled.u, scaled.pitch_uv, scaled.v,
                           scaled.pitch_uv, rotated.y, rotated.pitch_y, rotated.u, rotated.pitch_uv,
                           rotated.v, rotated.pitch_uv, net_h, net_w, uprightTurn(s.orientation));
    result += libyuv::I420ToRGB24(rotated.y, rotated.pitch_y, rotated.u, rotated.pitch_uv,
                                  rotated.v, rotated.pitch_uv, dst_rgb, net_w * 3, net_w, net_h);
    if (result != 0) {
        KAVO_LOGE("pre_proces_bodysegment failed");
    }
    return result;
}

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

namespace {

unsigned long long monotonicMicros() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned long long>(now.tv_sec) * 1000000ULL +
           static_cast<unsigned long long>(now.tv_nsec) / 1000ULL;
}

}  // namespace

void time_start(unsigned long long* t) {
    *t = monotonicMicros();
}

// A stopwatch that was never started (0) therefore reports the clock's absolute value.
void time_end(unsigned long long* t, const char* label) {
    const unsigned long long elapsed = monotonicMicros() - *t;
    *t = 0;
    KAVO_LOGD("%s = %llu ms", label, elapsed / 1000ULL);
}

int make_dir(const char* path) {
    int result = access(path, F_OK);
    if (result == 0) {
        KAVO_LOGI("%s existing", path);
        return result;
    }
    KAVO_LOGI("%s not existing, now make it", path);
    result = mkdir(path, 0700);
    if (result == 0) {
        KAVO_LOGI("make successfully");
    } else {
        const int err = errno;
        KAVO_LOGE("mkdir error: errno_%d, %s", err, strerror(err));
    }
    return result;
}

int visual_bgr(const unsigned char* labels, unsigned count, unsigned char* dst,
               unsigned char palette[][3]) {
    if (labels == nullptr || dst == nullptr || palette == nullptr) {
        KAVO_LOGE("send nullptr to visual_bgr");
        return -1;
    }
    for (unsigned i = 0; i < count; ++i) {
        std::memcpy(dst + 3 * static_cast<size_t>(i), palette[labels[i]], 3);
    }
    return 0;
}

void writeFile(std::string path, const unsigned char* data, unsigned size) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out.is_open()) {
        KAVO_LOGE("output file not found");
        return;
    }
    out.write(reinterpret_cast<const char*>(data), size);
    out.close();
    KAVO_LOGI("write to %s successfully", path.c_str());
}

}  // namespace bodysegment
