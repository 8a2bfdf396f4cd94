// The backend on the MediaTek Neuron Runtime: a runtime instance with the configured environment,
// the network from the model file or the decrypted model bytes, the configured quality of service,
// and per frame the caller's input bound in place, the staging buffer bound as output, one run and
// a narrowing of the output to one byte per 32-bit element.
#pragma once

#include <cstdint>

#include "ModelCfg.h"
#include "ModelImpBase.h"
#include "mtk/neuron6/NeuronRuntimeTypes.h"

namespace bodysegment {

class BodySegNeuron : public ModelImpBase {
  public:
    explicit BodySegNeuron(mtk_ai_type::ModelCfg& cfg);
    ~BodySegNeuron() override;

    // Init on a backend that still holds a runtime releases it first, so a second Init rebuilds
    // instead of leaking the first runtime instance.
    int Init() override;
    int Inference(const void* input, unsigned int inputSize, unsigned char* output) override;
    // Always kModelDataNeuron (23), without asking the runtime.
    int GetInputDataType() override;
    int GetOutputDataType() override;
    void Release() override;

    int InitModelWithFile();
    int InitModelWithBuffer();
    int InitModelBuffers();
    int ModelInference(const void* input, unsigned int inputSize, unsigned char* output);
    int GetModelInputDataType();
    int GetModelOutputDataType();

  private:
    const char* mModelPath;
    const char* mModelBuffer;
    uint32_t mModelSize;
    EnvOptions mEnvOptions;
    QoSOptions mQoSOptions;
    BufferAttribute mBufferAttribute;
    void* mRuntime;
    unsigned char* mOutputStaging;
    uint32_t mInputSize;
    uint32_t mOutputSize;
};

}  // namespace bodysegment
