// Handle creation and release: configuration, optional model decryption, the backend chosen by the
// configuration, and the process-wide working buffers. Nothing is rolled back inside init: what a
// failed init created stays in the process-wide state for releaseHandle to free.
#include <cstdlib>
#include <cstring>
#include <new>

#include "ALGOGalloc.h"
#include "ALGONativeGalloc.h"
#include "FactorySelection.h"
#include "BodySegmentEntries.h"
#include "BodySegmentFunc.h"
#include "BodySegmentState.h"
#include "Decryption.h"
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
