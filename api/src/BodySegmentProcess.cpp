// The per-frame call: pre-processing, one inference, post-processing and the label shift, each
// timed. A failed stage does not stop the later ones: the output Image fields are always written
// so that the host never reads a half-described mask.
#include <cstdint>
#include <cstdlib>

#include "ALGOGalloc.h"
#include "ALGONativeGalloc.h"
#include "BodySegmentEntries.h"
#include "BodySegmentFunc.h"
#include "BodySegmentState.h"
#include "LogPrintf.h"
#include "ModelImpBase.h"
#include "StatusCodes.h"

namespace bodysegment {

namespace {

// Data-type codes the frame path can feed: the Neuron backend's fixed marker and unsigned 8-bit.
constexpr int kNeuronDataType = 23;
constexpr int kUint8DataType = 2;

// Background stays 0 and model label k becomes k + 1 (eight-bit, so 255 wraps to 0).
void redistributeLabels(unsigned char* mask, unsigned size) {
    for (unsigned i = 0; i < size; ++i) {
        if (mask[i] != 0)
            mask[i] = static_cast<unsigned char>(mask[i] + 1);
    }
}

void describeMask(Image* out) {
    out->result_width = BODYSEG_MASK_WIDTH;
    out->result_height = BODYSEG_MASK_HEIGHT;
    out->size = BODYSEG_MASK_BYTES;
    out->width = BODYSEG_MASK_WIDTH;
    out->height = BODYSEG_MASK_HEIGHT;
    out->stride = BODYSEG_MASK_WIDTH;
    out->scan = BODYSEG_MASK_HEIGHT;
}

// Bytes of the frame buffer the declared geometry describes; stride and scan must be positive.
uint64_t frameBufferBytes(const Image& in) {
    return static_cast<uint64_t>(in.stride) * static_cast<uint64_t>(in.scan) * 3 / 2;
}

// libyuv's scaler takes at most this many pixels a side; a larger frame could never become the
// network input.
constexpr int kScalerMaxSide = 32768;

// The host's declared geometry must describe a buffer the frame path can stay inside: a luma
// plane of stride * scan bytes followed by the interleaved chroma plane of stride * scan / 2
// bytes. Stride and scan must be even, since the work buffers split every plane in halves; width
// and height may be odd. Names every bad field in one ERROR line; false refuses the frame before
// any pixel is read.
bool frameGeometryIsSound(const Image& in) {
    const bool badWidth = in.width <= 0 || in.width > kScalerMaxSide;
    const bool badHeight = in.height <= 0 || in.height > kScalerMaxSide;
    const bool badStride = in.stride < in.width || in.stride <= 0 || in.stride % 2 != 0;
    const bool badScan = in.scan < in.height || in.scan <= 0 || in.scan % 2 != 0;
    const bool badData = in.data == nullptr;
    // With stride and scan positive the product times three stays below 2^64.
    const bool badSize = !badStride && !badScan && frameBufferBytes(in) > INT32_MAX;
    if (!(badWidth || badHeight || badStride || badScan || badData || badSize))
        return true;
    KAVO_LOGE(
        "frame refused, bad fields:%s%s%s%s%s%s (width_%d height_%d stride_%d scan_%d data_%p)",
        badWidth ? " width" : "", badHeight ? " height" : "", badStride ? " stride" : "",
        badScan ? " scan" : "", badData ? " data" : "", badSize ? " stride*scan" : "", in.width,
        in.height, in.stride, in.scan, static_cast<void*>(in.data));
    return false;
}

}  // namespace

int processImage(void* handle, InputImage* in, Image* out, void* reserved0, void* reserved1) {
    KAVO_TRACE_ENTRY();
    int result = SDK_FAILURE;
    if (in == nullptr) {
        KAVO_LOGE("input image is nullptr");
    } else {
        result = processImageV1(handle, in->image, out, reserved0, reserved1);
    }
    KAVO_TRACE_EXIT();
    return result;
}

int processImageV1(void* handle, Image* in, Image* out, void* /*reserved0*/, void* /*reserved1*/) {
    KAVO_TRACE_ENTRY();
    if (handle == nullptr) {
        KAVO_LOGE("algo handle is nullptr");
        return SDK_FAILURE;
    }
    if (in == nullptr || out == nullptr || out->data == nullptr ||
        s_body_segment_global_memory == nullptr) {
        KAVO_LOGE("frame refused: input image %p, output image %p, output data %p, buffers %p",
                  static_cast<void*>(in), static_cast<void*>(out),
                  out ? static_cast<void*>(out->data) : nullptr,
                  static_cast<void*>(s_body_segment_global_memory));
        return SDK_FAILURE;
    }
    if (!frameGeometryIsSound(*in))
        return SDK_FAILURE;
    ModelImpBase* engine = static_cast<ModelImpBase*>(handle);

    Settings settings;
    settings.stride = in->stride;
    settings.scan = in->scan;
    settings.width = in->width;
    settings.height = in->height;
    settings.orientation = in->orientation;
    settings.image_type = in->image_type;

    // Computed wide: the 32-bit product stride * scan * 3 overflows for frames above 1 GiB.
    const uint64_t frameBytes = frameBufferBytes(*in);
    unsigned char* tmpI420 = static_cast<unsigned char*>(
        kavo::Native::malloc(static_cast<uint32_t>(frameBytes), __FILE__, __LINE__));
    if (tmpI420 == nullptr)
        return SDK_FAILURE;  // Native::malloc wrote the ERROR line
    const s_body_segment_global_memory_t& mem = *s_body_segment_global_memory;

    unsigned long long stopwatch = 0;
    time_start(&stopwatch);
    int pre = pre_process_bodysegment(in->data, mem.net_input, tmpI420, mem.scaled, mem.rotated,
                                      &settings);
    time_end(&stopwatch, "pre process bodysegment time");

    time_start(&stopwatch);
    const int inputType = engine->GetInputDataType();
    KAVO_LOGI("InputDataType:%d", inputType);
    if (inputType == kNeuronDataType || inputType == kUint8DataType) {
        const unsigned inputBytes =
            static_cast<unsigned>(settings.net_width * settings.net_height * settings.channels);
        if (!engine->Inference(mem.net_input, inputBytes, mem.net_output)) {
            pre -= 1;
            KAVO_LOGE("pBodySegmentEngine Inference failed");
        }
        KAVO_LOGI("OutputDataType:%d", engine->GetOutputDataType());
    } else {
        // Deliberately not a failure: the frame completes with the previous frame's labels.
        KAVO_LOGE("Unsupported model data type");
    }
    time_end(&stopwatch, "inference time");

    time_start(&stopwatch);
    const int post = post_process_bodysegment(out->data, mem.net_output, &settings);
    time_end(&stopwatch, "post process bodysegment time");

    describeMask(out);

    time_start(&stopwatch);
    redistributeLabels(out->data, out->size);
    time_end(&stopwatch, "lable redistribute time");

    KAVO_UNTRACK(tmpI420);
    std::free(tmpI420);

    if (pre + post != 0) {
        KAVO_LOGE("processImage failed");
        return SDK_FAILURE;
    }
    return SDK_SUCCESS;
}

int setParameters(void* /*handle*/, void* /*params*/) {
    KAVO_LOGE("the function not support");
    return SDK_SUCCESS;
}

int getParameters(void* /*handle*/, void* /*params*/) {
    KAVO_LOGE("the function not support");
    return SDK_SUCCESS;
}

}  // namespace bodysegment
