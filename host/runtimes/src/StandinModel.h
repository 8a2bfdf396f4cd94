// One loaded model inside a stand-in runtime: either the real CPU engine running the TFLite
// model, or the test script (the bytes are kept but not interpreted). Interpreters of the
// NeuroPilot stand-in and runtime instances of the Neuron stand-in each own one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "StandinState.h"
#include "standin_control.h"

namespace standin {

// TFLite element type codes as the vendor runtimes report them.
enum : uint32_t {
    kTypeNone = 0,
    kTypeFloat32 = 1,
    kTypeUint8 = 2,
    kTypeInt32 = 3,
    kTypeInt64 = 4,
    kTypeBool = 6,
    kTypeInt8 = 9,
    kTypeFloat16 = 10,
};

class Model {
  public:
    virtual ~Model() = default;
    virtual uint32_t byteSize(uint32_t direction) const = 0;
    virtual uint32_t type(uint32_t direction) const = 0;
    // Exactly byteSize(0) bytes in; false with `*error` otherwise.
    virtual bool setInput(const void* data, size_t size, std::string* error) = 0;
    virtual bool invoke(std::string* error) = 0;
    // Exactly byteSize(1) bytes out; false with `*error` otherwise.
    virtual bool getOutput(void* data, size_t size, std::string* error) = 0;
};

struct ModelOptions {
    bool allowFp16 = false;
};

// True when the host's property store selects script mode.
bool scriptModeSelected();

// A model from the bytes of a TFLite file: the engine's, or in script mode a scripted one whose
// tensors and output follow `state`. Null with `*error` set when the engine cannot build it.
std::unique_ptr<Model> makeModel(const std::vector<uint8_t>& bytes, const ModelOptions& options,
                                 const State& state, std::string* error);

// The two kinds behind makeModel.
std::unique_ptr<Model> makeScriptedModel(const State& state);
std::unique_ptr<Model> makeEngineModel(const std::vector<uint8_t>& bytes,
                                       const ModelOptions& options, std::string* error);

}  // namespace standin
