// The inference engine behind a handle: one abstract interface, two MediaTek backends
// (BodySegNeuropilot, BodySegNeuron). The virtual slot order is part of the handle's layout and is
// the same in both backends.
//
// Calling order: construct (factory), Init once, then any number of GetInputDataType / Inference /
// GetOutputDataType, then Release, then delete. The backend borrows the model path and bytes of
// the configuration it was built from; they must stay alive until Init has returned.
#pragma once

namespace bodysegment {

// Element types reported by the type getters.
enum ModelDataType : int {
    kModelDataNone = 0,
    kModelDataFloat32 = 1,
    kModelDataUint8 = 2,
    kModelDataInt32 = 3,
    // The Neuron backend's fixed marker for both input and output, whatever the network holds.
    kModelDataNeuron = 23,
};

class ModelImpBase {
  public:
    // Builds the engine from the model file or bytes and allocates the output staging buffer;
    // non-zero on success.
    virtual int Init() = 0;
    // Runs the model once on `input` (exactly the input tensor's byte size) and writes one byte per
    // output element into `output`; 1 on success, 0 on failure.
    virtual int Inference(const void* input, unsigned int inputSize, unsigned char* output) = 0;
    virtual int GetInputDataType() = 0;
    virtual int GetOutputDataType() = 0;
    // Frees the engine and the staging buffer; harmless before Init and when repeated.
    virtual void Release() = 0;
    // Frees nothing: the owner calls Release first.
    virtual ~ModelImpBase() = default;
};

}  // namespace bodysegment
