#include "BodySegNeuropilot.h"

#include <cstddef>
#include <cstring>

#include "ALGONativeGalloc.h"
#include "BodySegmentFunc.h"
#include "LogPrintf.h"
#include "NeuroPilotTFLiteShim.h"
#include "OutputNarrowing.h"

// An ERROR line under the name of the build path that ran the failing step.
#define BUILD_STEP_FAILED(caller, message) \
    KAVO_LOG_WHERE(::kavo::kLogError, "ERROR", __FILE__, caller, message)

namespace bodysegment {

BodySegNeuropilot::BodySegNeuropilot(mtk_ai_type::ModelCfg& cfg)
    : mInterpreter(nullptr),
      mOptions(nullptr),
      mOutputStaging(nullptr),
      mInputTensorSize(0),
      mOutputTensorSize(0) {
    KAVO_LOGI("Construct");
    mModelPath = cfg.model_path;
    mModelBuffer = static_cast<const char*>(cfg.model_buffer);
    mModelSize = cfg.model_size;
    mCacheDir = cfg.cache_dir;
    mAccelerationMode = static_cast<uint32_t>(cfg.acc_mode);
    mAcceleratorName = cfg.acc_name;
    mExecutionPreference = cfg.exe_mode;
    mAllowFp16 = cfg.allow_fp16;
}

BodySegNeuropilot::~BodySegNeuropilot() {
    KAVO_LOGI("Deconstruct");
}

int BodySegNeuropilot::Init() {
    KAVO_LOGI("Init");
    if (mInterpreter != nullptr || mOptions != nullptr || mOutputStaging != nullptr)
        Release();
    if (mModelBuffer == nullptr || mModelSize == 0)
        return InitModelWithFile();
    return InitModelWithBuffer();
}

int BodySegNeuropilot::Inference(const void* input, unsigned int inputSize, unsigned char* output) {
    KAVO_LOGI("Inference");
    return ModelInference(input, inputSize, output);
}

int BodySegNeuropilot::GetInputDataType() {
    return GetModelInputDataType();
}

int BodySegNeuropilot::GetOutputDataType() {
    return GetModelOutputDataType();
}

void BodySegNeuropilot::Release() {
    KAVO_LOGI("Release");
    if (mInterpreter != nullptr) {
        ANeuroPilotTFLiteWrapper_free(mInterpreter);
        mInterpreter = nullptr;
    }
    if (mOptions != nullptr) {
        ANeuralNetworksTFLiteOptions_free(mOptions);
        mOptions = nullptr;
    }
    if (mOutputStaging != nullptr) {
        kavo::Native::free(mOutputStaging, __FILE__, __LINE__);
        mOutputStaging = nullptr;
    }
}

bool BodySegNeuropilot::BuildOptions(const char* caller) {
    if (ANeuralNetworksTFLiteOptions_create(&mOptions) != 0) {
        BUILD_STEP_FAILED(caller, "ANeuralNetworksTFLiteOptions_create failed");
        return false;
    }
    if (ANeuralNetworksTFLiteOptions_setAccelerationMode(mOptions, mAccelerationMode) != 0) {
        BUILD_STEP_FAILED(caller, "ANeuralNetworksTFLiteOptions_setAccelerationMode failed");
        return false;
    }
    if (mAccelerationMode == NP_ACCELERATION_NNAPI) {
        KAVO_LOG_WHERE(::kavo::kLogInfo, "INFO", __FILE__, caller, "use NNAPI");
        if (ANeuralNetworksTFLiteOptions_setAcceleratorName(mOptions, mAcceleratorName) != 0) {
            BUILD_STEP_FAILED(caller, "ANeuralNetworksTFLiteOptions_setAcceleratorName failed");
            return false;
        }
    }
    if (mAccelerationMode == NP_ACCELERATION_NEURON) {
        KAVO_LOG_WHERE(::kavo::kLogInfo, "INFO", __FILE__, caller, "use neuron delegate");
        if (ANeuralNetworksTFLiteOptions_setUseIon(mOptions, true) != 0) {
            BUILD_STEP_FAILED(caller, "ANeuralNetworksTFLiteOptions_setUseIon failed");
            return false;
        }
    }
    if (ANeuralNetworksTFLiteOptions_setNoSupportedOperationCheck(mOptions, true) != 0) {
        BUILD_STEP_FAILED(caller,
                          "ANeuralNetworksTFLiteOptions_setNoSupportedOperationCheck failed");
        return false;
    }
    // The runtime only caches compilations; a directory that cannot be made is reported by
    // make_dir and otherwise left to the runtime.
    make_dir(mCacheDir);
    if (ANeuralNetworksTFLiteOptions_setCacheDir(mOptions, mCacheDir) != 0) {
        BUILD_STEP_FAILED(caller, "ANeuralNetworksTFLiteOptions_setCacheDir failed");
        return false;
    }
    if (ANeuralNetworksTFLiteOptions_setPreference(mOptions, mExecutionPreference) != 0) {
        BUILD_STEP_FAILED(caller, "ANeuralNetworksTFLiteOptions_setPreference failed");
        return false;
    }
    if (ANeuralNetworksTFLiteOptions_setAllowFp16PrecisionForFp32(mOptions, mAllowFp16 != 0) != 0) {
        BUILD_STEP_FAILED(caller,
                          "ANeuralNetworksTFLiteOptions_setAllowFp16PrecisionForFp32 failed");
        return false;
    }
    return true;
}

int BodySegNeuropilot::InitModelWithFile() {
    if (!BuildOptions(__FUNCTION__))
        return 0;
    if (ANeuroPilotTFLiteWrapper_makeAdvTFLite(&mInterpreter, mModelPath, mOptions) != 0) {
        KAVO_LOGE("ANeuroPilotTFLiteWrapper_makeAdvTFLite failed");
        return 0;
    }
    return InitModelBuffers();
}

int BodySegNeuropilot::InitModelWithBuffer() {
    if (!BuildOptions(__FUNCTION__))
        return 0;
    if (ANeuroPilotTFLiteWrapper_makeAdvTFLiteWithBuffer(&mInterpreter, mModelBuffer, mModelSize,
                                                         mOptions) != 0) {
        KAVO_LOGE("ANeuroPilotTFLiteWrapper_makeAdvTFLiteWithBuffer failed");
        return 0;
    }
    return InitModelBuffers();
}

int BodySegNeuropilot::InitModelBuffers() {
    if (ANeuroPilotTFLiteWrapper_getTensorByteSize(mInterpreter, TFLITE_BUFFER_TYPE_INPUT, 0,
                                                   &mInputTensorSize) != 0) {
        KAVO_LOGE("ANeuroPilotTFLiteWrapper_getTensorByteSize failed");
        return 0;
    }
    if (ANeuroPilotTFLiteWrapper_getTensorByteSize(mInterpreter, TFLITE_BUFFER_TYPE_OUTPUT, 0,
                                                   &mOutputTensorSize) != 0) {
        KAVO_LOGE("ANeuroPilotTFLiteWrapper_getTensorByteSize failed");
        return 0;
    }
    mOutputStaging =
        static_cast<unsigned char*>(kavo::Native::calloc(1, mOutputTensorSize, __FILE__, __LINE__));
    if (mOutputStaging == nullptr) {
        KAVO_LOGE("Fail to allocate memory for post-processing");
        return 0;
    }
    return 1;
}

int BodySegNeuropilot::ModelInference(const void* input, unsigned int inputSize,
                                      unsigned char* output) {
    if (input == nullptr || output == nullptr) {
        KAVO_LOGE("NULL input or output pointer: input %p, output %p", input,
                  static_cast<void*>(output));
        return 0;
    }
    if (inputSize != mInputTensorSize) {
        KAVO_LOGE("Input buffer size(%zu) != Input tensor size(%zu)",
                  static_cast<size_t>(inputSize), static_cast<size_t>(mInputTensorSize));
        return 0;
    }
    if (mOutputStaging == nullptr) {
        KAVO_LOGE("NULL output buffer");
        return 0;
    }
    KAVO_LOGI("Copy input");
    if (ANeuroPilotTFLiteWrapper_setInputTensorData(mInterpreter, 0, input, inputSize) != 0) {
        KAVO_LOGE("ANeuroPilotTFLiteWrapper_setInputTensorData failed");
        return 0;
    }
    KAVO_LOGI("Invoke");
    if (ANeuroPilotTFLiteWrapper_invoke(mInterpreter) != 0) {
        KAVO_LOGE("ANeuroPilotTFLiteWrapper_invoke failed");
        return 0;
    }
    KAVO_LOGI("Copy output");
    if (ANeuroPilotTFLiteWrapper_getOutputTensorData(mInterpreter, 0, mOutputStaging,
                                                     mOutputTensorSize) != 0) {
        KAVO_LOGE("ANeuroPilotTFLiteWrapper_getOutputTensorData failed");
        return 0;
    }
    unsigned int outputType = TFLITE_TENSOR_TYPE_NONE;
    if (ANeuroPilotTFLiteWrapper_getTensorType(mInterpreter, TFLITE_BUFFER_TYPE_OUTPUT, 0,
                                               &outputType) != 0) {
        KAVO_LOGE("ANeuroPilotTFLiteWrapper_getTensorType failed");
        return 0;
    }
    switch (outputType) {
        case TFLITE_TENSOR_TYPE_FLOAT:
            narrowFloat32(mOutputStaging, mOutputTensorSize, output);
            break;
        case TFLITE_TENSOR_TYPE_UINT8:
            std::memcpy(output, mOutputStaging, mOutputTensorSize);
            break;
        case TFLITE_TENSOR_TYPE_INT32:
            narrowInt32LowByte(mOutputStaging, mOutputTensorSize, output);
            break;
        default:
            narrowInt32LowByte(mOutputStaging, mOutputTensorSize, output);
            KAVO_LOGW("TFLITE_TENSOR_TYPE_NONE treated as TFLITE_TENSOR_TYPE_INT32");
            break;
    }
    return 1;
}

int BodySegNeuropilot::GetModelInputDataType() {
    unsigned int type = TFLITE_TENSOR_TYPE_NONE;
    if (mInterpreter == nullptr || ANeuroPilotTFLiteWrapper_getTensorType(
                                       mInterpreter, TFLITE_BUFFER_TYPE_INPUT, 0, &type) != 0) {
        return kModelDataNone;
    }
    if (type == TFLITE_TENSOR_TYPE_FLOAT)
        return kModelDataFloat32;
    if (type == TFLITE_TENSOR_TYPE_UINT8)
        return kModelDataUint8;
    return kModelDataNone;
}

int BodySegNeuropilot::GetModelOutputDataType() {
    unsigned int type = TFLITE_TENSOR_TYPE_NONE;
    if (mInterpreter == nullptr || ANeuroPilotTFLiteWrapper_getTensorType(
                                       mInterpreter, TFLITE_BUFFER_TYPE_OUTPUT, 0, &type) != 0) {
        return kModelDataNone;
    }
    if (type >= TFLITE_TENSOR_TYPE_FLOAT && type <= TFLITE_TENSOR_TYPE_INT32) {
        return static_cast<int>(type);
    }
    return kModelDataNone;
}

}  // namespace bodysegment
