// The frame path adds no heap allocation of its own: a backend's Inference asks the allocator for
// exactly as many blocks as the vendor calls it makes do when a caller makes them directly on an
// engine of the same runtime. (What the runtime itself allocates is its own business.)
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "BackendFixture.h"
#include "BodySegNeuron.h"
#include "BodySegNeuropilot.h"
#include "MallocCounter.h"
#include "ModelMaterial.h"
#include "mtk/neuron6/NeuroPilotTFLiteApi.h"
#include "mtk/neuron6/NeuronRuntimeApi.h"
#include "standin_control.h"

namespace mtktest {
namespace {

constexpr int kFrames = 4;

template <typename Fn>
Fn vendor(const testsupport::StandinClient& runtime, const char* name) {
    Fn fn = reinterpret_cast<Fn>(dlsym(runtime.handle(), name));
    EXPECT_NE(fn, nullptr) << name;
    return fn;
}
#define VENDOR(runtime, name) vendor<decltype(&name)>(runtime, #name)

class InferenceMallocTest : public BackendTest {
  protected:
    // Only errors are logged, so the capture allocates nothing while counting.
    testsupport::LogLevelScope quiet_{kavo::kLogError};
    std::vector<uint8_t> output_ = std::vector<uint8_t>(kOutputBytes);

    static long blocksOf(const std::function<void()>& frame) {
        return mallocsDuring([&frame] {
            for (int i = 0; i < kFrames; ++i)
                frame();
        });
    }

    // Frames through `backend` ask for as many blocks as `directFrame`, the same vendor calls made
    // directly. The first of each binds the wrappers and lets the runtime make its records.
    void expectNoBlocksOfItsOwn(bodysegment::ModelImpBase& backend,
                                const std::function<void()>& directFrame) {
        const std::function<void()> backendFrame = [&] {
            backend.Inference(input_.data(), kInputBytes, output_.data());
        };
        directFrame();
        ASSERT_EQ(backend.Inference(input_.data(), kInputBytes, output_.data()), 1);
        const long direct = blocksOf(directFrame);
        EXPECT_EQ(blocksOf(backendFrame), direct);
    }
};

// The count would prove nothing if the runtime's allocations bypassed the counter.
TEST_F(InferenceMallocTest, CounterSeesAllocationsInsideTheRuntimes) {
    auto setPattern = vendor<decltype(&standin_set_output_pattern)>(tfliteStandin(),
                                                                    "standin_set_output_pattern");
    ASSERT_NE(setPattern, nullptr);
    const std::vector<uint8_t> pattern(100, 1);

    const long blocks = mallocsDuring([&] { setPattern(pattern.data(), pattern.size()); });

    EXPECT_GT(blocks, 0);
}

TEST_F(InferenceMallocTest, NeuropilotFrameAllocatesOnlyWhatItsVendorCallsDo) {
    const testsupport::StandinClient& shim = tfliteStandin();
    auto createOptions = VENDOR(shim, ANeuroPilotTFLiteOptions_create);
    auto freeOptions = VENDOR(shim, ANeuroPilotTFLiteOptions_free);
    auto create = VENDOR(shim, ANeuroPilotTFLite_createAdvWithBuffer);
    auto setInput = VENDOR(shim, ANeuroPilotTFLite_setInputTensorData);
    auto invoke = VENDOR(shim, ANeuroPilotTFLite_invoke);
    auto getOutput = VENDOR(shim, ANeuroPilotTFLite_getOutputTensorData);
    auto getType = VENDOR(shim, ANeuroPilotTFLite_getTensorType);
    auto freeInterpreter = VENDOR(shim, ANeuroPilotTFLite_free);
    ASSERT_FALSE(HasFailure());
    ANeuralNetworksTFLiteOptions* options = nullptr;
    ANeuralNetworksTFLite* interpreter = nullptr;
    ASSERT_EQ(createOptions(&options), 0);
    ASSERT_EQ(create(&interpreter, modelBufferBytes().data(), 40, options), 0);
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    bodysegment::BodySegNeuropilot backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    expectNoBlocksOfItsOwn(backend, [&] {
        unsigned int type = 0;
        setInput(interpreter, 0, input_.data(), kInputBytes);
        invoke(interpreter);
        getOutput(interpreter, 0, output_.data(), kOutputBytes);
        getType(interpreter, 1, 0, &type);
    });
    backend.Release();
    freeInterpreter(interpreter);
    freeOptions(options);
}

TEST_F(InferenceMallocTest, NeuronFrameAllocatesOnlyWhatItsVendorCallsDo) {
    const testsupport::StandinClient& runtime = neuronStandin();
    auto create = VENDOR(runtime, NeuronRuntime_create);
    auto load = VENDOR(runtime, NeuronRuntime_loadNetworkFromBuffer);
    auto setInput = VENDOR(runtime, NeuronRuntime_setSingleInput);
    auto setOutput = VENDOR(runtime, NeuronRuntime_setSingleOutput);
    auto inference = VENDOR(runtime, NeuronRuntime_inference);
    auto release = VENDOR(runtime, NeuronRuntime_release);
    ASSERT_FALSE(HasFailure());
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    void* instance = nullptr;
    ASSERT_EQ(create(&cfg.env_options, &instance), 0);
    ASSERT_EQ(load(instance, modelBufferBytes().data(), 40), 0);
    bodysegment::BodySegNeuron backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    const BufferAttribute attribute{-1};
    expectNoBlocksOfItsOwn(backend, [&] {
        setInput(instance, input_.data(), kInputBytes, attribute);
        setOutput(instance, output_.data(), kOutputBytes, attribute);
        inference(instance);
    });
    backend.Release();
    release(instance);
}

}  // namespace
}  // namespace mtktest
