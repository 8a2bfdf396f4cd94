// Script mode: tensors sized and typed by the test, output from a pattern or an echo of the input.
#include <algorithm>
#include <cstring>

#include "StandinModel.h"

namespace standin {

namespace {

uint32_t elementSize(uint32_t type) {
    return type == kTypeUint8 ? 1 : 4;
}

class ScriptedModel : public Model {
  public:
    ScriptedModel(const State& state)
        : mState(state), mInputScript(state.tensor(0)), mOutputScript(state.tensor(1)) {
        mInput.assign(mInputScript.byteSize, 0);
        mOutput.assign(mOutputScript.byteSize, 0);
    }

    uint32_t byteSize(uint32_t direction) const override {
        return direction == 0 ? mInputScript.byteSize : mOutputScript.byteSize;
    }
    uint32_t type(uint32_t direction) const override {
        return direction == 0 ? mInputScript.type : mOutputScript.type;
    }

    bool setInput(const void* data, size_t size, std::string* error) override {
        if (size != mInput.size()) {
            *error = "input of " + std::to_string(size) + " bytes, tensor holds " +
                     std::to_string(mInput.size());
            return false;
        }
        std::memcpy(mInput.data(), data, size);
        return true;
    }

    // The output script is read on every run, so a test may change it while the model lives.
    bool invoke(std::string*) override {
        const OutputScript script = mState.outputScript();
        if (script.echo) {
            echo(script.echoStep, script.echoOffset);
        } else if (script.pattern.empty()) {
            std::fill(mOutput.begin(), mOutput.end(), 0);
        } else {
            for (size_t i = 0; i < mOutput.size(); ++i) {
                mOutput[i] = script.pattern[i % script.pattern.size()];
            }
        }
        return true;
    }

    bool getOutput(void* data, size_t size, std::string* error) override {
        if (size != mOutput.size()) {
            *error = "output of " + std::to_string(size) + " bytes, tensor holds " +
                     std::to_string(mOutput.size());
            return false;
        }
        std::memcpy(data, mOutput.data(), size);
        return true;
    }

  private:
    void echo(uint32_t step, uint32_t offset) {
        const uint32_t type = mOutputScript.type;
        const size_t width = elementSize(type);
        const size_t count = mOutput.size() / width;
        for (size_t i = 0; i < count; ++i) {
            const size_t at = i * step + offset;
            const uint8_t value = at < mInput.size() ? mInput[at] : 0;
            uint8_t* element = mOutput.data() + i * width;
            if (type == kTypeUint8) {
                *element = value;
            } else if (type == kTypeFloat32) {
                const float asFloat = value;
                std::memcpy(element, &asFloat, sizeof(asFloat));
            } else {
                const int32_t asInt = value;
                std::memcpy(element, &asInt, sizeof(asInt));
            }
        }
    }

    const State& mState;
    const TensorScript mInputScript;
    const TensorScript mOutputScript;
    std::vector<uint8_t> mInput;
    std::vector<uint8_t> mOutput;
};

}  // namespace

std::unique_ptr<Model> makeScriptedModel(const State& state) {
    return std::make_unique<ScriptedModel>(state);
}

}  // namespace standin
