#include "BodySegNeuron.h"

#include <cstddef>

#include "ALGONativeGalloc.h"
#include "LogPrintf.h"
#include "OutputNarrowing.h"
#include "mtk/neuron6/NeuronRuntimeInterface.h"

namespace bodysegment {

BodySegNeuron::BodySegNeuron(mtk_ai_type::ModelCfg& cfg)
    : mRuntime(nullptr), mOutputStaging(nullptr), mInputSize(0), mOutputSize(0) {
    KAVO_LOGI("Construct");
    mModelPath = cfg.model_path;
    mModelBuffer = static_cast<const char*>(cfg.model_buffer);
    mModelSize = cfg.model_size;
    mEnvOptions = cfg.env_options;
    mQoSOptions = cfg.qos_options;
    mBufferAttribute.ionFd = cfg.buffer_attribute;
}

BodySegNeuron::~BodySegNeuron() {
    KAVO_LOGI("Deconstruct engine");
}

int BodySegNeuron::Init() {
    KAVO_LOGI("Init");
    if (mRuntime != nullptr || mOutputStaging != nullptr)
        Release();
    if (mModelBuffer == nullptr || mModelSize == 0)
        return InitModelWithFile();
    return InitModelWithBuffer();
}

int BodySegNeuron::Inference(const void* input, unsigned int inputSize, unsigned char* output) {
    KAVO_LOGI("Inference");
    return ModelInference(input, inputSize, output);
}

int BodySegNeuron::GetInputDataType() {
    return GetModelInputDataType();
}

int BodySegNeuron::GetOutputDataType() {
    return GetModelOutputDataType();
}

int BodySegNeuron::GetModelInputDataType() {
    return kModelDataNeuron;
}

int BodySegNeuron::GetModelOutputDataType() {
    return kModelDataNeuron;
}

void BodySegNeuron::Release() {
    KAVO_LOGI("Release");
    if (mRuntime != nullptr) {
        WarpNeuronRuntime_release(mRuntime);
        mRuntime = nullptr;
    }
    if (mOutputStaging != nullptr) {
        kavo::Native::free(mOutputStaging, __FILE__, __LINE__);
        mOutputStaging = nullptr;
    }
}

// The two build paths word their messages differently; hosts match both wordings.
int BodySegNeuron::InitModelWithFile() {
    int status = WarpNeuronRuntime_create(&mEnvOptions, &mRuntime);
    if (status != 0) {
        KAVO_LOGE("WarpNeuronRuntime_create failed, error code = %d", status);
        return 0;
    }
    status = WarpNeuronRuntime_loadNetworkFromFile(mRuntime, mModelPath);
    if (status != 0) {
        KAVO_LOGE("WarpNeuronRuntime_loadNetworkFromFile failed, error code = %d", status);
        return 0;
    }
    status = WarpNeuronRuntime_setQoSOption(mRuntime, &mQoSOptions);
    if (status != 0) {
        KAVO_LOGE("WarpNeuronRuntime_setQoSOption failed, error code = %d", status);
        return 0;
    }
    return InitModelBuffers();
}

int BodySegNeuron::InitModelWithBuffer() {
    if (WarpNeuronRuntime_create(&mEnvOptions, &mRuntime) != 0) {
        KAVO_LOGE("WarpNeuronRuntime_create failed");
        return 0;
    }
    const int status = WarpNeuronRuntime_loadNetworkFromBuffer(mRuntime, mModelBuffer, mModelSize);
    if (status != 0) {
        KAVO_LOGE("WarpNeuronRuntime_loadNetworkFromBuffer failed, error code %d", status);
        return 0;
    }
    if (WarpNeuronRuntime_setQoSOption(mRuntime, &mQoSOptions) != 0) {
        KAVO_LOGE("WarpNeuronRuntime_setQoSOption failed");
        return 0;
    }
    return InitModelBuffers();
}

int BodySegNeuron::InitModelBuffers() {
    if (WarpNeuronRuntime_getSingleInputSize(mRuntime, &mInputSize) != 0) {
        KAVO_LOGE("WarpNeuronRuntime_getSingleInputSize failed");
        return 0;
    }
    if (WarpNeuronRuntime_getSingleOutputSize(mRuntime, &mOutputSize) != 0) {
        KAVO_LOGE("WarpNeuronRuntime_getSingleOutputSize failed");
        return 0;
    }
    mOutputStaging =
        static_cast<unsigned char*>(kavo::Native::calloc(1, mOutputSize, __FILE__, __LINE__));
    if (mOutputStaging == nullptr) {
        KAVO_LOGE("Fail to allocate memory for post-processing");
        return 0;
    }
    return 1;
}

int BodySegNeuron::ModelInference(const void* input, unsigned int inputSize,
                                  unsigned char* output) {
    if (input == nullptr || output == nullptr) {
        KAVO_LOGE("NULL input or output pointer: input %p, output %p", input,
                  static_cast<void*>(output));
        return 0;
    }
    if (inputSize != mInputSize) {
        KAVO_LOGE("Input buffer size(%zu) != Input tensor size(%zu)",
                  static_cast<size_t>(inputSize), static_cast<size_t>(mInputSize));
        return 0;
    }
    if (mOutputStaging == nullptr) {
        KAVO_LOGE("NULL output buffer");
        return 0;
    }
    KAVO_LOGI("Set Input and Output");
    // Bound in place: the runtime reads the caller's memory during the run below.
    if (WarpNeuronRuntime_setSingleInput(mRuntime, input, inputSize, mBufferAttribute) != 0) {
        KAVO_LOGE("WarpNeuronRuntime_setSingleInput failed");
        return 0;
    }
    if (WarpNeuronRuntime_setSingleOutput(mRuntime, mOutputStaging, mOutputSize,
                                          mBufferAttribute) != 0) {
        KAVO_LOGE("WarpNeuronRuntime_setSingleOutput failed");
        return 0;
    }
    KAVO_LOGI("Invoke");
    if (WarpNeuronRuntime_inference(mRuntime) != 0) {
        KAVO_LOGE("WarpNeuronRuntime_inference failed");
        return 0;
    }
    narrowInt32LowByte(mOutputStaging, mOutputSize, output);
    return 1;
}

}  // namespace bodysegment
