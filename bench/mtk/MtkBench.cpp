// One frame through each backend's Inference against the same vendor calls made directly on an
// engine of the same stand-in runtime, measured in the same run. The stand-ins run their scripted
// model (an output pattern at the product's network geometry), so the difference is the backend's
// own work around the vendor calls: its checks, the in-place binding or the copies, and the
// narrowing of 155952 output elements to label bytes. The closing table gives the ratios.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <stdlib.h>
#include <sys/system_properties.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ALGOGalloc.h"
#include "BodySegNeuron.h"
#include "BodySegNeuropilot.h"
#include "LogPrintf.h"
#include "ModelCfg.h"
#include "RatioReporter.h"
#include "mtk/neuron6/NeuroPilotTFLiteApi.h"
#include "mtk/neuron6/NeuronRuntimeApi.h"
#include "standin_control.h"

namespace {

constexpr uint32_t kInputBytes = 342 * 456 * 3;
constexpr uint32_t kOutputElements = 342 * 456;
constexpr uint32_t kOutputBytes = kOutputElements * 4;
constexpr uint32_t kTypeFloat32 = 1;
constexpr uint32_t kTypeInt32 = 3;

// The model bytes are recorded by the scripted stand-ins, never interpreted.
const char kModelBytes[64] = {1};

void* gTflite = nullptr;
void* gNeuron = nullptr;
std::string gCacheDir;

template <typename Fn>
Fn vendor(void* library, const char* name) {
    return reinterpret_cast<Fn>(dlsym(library, name));
}
#define VENDOR(library, name) vendor<decltype(&name)>(library, #name)

// Made available the way a phone image provides them, before any backend binds its functions.
bool loadStandins() {
    __system_property_set(STANDIN_MODE_PROPERTY, STANDIN_MODE_SCRIPT);
    const std::string dir = BODYSEG_STANDIN_DIR;
    gTflite = dlopen((dir + "/libtflite_mtk.so").c_str(), RTLD_NOW | RTLD_GLOBAL);
    gNeuron = dlopen((dir + "/libneuron_runtime.6.so").c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (gTflite == nullptr || gNeuron == nullptr) {
        std::fprintf(stderr, "cannot load the stand-in runtimes: %s\n", dlerror());
        return false;
    }
    return true;
}

// The output tensor of engines made from now on: `type`, filled with labels 0 to 3.
void scriptOutput(void* library, uint32_t type) {
    VENDOR(library, standin_set_tensor)(0, kInputBytes, 2);
    VENDOR(library, standin_set_tensor)(1, kOutputBytes, type);
    std::vector<uint8_t> pattern(16);
    for (int i = 0; i < 4; ++i) {
        if (type == kTypeFloat32) {
            const float label = static_cast<float>(i) + 0.25f;
            std::memcpy(&pattern[4 * i], &label, 4);
        } else {
            const int32_t label = i;
            std::memcpy(&pattern[4 * i], &label, 4);
        }
    }
    VENDOR(library, standin_set_output_pattern)(pattern.data(), pattern.size());
}

mtk_ai_type::ModelCfg benchCfg() {
    mtk_ai_type::ModelCfg cfg{};
    cfg.model_path = "";
    cfg.model_buffer = kModelBytes;
    cfg.model_size = sizeof(kModelBytes);
    cfg.cache_dir = gCacheDir.c_str();
    cfg.acc_name = "mtk-mdla";
    cfg.exe_mode = 1;
    cfg.env_options.deviceKind = 4;
    cfg.qos_options.boostValue = 100;
    cfg.qos_options.delayedPowerOffTime = -1;
    cfg.buffer_attribute = -1;
    return cfg;
}

struct Frame {
    std::vector<uint8_t> input = std::vector<uint8_t>(kInputBytes, 17);
    std::vector<uint8_t> staging = std::vector<uint8_t>(kOutputBytes);
    std::vector<uint8_t> labels = std::vector<uint8_t>(kOutputElements);
};

template <typename Backend>
void backendInference(benchmark::State& state, void* library, uint32_t outputType) {
    scriptOutput(library, outputType);
    mtk_ai_type::ModelCfg cfg = benchCfg();
    Backend backend(cfg);
    if (backend.Init() == 0) {
        state.SkipWithError("Init failed");
        return;
    }
    Frame frame;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            backend.Inference(frame.input.data(), kInputBytes, frame.labels.data()));
        benchmark::ClobberMemory();
    }
    backend.Release();
}

