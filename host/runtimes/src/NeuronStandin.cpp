// The Neuron Runtime (version 6) on a workstation: runtime instances that record the environment
// and quality of service they are given, bind caller memory as their single input and output, and
// run the network on the host engine or by the test script.
#include <memory>
#include <string>

#include "StandinLibrary.h"
#include "StandinModel.h"
#include "mtk/neuron6/NeuronRuntimeApi.h"

namespace {

// Status codes of the runtime.
constexpr int kNoError = 0;
constexpr int kUnexpectedNull = 3;
constexpr int kBadData = 4;
constexpr int kBadState = 5;

struct Binding {
    const void* input = nullptr;
    size_t inputSize = 0;
    void* output = nullptr;
    size_t outputSize = 0;
};

struct Runtime {
    std::unique_ptr<standin::Model> model;  // null until a network is loaded
    Binding binding;
};

}  // namespace

namespace standin {

State& libraryState() {
    static State* state = new State(
        {
            "NeuronRuntime_create",
            "NeuronRuntime_setQoSOption",
            "NeuronRuntime_loadNetworkFromFile",
            "NeuronRuntime_loadNetworkFromBuffer",
            "NeuronRuntime_getSingleInputSize",
            "NeuronRuntime_getSingleOutputSize",
            "NeuronRuntime_setSingleInput",
            "NeuronRuntime_setSingleOutput",
            "NeuronRuntime_inference",
            "NeuronRuntime_release",
        },
        {"live_runtimes"});
    return *state;
}

const char* logTag() {
    return "neuron_runtime_standin";
}

}  // namespace standin

namespace {

using standin::libraryState;

int loadNetwork(Runtime* runtime, const std::vector<uint8_t>& bytes) {
    standin::State& state = libraryState();
    state.recordInt("model_size", static_cast<int64_t>(bytes.size()));
    state.recordBytes("model_bytes", bytes.data(), bytes.size());
    std::string error;
    runtime->model = standin::makeModel(bytes, standin::ModelOptions(), state, &error);
    if (runtime->model == nullptr) {
        standin::logError("network load failed: %s", error.c_str());
        return kBadData;
    }
    return kNoError;
}

Runtime* loaded(void* runtime) {
    Runtime* instance = static_cast<Runtime*>(runtime);
    return instance != nullptr && instance->model != nullptr ? instance : nullptr;
}

int singleSize(void* runtime, uint32_t direction, unsigned int* size) {
    if (size == nullptr)
        return kUnexpectedNull;
    Runtime* instance = loaded(runtime);
    if (instance == nullptr)
        return kBadState;
    *size = instance->model->byteSize(direction);
    return kNoError;
}

// Binds caller memory as the single input (direction 0) or output (1) after recording what the
// backend passed; the length must be the tensor's.
int bind(void* runtime, uint32_t direction, void* buffer, unsigned int length,
         BufferAttribute attribute) {
    if (buffer == nullptr)
        return kUnexpectedNull;
    Runtime* instance = loaded(runtime);
    if (instance == nullptr)
        return kBadState;
    const std::string side = direction == 0 ? "input" : "output";
    libraryState().recordInt(side + "_bytes", length);
    libraryState().recordInt(side + "_attribute", attribute.ionFd);
    if (length != instance->model->byteSize(direction))
        return kBadData;
    if (direction == 0) {
        instance->binding.input = buffer;
        instance->binding.inputSize = length;
    } else {
        instance->binding.output = buffer;
        instance->binding.outputSize = length;
    }
    return kNoError;
}

}  // namespace

extern "C" {

int NeuronRuntime_create(const EnvOptions* options, void** runtime) {
    STANDIN_ENTER();
    if (runtime == nullptr)
        return kUnexpectedNull;
    if (options != nullptr) {
        libraryState().recordBytes("env_options", options, sizeof(*options));
        libraryState().recordInt("device_kind", options->deviceKind);
        libraryState().recordInt("mdla_core_option", options->MDLACoreOption);
    }
    *runtime = new Runtime;
    libraryState().adjustLive("live_runtimes", 1);
    return kNoError;
}

int NeuronRuntime_setQoSOption(void* runtime, const QoSOptions* qos) {
    STANDIN_ENTER();
    if (runtime == nullptr || qos == nullptr)
        return kUnexpectedNull;
    standin::State& state = libraryState();
    state.recordBytes("qos_options", qos, sizeof(*qos));
    state.recordInt("qos_preference", qos->preference);
    state.recordInt("qos_priority", qos->priority);
    state.recordInt("qos_boost_value", qos->boostValue);
    state.recordInt("qos_delayed_power_off_time", qos->delayedPowerOffTime);
    return kNoError;
}

int NeuronRuntime_loadNetworkFromFile(void* runtime, const char* path) {
    STANDIN_ENTER();
    if (runtime == nullptr || path == nullptr)
        return kUnexpectedNull;
    libraryState().recordText("model_path", path);
    std::vector<uint8_t> bytes;
    if (!standin::readFile(path, &bytes)) {
        standin::logError("cannot read network file %s", path);
        return kBadData;
    }
    return loadNetwork(static_cast<Runtime*>(runtime), bytes);
}

int NeuronRuntime_loadNetworkFromBuffer(void* runtime, const void* buffer, unsigned int size) {
    STANDIN_ENTER();
    if (runtime == nullptr || buffer == nullptr)
        return kUnexpectedNull;
    const uint8_t* bytes = static_cast<const uint8_t*>(buffer);
    return loadNetwork(static_cast<Runtime*>(runtime), std::vector<uint8_t>(bytes, bytes + size));
}

int NeuronRuntime_getSingleInputSize(void* runtime, unsigned int* size) {
    STANDIN_ENTER();
    return singleSize(runtime, 0, size);
}

int NeuronRuntime_getSingleOutputSize(void* runtime, unsigned int* size) {
    STANDIN_ENTER();
    return singleSize(runtime, 1, size);
}

int NeuronRuntime_setSingleInput(void* runtime, const void* buffer, unsigned int length,
                                 BufferAttribute attribute) {
    STANDIN_ENTER();
    if (buffer != nullptr) {
        libraryState().recordInt("input_address",
                                 static_cast<int64_t>(reinterpret_cast<uintptr_t>(buffer)));
    }
    return bind(runtime, 0, const_cast<void*>(buffer), length, attribute);
}

int NeuronRuntime_setSingleOutput(void* runtime, void* buffer, unsigned int length,
                                  BufferAttribute attribute) {
    STANDIN_ENTER();
    return bind(runtime, 1, buffer, length, attribute);
}

// Reads the bound input and writes the bound output, as the device runtime does with the memory
// the caller bound: the caller keeps both alive until this returns.
int NeuronRuntime_inference(void* runtime) {
    STANDIN_ENTER();
    Runtime* instance = loaded(runtime);
    if (instance == nullptr)
        return kBadState;
    const Binding& binding = instance->binding;
    if (binding.input == nullptr || binding.output == nullptr)
        return kBadState;
    std::string error;
    if (!instance->model->setInput(binding.input, binding.inputSize, &error) ||
        !instance->model->invoke(&error) ||
        !instance->model->getOutput(binding.output, binding.outputSize, &error)) {
        standin::logError("inference: %s", error.c_str());
        return kBadData;
    }
    libraryState().incrementInt("runs");
    return kNoError;
}

void NeuronRuntime_release(void* runtime) {
    libraryState().enter(__func__);
    if (runtime == nullptr)
        return;
    delete static_cast<Runtime*>(runtime);
    libraryState().adjustLive("live_runtimes", -1);
}

}  // extern "C"
