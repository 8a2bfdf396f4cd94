// The plug-in's entry points, everything a host reaches through the tables: the version and log
// level, handle creation and release, and the per-frame call.
//
// Handle creation and release: configuration, optional model decryption, the backend chosen by the
// configuration, and the process-wide working buffers. Nothing is rolled back inside init: what a
// failed init created stays in the process-wide state for releaseHandle to free.
//
// The per-frame call: pre-processing, one inference, post-processing and the label shift, each
// timed. A failed stage does not stop the later ones: the output Image fields are always written
// so that the host never reads a half-described mask.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "ALGOGalloc.h"
#include "ALGONativeGalloc.h"
#include "BodySegmentEntries.h"
#include "BodySegmentFunc.h"
#include "BodySegmentState.h"
#include "Decryption.h"
#include "FactorySelection.h"
#include "KavoExport.h"
#include "LogPrintf.h"
#include "ModelCfg.h"
#include "ModelImpBase.h"
#include "ParseParams.h"
#include "StatusCodes.h"

namespace bodysegment {

unsigned char* s_body_segment_decryption_buffer = nullptr;
ModelImpFtyBase* s_body_segment_model_imp_fty = nullptr;
s_body_segment_global_memory_t* s_body_segment_global_memory = nullptr;

namespace {

constexpr const char* kLogLevelProperty = "persist.camera.algo.aibeautybodydetect.loglvl";
constexpr int kMemTraceMode = 256;
// The working buffers, in table order; false when the record itself could not be made.
bool allocateGlobalMemory() {
    s_body_segment_global_memory = static_cast<s_body_segment_global_memory_t*>(
        kavo::Native::calloc(1, sizeof(s_body_segment_global_memory_t), __FILE__, __LINE__));
    if (s_body_segment_global_memory == nullptr) {
        KAVO_LOGE("s_body_segment_global_memory_t new fail");
        return false;
    }
    KAVO_LOGI("s_ai_body_segment _memory_t new success");
    s_body_segment_global_memory_t& mem = *s_body_segment_global_memory;
    mem.scaled =
        static_cast<unsigned char*>(kavo::Native::malloc(kScaledBytes, __FILE__, __LINE__));
    mem.rotated =
        static_cast<unsigned char*>(kavo::Native::malloc(kRotatedBytes, __FILE__, __LINE__));
    mem.net_input =
        static_cast<unsigned char*>(kavo::Native::malloc(kNetInputBytes, __FILE__, __LINE__));
    mem.net_output =
        static_cast<unsigned char*>(kavo::Native::malloc(kNetOutputBytes, __FILE__, __LINE__));
    return true;
}

void freeTracked(unsigned char*& p) {
    if (p == nullptr)
        return;
    KAVO_UNTRACK(p);
    std::free(p);
    p = nullptr;
}

}  // namespace

int algoInitHandle(void** handle, void* param) {
    kavo::LogPrintf::setLogStatusByProp(kLogLevelProperty, "0");
    kavo::AlgorithmMemory::memTraceInit(kMemTraceMode);
    KAVO_TRACE_ENTRY();
    const int result = algoInitHandleV1(handle, param);
    KAVO_TRACE_EXIT();
    return result;
}

int algoInitHandleV1(void** handle, void* param) {
    KAVO_LOGE("%s", getVersion());
    unsigned long long initTime = 0;
    time_start(&initTime);

    // A host that hands in no block, no descriptor or no place for the handle gets a clear
    // refusal instead of a crash.
    const BodySegInitParam* init = static_cast<const BodySegInitParam*>(param);
    if (handle == nullptr || init == nullptr || init->model == nullptr) {
        KAVO_LOGE("init param is nullptr: handle %p, param %p, model %p",
                  static_cast<void*>(handle), param,
                  init ? static_cast<void*>(init->model) : nullptr);
        return SDK_FAILURE;
    }
    const BodySegModelDesc& model = *init->model;

    mtk_ai_type::ModelCfg modelCfg;
    mtk_ai_type::GeneralCfg generalCfg;
    std::memset(&modelCfg, 0, sizeof(modelCfg));
    std::memset(&generalCfg, 0, sizeof(generalCfg));
    modelCfg.model_path = model.model_path;
    modelCfg.cache_dir = model.cache_dir;

    unsigned long long parseTime = 0;
    time_start(&parseTime);
    const unsigned parsed = assist::parse_json(init->config_path, modelCfg, generalCfg);
    time_end(&parseTime, "parse_json");
    if (parsed != 0) {
        KAVO_LOGE("parse_json failed");
        return SDK_FAILURE;
    }

    // The Neuron path never names an accelerator; "(null)" is what the C library prints for it on
    // a phone, spelt out so that every C library prints the same.
    KAVO_LOGE("acc_mode:%d, acc_name:%s, exe_mode:%d", modelCfg.acc_mode,
              modelCfg.acc_name ? modelCfg.acc_name : "(null)", modelCfg.exe_mode);
    KAVO_LOGE("deviceKind:%d, MDLACoreOption:%d, preference:%d, priority:%d, boostValue:%d",
              modelCfg.env_options.deviceKind, modelCfg.env_options.MDLACoreOption,
              modelCfg.qos_options.preference, modelCfg.qos_options.priority,
              modelCfg.qos_options.boostValue);
    KAVO_LOGE("decrption:%d, ai_sdk_def:%d, run_ai_model:%d, use_hist_match:%d",
              generalCfg.decrption, generalCfg.ai_sdk_def, generalCfg.run_ai_model,
              generalCfg.use_hist_match);

    // Neither comes from the file: -1 asks the Neuron Runtime for its defaults.
    modelCfg.qos_options.delayedPowerOffTime = -1;
    modelCfg.buffer_attribute = -1;
    KAVO_LOGI("delayedPowerOffTime:%d", modelCfg.qos_options.delayedPowerOffTime);

    if (generalCfg.decrption) {
        s_body_segment_decryption_buffer =
            static_cast<unsigned char*>(kavo::Native::malloc(model.model_size, __FILE__, __LINE__));
        const int sparsed = assist::model_parse(const_cast<void*>(model.model_data),
                                                static_cast<long>(model.model_size),
                                                s_body_segment_decryption_buffer);
        modelCfg.model_buffer = s_body_segment_decryption_buffer;
        modelCfg.model_size = model.model_size;
        if (sparsed != 0) {
            KAVO_LOGE("sparse model failed");
            return SDK_FAILURE;
        }
    }

    s_body_segment_model_imp_fty = createModelImpFactory(generalCfg.ai_sdk_def);
    ModelImpBase* engine = s_body_segment_model_imp_fty
                               ? s_body_segment_model_imp_fty->CreateModelImp(modelCfg)
                               : nullptr;
    if (engine == nullptr) {
        KAVO_LOGE("create pBodySegmentEngine failed");
        return SDK_FAILURE;
    }
    if (!engine->Init()) {
        KAVO_LOGE("pBodySegmentEngine Init failed");
        return SDK_FAILURE;
    }
    *handle = engine;
    KAVO_LOGI("init algo handle success");

    if (s_body_segment_global_memory == nullptr && !allocateGlobalMemory())
        return SDK_FAILURE;

    time_end(&initTime, "init time");
    return SDK_SUCCESS;
}

int releaseHandle(void* handle, void* reserved) {
    KAVO_TRACE_ENTRY();
    releaseHandleV1(handle, reserved);
    int result = SDK_SUCCESS;
    if (kavo::AlgorithmMemory::memFinalCheck() != 0) {
        KAVO_LOGE("SDK_MEMORY_FREE_ERR!");
        result = SDK_MEMORY_FREE_ERR;
    }
    KAVO_TRACE_EXIT();
    return result;
}

int releaseHandleV1(void* handle, void* /*reserved*/) {
    unsigned long long releaseTime = 0;
    time_start(&releaseTime);

    if (s_body_segment_decryption_buffer != nullptr) {
        freeTracked(s_body_segment_decryption_buffer);
        KAVO_LOGI("release s_body_segment_decryption_buffer success");
    }
    if (s_body_segment_model_imp_fty != nullptr) {
        KAVO_UNTRACK(s_body_segment_model_imp_fty);
        delete s_body_segment_model_imp_fty;
        s_body_segment_model_imp_fty = nullptr;
        KAVO_LOGI("release s_body_segment_model_imp_fty success");
    }
    if (handle != nullptr) {
        ModelImpBase* engine = static_cast<ModelImpBase*>(handle);
        engine->Release();
        KAVO_UNTRACK(engine);
        delete engine;
        KAVO_LOGI("release algo handle success");
    }
    if (s_body_segment_global_memory != nullptr) {
        s_body_segment_global_memory_t& mem = *s_body_segment_global_memory;
        freeTracked(mem.scaled);
        freeTracked(mem.rotated);
        freeTracked(mem.net_input);
        freeTracked(mem.net_output);
        KAVO_UNTRACK(s_body_segment_global_memory);
        std::free(s_body_segment_global_memory);
        s_body_segment_global_memory = nullptr;
        KAVO_LOGI("release s_body_segment_global_memory success");
    }

    time_end(&releaseTime, "release time");
    return SDK_SUCCESS;
}

}  // namespace bodysegment

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

