// The NeuroPilot TFLite shim on a workstation: options objects that record every setting, and
// interpreters whose model runs on the host engine or follows the test script. Built three times,
// under the shim's three library names.
#include <memory>
#include <string>

#include "StandinLibrary.h"
#include "StandinModel.h"
#include "mtk/neuron6/NeuroPilotTFLiteApi.h"

namespace {

// Result codes of the shim (the NNAPI result codes it inherits).
constexpr int kNoError = 0;
constexpr int kUnexpectedNull = 3;
constexpr int kBadData = 4;

}  // namespace

struct ANeuralNetworksTFLiteOptions {
    bool allowFp16 = false;
};

struct ANeuralNetworksTFLite {
    std::unique_ptr<standin::Model> model;
};

namespace standin {

State& libraryState() {
    static State* state = new State(
        {
            "ANeuroPilotTFLiteOptions_create",
            "ANeuroPilotTFLiteOptions_setAccelerationMode",
            "ANeuroPilotTFLiteOptions_setAcceleratorName",
            "ANeuroPilotTFLiteOptions_setUseIon",
            "ANeuroPilotTFLiteOptions_setNoSupportedOperationCheck",
            "ANeuroPilotTFLiteOptions_setCacheDir",
            "ANeuroPilotTFLiteOptions_setPreference",
            "ANeuroPilotTFLiteOptions_setAllowFp16PrecisionForFp32",
            "ANeuroPilotTFLiteOptions_free",
            "ANeuroPilotTFLite_createAdv",
            "ANeuroPilotTFLite_createAdvWithBuffer",
            "ANeuroPilotTFLite_getTensorByteSize",
            "ANeuroPilotTFLite_getTensorType",
            "ANeuroPilotTFLite_setInputTensorData",
            "ANeuroPilotTFLite_invoke",
            "ANeuroPilotTFLite_getOutputTensorData",
            "ANeuroPilotTFLite_free",
        },
        {"live_options", "live_interpreters"});
    return *state;
}

const char* logTag() {
    return "tflite_mtk_standin";
}

}  // namespace standin

namespace {

using standin::libraryState;

int createInterpreter(ANeuralNetworksTFLite** tflite, const std::vector<uint8_t>& bytes,
                      ANeuralNetworksTFLiteOptions* options) {
    standin::State& state = libraryState();
    state.recordInt("model_size", static_cast<int64_t>(bytes.size()));
    state.recordBytes("model_bytes", bytes.data(), bytes.size());
    standin::ModelOptions modelOptions;
    modelOptions.allowFp16 = options->allowFp16;
    std::string error;
    std::unique_ptr<standin::Model> model = standin::makeModel(bytes, modelOptions, state, &error);
    if (model == nullptr) {
        standin::logError("model creation failed: %s", error.c_str());
        return kBadData;
    }
    *tflite = new ANeuralNetworksTFLite{std::move(model)};
    state.adjustLive("live_interpreters", 1);
    return kNoError;
}

// Tensor 0 is the only tensor of each direction a stand-in model has.
bool validTensor(const ANeuralNetworksTFLite* tflite, unsigned int direction, int index) {
    return tflite != nullptr && direction <= 1 && index == 0;
}

}  // namespace