// What BodySegNeuropilot's frame asks of the shim, called directly.
void tfliteVendorCalls(benchmark::State& state, uint32_t outputType) {
    scriptOutput(gTflite, outputType);
    ANeuralNetworksTFLiteOptions* options = nullptr;
    ANeuralNetworksTFLite* interpreter = nullptr;
    if (VENDOR(gTflite, ANeuroPilotTFLiteOptions_create)(&options) != 0 ||
        VENDOR(gTflite, ANeuroPilotTFLite_createAdvWithBuffer)(&interpreter, kModelBytes,
                                                               sizeof(kModelBytes), options) != 0) {
        state.SkipWithError("no interpreter");
        return;
    }
    auto setInput = VENDOR(gTflite, ANeuroPilotTFLite_setInputTensorData);
    auto invoke = VENDOR(gTflite, ANeuroPilotTFLite_invoke);
    auto getOutput = VENDOR(gTflite, ANeuroPilotTFLite_getOutputTensorData);
    Frame frame;
    for (auto _ : state) {
        int status = setInput(interpreter, 0, frame.input.data(), kInputBytes);
        status |= invoke(interpreter);
        status |= getOutput(interpreter, 0, frame.staging.data(), kOutputBytes);
        benchmark::DoNotOptimize(status);
        benchmark::ClobberMemory();
    }
    VENDOR(gTflite, ANeuroPilotTFLite_free)(interpreter);
    VENDOR(gTflite, ANeuroPilotTFLiteOptions_free)(options);
}

// What BodySegNeuron's frame asks of the runtime, called directly.
void neuronVendorCalls(benchmark::State& state) {
    scriptOutput(gNeuron, kTypeInt32);
    const mtk_ai_type::ModelCfg cfg = benchCfg();
    void* runtime = nullptr;
    if (VENDOR(gNeuron, NeuronRuntime_create)(&cfg.env_options, &runtime) != 0 ||
        VENDOR(gNeuron, NeuronRuntime_loadNetworkFromBuffer)(runtime, kModelBytes,
                                                             sizeof(kModelBytes)) != 0) {
        state.SkipWithError("no runtime");
        return;
    }
    auto setInput = VENDOR(gNeuron, NeuronRuntime_setSingleInput);
    auto setOutput = VENDOR(gNeuron, NeuronRuntime_setSingleOutput);
    auto inference = VENDOR(gNeuron, NeuronRuntime_inference);
    const BufferAttribute attribute{-1};
    Frame frame;
    for (auto _ : state) {
        int status = setInput(runtime, frame.input.data(), kInputBytes, attribute);
        status |= setOutput(runtime, frame.staging.data(), kOutputBytes, attribute);
        status |= inference(runtime);
        benchmark::DoNotOptimize(status);
        benchmark::ClobberMemory();
    }
    VENDOR(gNeuron, NeuronRuntime_release)(runtime);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    if (!loadStandins())
        return 1;
    char cacheDir[] = "/tmp/mtk-bench-XXXXXX";
    if (mkdtemp(cacheDir) == nullptr)
        return 1;
    gCacheDir = cacheDir;
    // As every handle runs: tracing on, log lines off except errors.
    kavo::LogPrintf::setLogStatus(kavo::kLogError);
    kavo::AlgorithmMemory::memTraceInit(256);

    std::vector<benchsupport::Comparison> rows;
    auto compare = [&rows](const std::string& label, const std::string& backend, auto backendRun,
                           const std::string& direct, auto directRun) {
        benchmark::RegisterBenchmark(backend.c_str(), backendRun)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(direct.c_str(), directRun)->Unit(benchmark::kMicrosecond);
        rows.push_back({label, backend, direct, ""});
    };
    for (const uint32_t type : {kTypeInt32, kTypeFloat32}) {
        const std::string output = type == kTypeInt32 ? "int32" : "float32";
        compare(
            "NeuroPilot, " + output + " output", "neuropilot_backend/" + output,
            [type](benchmark::State& state) {
                backendInference<bodysegment::BodySegNeuropilot>(state, gTflite, type);
            },
            "tflite_vendor_calls/" + output,
            [type](benchmark::State& state) { tfliteVendorCalls(state, type); });
    }
    compare(
        "Neuron Runtime", "neuron_backend",
        [](benchmark::State& state) {
            backendInference<bodysegment::BodySegNeuron>(state, gNeuron, kTypeInt32);
        },
        "neuron_vendor_calls", neuronVendorCalls);

    benchsupport::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTable({"one frame (median real time, us)", "backend", "vendor calls", ""}, rows);
    benchmark::Shutdown();
    rmdir(cacheDir);
    return 0;
}