namespace bodysegment {

namespace {
constexpr const char kVersion[] = "body-detection_mtk-neuropilot6_342x456_V2.0.6";
}  // namespace

const char* getVersion() {
    KAVO_TRACE_ENTRY();
    KAVO_TRACE_EXIT();
    return kVersion;
}

void setLogLevel(int level) {
    KAVO_TRACE_ENTRY();
    kavo::LogPrintf::setLogStatus(level);
    KAVO_TRACE_EXIT();
}

}  // namespace bodysegment

extern "C" KAVO_EXPORT int getAlgoAPI(BodySegAlgoAPI* table) {
    KAVO_TRACE_ENTRY();
    if (table == nullptr) {
        KAVO_LOGE("get body segment api failed");
        KAVO_TRACE_EXIT();
        return SDK_FAILURE;
    }
    table->getVersion = bodysegment::getVersion;
    table->setLogLevel = bodysegment::setLogLevel;
    table->statusToString = statusToString;
    table->algoInitHandle = bodysegment::algoInitHandle;
    table->setParameters = bodysegment::setParameters;
    table->getParameters = bodysegment::getParameters;
    table->processImage = bodysegment::processImage;
    table->releaseHandle = bodysegment::releaseHandle;
    KAVO_LOGI("get body segment api success");
    KAVO_TRACE_EXIT();
    return SDK_SUCCESS;
}

extern "C" KAVO_EXPORT int get_algo_api(BodySegAlgoAPIV1* table) {
    KAVO_TRACE_ENTRY();
    if (table == nullptr) {
        KAVO_LOGE("get body segment api failed");
        KAVO_TRACE_EXIT();
        return SDK_FAILURE;
    }
    table->getVersion = bodysegment::getVersion;
    table->setLogLevel = bodysegment::setLogLevel;
    table->algoInitHandle = bodysegment::algoInitHandle;
    table->processImage = bodysegment::processImageV1;
    table->releaseHandle = bodysegment::releaseHandle;
    KAVO_LOGI("get body segment api success");
    KAVO_TRACE_EXIT();
    return SDK_SUCCESS;
}