extern "C" {

int ANeuroPilotTFLiteOptions_create(ANeuralNetworksTFLiteOptions** options) {
    STANDIN_ENTER();
    if (options == nullptr)
        return kUnexpectedNull;
    *options = new ANeuralNetworksTFLiteOptions;
    libraryState().adjustLive("live_options", 1);
    return kNoError;
}

int ANeuroPilotTFLiteOptions_setAccelerationMode(ANeuralNetworksTFLiteOptions* options,
                                                 unsigned int mode) {
    STANDIN_ENTER();
    if (options == nullptr)
        return kUnexpectedNull;
    libraryState().recordInt("acceleration_mode", mode);
    return kNoError;
}

int ANeuroPilotTFLiteOptions_setAcceleratorName(ANeuralNetworksTFLiteOptions* options,
                                                const char* name) {
    STANDIN_ENTER();
    if (options == nullptr || name == nullptr)
        return kUnexpectedNull;
    libraryState().recordText("accelerator_name", name);
    return kNoError;
}

int ANeuroPilotTFLiteOptions_setUseIon(ANeuralNetworksTFLiteOptions* options, bool useIon) {
    STANDIN_ENTER();
    if (options == nullptr)
        return kUnexpectedNull;
    libraryState().recordInt("use_ion", useIon ? 1 : 0);
    return kNoError;
}

int ANeuroPilotTFLiteOptions_setNoSupportedOperationCheck(ANeuralNetworksTFLiteOptions* options,
                                                          bool noCheck) {
    STANDIN_ENTER();
    if (options == nullptr)
        return kUnexpectedNull;
    libraryState().recordInt("no_supported_operation_check", noCheck ? 1 : 0);
    return kNoError;
}

int ANeuroPilotTFLiteOptions_setCacheDir(ANeuralNetworksTFLiteOptions* options,
                                         const char* directory) {
    STANDIN_ENTER();
    if (options == nullptr || directory == nullptr)
        return kUnexpectedNull;
    libraryState().recordText("cache_dir", directory);
    return kNoError;
}

int ANeuroPilotTFLiteOptions_setPreference(ANeuralNetworksTFLiteOptions* options, int preference) {
    STANDIN_ENTER();
    if (options == nullptr)
        return kUnexpectedNull;
    libraryState().recordInt("preference", preference);
    return kNoError;
}

int ANeuroPilotTFLiteOptions_setAllowFp16PrecisionForFp32(ANeuralNetworksTFLiteOptions* options,
                                                          bool allow) {
    STANDIN_ENTER();
    if (options == nullptr)
        return kUnexpectedNull;
    options->allowFp16 = allow;
    libraryState().recordInt("allow_fp16", allow ? 1 : 0);
    return kNoError;
}

void ANeuroPilotTFLiteOptions_free(ANeuralNetworksTFLiteOptions* options) {
    libraryState().enter(__func__);
    if (options == nullptr)
        return;
    delete options;
    libraryState().adjustLive("live_options", -1);
}

int ANeuroPilotTFLite_createAdv(ANeuralNetworksTFLite** tflite, const char* modelPath,
                                ANeuralNetworksTFLiteOptions* options) {
    STANDIN_ENTER();
    if (tflite == nullptr || modelPath == nullptr || options == nullptr)
        return kUnexpectedNull;
    libraryState().recordText("model_path", modelPath);
    std::vector<uint8_t> bytes;
    if (!standin::readFile(modelPath, &bytes)) {
        standin::logError("cannot read model file %s", modelPath);
        return kBadData;
    }
    return createInterpreter(tflite, bytes, options);
}

int ANeuroPilotTFLite_createAdvWithBuffer(ANeuralNetworksTFLite** tflite, const char* buffer,
                                          unsigned int bufferSize,
                                          ANeuralNetworksTFLiteOptions* options) {
    STANDIN_ENTER();
    if (tflite == nullptr || buffer == nullptr || options == nullptr)
        return kUnexpectedNull;
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(buffer);
    return createInterpreter(tflite, std::vector<uint8_t>(bytes, bytes + bufferSize), options);
}

int ANeuroPilotTFLite_getTensorByteSize(ANeuralNetworksTFLite* tflite, unsigned int direction,
                                        int index, unsigned int* size) {
    STANDIN_ENTER();
    if (size == nullptr)
        return kUnexpectedNull;
    if (!validTensor(tflite, direction, index))
        return kBadData;
    *size = tflite->model->byteSize(direction);
    return kNoError;
}

int ANeuroPilotTFLite_getTensorType(ANeuralNetworksTFLite* tflite, unsigned int direction,
                                    int index, unsigned int* type) {
    STANDIN_ENTER();
    if (type == nullptr)
        return kUnexpectedNull;
    if (!validTensor(tflite, direction, index))
        return kBadData;
    *type = tflite->model->type(direction);
    return kNoError;
}

int ANeuroPilotTFLite_setInputTensorData(ANeuralNetworksTFLite* tflite, int index, const void* data,
                                         unsigned int size) {
    STANDIN_ENTER();
    if (data == nullptr)
        return kUnexpectedNull;
    if (!validTensor(tflite, 0, index))
        return kBadData;
    libraryState().recordInt("input_bytes", size);
    std::string error;
    if (!tflite->model->setInput(data, size, &error)) {
        standin::logError("setInputTensorData: %s", error.c_str());
        return kBadData;
    }
    return kNoError;
}

int ANeuroPilotTFLite_invoke(ANeuralNetworksTFLite* tflite) {
    STANDIN_ENTER();
    if (tflite == nullptr)
        return kUnexpectedNull;
    std::string error;
    if (!tflite->model->invoke(&error)) {
        standin::logError("invoke: %s", error.c_str());
        return kBadData;
    }
    libraryState().incrementInt("runs");
    return kNoError;
}

int ANeuroPilotTFLite_getOutputTensorData(ANeuralNetworksTFLite* tflite, int index, void* data,
                                          unsigned int size) {
    STANDIN_ENTER();
    if (data == nullptr)
        return kUnexpectedNull;
    if (!validTensor(tflite, 1, index))
        return kBadData;
    libraryState().recordInt("output_bytes", size);
    std::string error;
    if (!tflite->model->getOutput(data, size, &error)) {
        standin::logError("getOutputTensorData: %s", error.c_str());
        return kBadData;
    }
    return kNoError;
}

void ANeuroPilotTFLite_free(ANeuralNetworksTFLite* tflite) {
    libraryState().enter(__func__);
    if (tflite == nullptr)
        return;
    delete tflite;
    libraryState().adjustLive("live_interpreters", -1);
}

}  // extern "C"
