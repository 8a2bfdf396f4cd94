// Engine mode: the TFLite model runs on the host CPU engine. The stand-ins speak of one input and
// one output tensor, as the vendor runtimes' single-tensor calls do: tensor 0 of each direction.
#include <sys/system_properties.h>

#include <cstdlib>

#include "HostEngine.h"
#include "StandinModel.h"

namespace standin {

namespace {

uint32_t vendorType(hostengine::ElementType type) {
    switch (type) {
        case hostengine::ElementType::Float32:
            return kTypeFloat32;
        case hostengine::ElementType::Uint8:
            return kTypeUint8;
        case hostengine::ElementType::Int32:
            return kTypeInt32;
        case hostengine::ElementType::Int64:
            return kTypeInt64;
        case hostengine::ElementType::Bool:
            return kTypeBool;
        case hostengine::ElementType::Int8:
            return kTypeInt8;
        case hostengine::ElementType::Float16:
            return kTypeFloat16;
        case hostengine::ElementType::None:
            break;
    }
    return kTypeNone;
}

class EngineModel : public Model {
  public:
    explicit EngineModel(std::unique_ptr<hostengine::Engine> engine) : mEngine(std::move(engine)) {}

    uint32_t byteSize(uint32_t direction) const override {
        return static_cast<uint32_t>(tensor(direction).byteSize);
    }
    uint32_t type(uint32_t direction) const override { return vendorType(tensor(direction).type); }

    bool setInput(const void* data, size_t size, std::string* error) override {
        return mEngine->setInput(0, data, size, error);
    }
    bool invoke(std::string* error) override { return mEngine->invoke(error); }
    bool getOutput(void* data, size_t size, std::string* error) override {
        return mEngine->getOutput(0, data, size, error);
    }

  private:
    const hostengine::TensorInfo& tensor(uint32_t direction) const {
        return direction == 0 ? mEngine->input(0) : mEngine->output(0);
    }

    std::unique_ptr<hostengine::Engine> mEngine;
};

// Worker threads from the host's property store: unset, 0 or not a number means every core.
int engineThreads() {
    char value[PROP_VALUE_MAX] = {0};
    __system_property_get(STANDIN_THREADS_PROPERTY, value);
    const long threads = std::strtol(value, nullptr, 10);
    return threads > 0 && threads <= 256 ? static_cast<int>(threads) : 0;
}

}  // namespace

std::unique_ptr<Model> makeEngineModel(const std::vector<uint8_t>& bytes,
                                       const ModelOptions& options, std::string* error) {
    hostengine::EngineOptions engineOptions;
    engineOptions.allowFp16 = options.allowFp16;
    engineOptions.threads = engineThreads();
    std::unique_ptr<hostengine::Engine> engine =
        hostengine::Engine::fromBytes(bytes.data(), bytes.size(), engineOptions, error);
    if (engine == nullptr)
        return nullptr;
    if (engine->inputCount() == 0 || engine->outputCount() == 0) {
        *error = "model has no input or no output tensor";
        return nullptr;
    }
    return std::make_unique<EngineModel>(std::move(engine));
}

}  // namespace standin
