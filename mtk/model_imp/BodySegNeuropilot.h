// The backend on the MediaTek NeuroPilot TFLite shim: options from the configuration, an
// interpreter from the model file or the decrypted model bytes, and per frame one copy in, one
// invoke, one copy out and a narrowing of the output to one byte per element.
#pragma once

#include <cstdint>

#include "ModelCfg.h"
#include "ModelImpBase.h"
#include "mtk/neuron6/NeuroPilotTFLiteApi.h"

namespace bodysegment {

class BodySegNeuropilot : public ModelImpBase {
  public:
    explicit BodySegNeuropilot(mtk_ai_type::ModelCfg& cfg);
    ~BodySegNeuropilot() override;

    // Init on a backend that still holds an engine releases it first, so a second Init rebuilds
    // instead of leaking the first interpreter and options.
    int Init() override;
    int Inference(const void* input, unsigned int inputSize, unsigned char* output) override;
    // 1 float32 or 2 uint8 from input tensor 0, else 0 (also without a built interpreter).
    int GetInputDataType() override;
    // 1 to 3 from output tensor 0, else 0 (also without a built interpreter).
    int GetOutputDataType() override;
    void Release() override;

    int InitModelWithFile();
    int InitModelWithBuffer();
    int InitModelBuffers();
    int ModelInference(const void* input, unsigned int inputSize, unsigned char* output);
    int GetModelInputDataType();
    int GetModelOutputDataType();

  private:
    // Steps 1 to 8 of both build paths; false after the failing step's ERROR line, logged under
    // the name of the build path.
    bool BuildOptions(const char* caller);

    const char* mModelPath;
    const char* mModelBuffer;
    uint32_t mModelSize;
    const char* mCacheDir;
    uint32_t mAccelerationMode;
    const char* mAcceleratorName;
    int32_t mExecutionPreference;
    int32_t mAllowFp16;
    ANeuralNetworksTFLite* mInterpreter;
    ANeuralNetworksTFLiteOptions* mOptions;
    unsigned char* mOutputStaging;
    uint32_t mInputTensorSize;
    uint32_t mOutputTensorSize;
};

}  // namespace bodysegment
