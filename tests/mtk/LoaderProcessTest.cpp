// What both vendor loaders do the same way: on a phone without the library every wrapper fails as
// unbound after logging once and never retries, a backend's Init fails at its first vendor call,
// and concurrent first calls bind once, with or without the library.
#include <android/log.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "BodySegNeuron.h"
#include "BodySegNeuropilot.h"
#include "ConcurrentStart.h"
#include "LoaderChild.h"
#include "ModelMaterial.h"
#include "NeuroPilotTFLiteShim.h"
#include "PluginPaths.h"
#include "StandinClient.h"
#include "mtk/neuron6/NeuronRuntimeInterface.h"

namespace mtktest {
namespace {

using testsupport::ChildChecks;
using testsupport::LogCapture;
using testsupport::StandinClient;

struct Wrapper {
    const char* symbol;
    std::function<int()> call;
};

// A wrapper under the name of the vendor function it binds, called with arguments that an unbound
// wrapper never passes on.
#define OPTIONS_WRAPPER(step, ...)                                          \
    {                                                                       \
        "ANeuroPilotTFLiteOptions_" #step,                                  \
            [] { return ANeuralNetworksTFLiteOptions_##step(__VA_ARGS__); } \
    }
#define TFLITE_WRAPPER(step, wrapper, ...)                                                         \
    {                                                                                              \
        "ANeuroPilotTFLite_" #step, [] { return ANeuroPilotTFLiteWrapper_##wrapper(__VA_ARGS__); } \
    }
#define NEURON_WRAPPER(step, ...)                                                    \
    {                                                                                \
        "NeuronRuntime_" #step, [] { return WarpNeuronRuntime_##step(__VA_ARGS__); } \
    }

struct LoaderKind {
    const char* label;
    const char* library;  // as a phone provides it
    int unbound;          // the status of a wrapper that could not be bound
    std::vector<Wrapper> wrappers;
    // What the first call of `symbol` logs when no library opens: plug-in ERROR lines, shim lines.
    std::vector<KavoLine> (*missingErrors)(const std::string& symbol);
    ShimLines (*missingShimLines)(const std::string& symbol);
    // What the first call logs when the library opens: plug-in lines, shim lines.
    std::vector<KavoLine> openedLines;
    ShimLines openedShimLines;
    // The first vendor call of a backend's Init, and its inverse.
    const char* createSymbol;
    int (*create)(void** made);
    void (*destroy)(void* made);
    const char* liveObjects;
    // The backend on this runtime, where its lines come from, and its type without an engine.
    std::unique_ptr<bodysegment::ModelImpBase> (*makeBackend)(mtk_ai_type::ModelCfg& cfg);
    const char* backendFile;
    int typeWithoutEngine;
    // Whether the library itself is found once it exists, although no wrapper binds any more.
    bool (*findsLateLibrary)();
};

const LoaderKind& tfliteLoader() {
    static const LoaderKind kind{
        "Tflite",
        kTfliteGeneric,
        kTFLiteUnbound,
        {
            OPTIONS_WRAPPER(create, nullptr),
            OPTIONS_WRAPPER(setAccelerationMode, nullptr, 0),
            OPTIONS_WRAPPER(setAcceleratorName, nullptr, nullptr),
            OPTIONS_WRAPPER(setUseIon, nullptr, true),
            OPTIONS_WRAPPER(setNoSupportedOperationCheck, nullptr, true),
            OPTIONS_WRAPPER(setCacheDir, nullptr, nullptr),
            OPTIONS_WRAPPER(setPreference, nullptr, 0),
            OPTIONS_WRAPPER(setAllowFp16PrecisionForFp32, nullptr, false),
            OPTIONS_WRAPPER(free, nullptr),
            TFLITE_WRAPPER(createAdv, makeAdvTFLite, nullptr, nullptr, nullptr),
            TFLITE_WRAPPER(createAdvWithBuffer, makeAdvTFLiteWithBuffer, nullptr, nullptr, 0,
                           nullptr),
            TFLITE_WRAPPER(getTensorByteSize, getTensorByteSize, nullptr, 0, 0, nullptr),
            TFLITE_WRAPPER(getTensorType, getTensorType, nullptr, 0, 0, nullptr),
            TFLITE_WRAPPER(setInputTensorData, setInputTensorData, nullptr, 0, nullptr, 0),
            TFLITE_WRAPPER(invoke, invoke, nullptr),
            TFLITE_WRAPPER(getOutputTensorData, getOutputTensorData, nullptr, 0, nullptr, 0),
            TFLITE_WRAPPER(free, free, nullptr),
        },
        // The shim logs under its own tag, and each first call tries the libraries again.
        [](const std::string&) { return std::vector<KavoLine>{}; },
        [](const std::string& symbol) {
            return ShimLines{shimNotOpened(kTfliteGeneric), shimNotOpened(kTfliteStatic),
                             shimUnbound(symbol)};
        },
        {},
        {shimOpened(kTfliteGeneric)},
        "ANeuroPilotTFLiteOptions_create",
        [](void** made) {
            ANeuralNetworksTFLiteOptions* options = nullptr;
            const int status = ANeuralNetworksTFLiteOptions_create(&options);
            *made = options;
            return status;
        },
        [](void* made) {
            ANeuralNetworksTFLiteOptions_free(static_cast<ANeuralNetworksTFLiteOptions*>(made));
        },
        "live_options",
        [](mtk_ai_type::ModelCfg& cfg) -> std::unique_ptr<bodysegment::ModelImpBase> {
            return std::make_unique<bodysegment::BodySegNeuropilot>(cfg);
        },
        kNeuropilotFile,
        0,
        [] { return getTFLiteLibraryHandle() == dlopen(kTfliteGeneric, RTLD_NOW | RTLD_NOLOAD); },
    };
    return kind;
}

const LoaderKind& neuronLoader() {
    static const LoaderKind kind{
        "Neuron",
        kNeuronRuntimeLibrary,
        kNeuronRuntimeUnbound,
        {
            NEURON_WRAPPER(create, nullptr, nullptr),
            NEURON_WRAPPER(setQoSOption, nullptr, nullptr),
            NEURON_WRAPPER(loadNetworkFromFile, nullptr, nullptr),
            NEURON_WRAPPER(loadNetworkFromBuffer, nullptr, nullptr, 0),
            NEURON_WRAPPER(getSingleInputSize, nullptr, nullptr),
            NEURON_WRAPPER(getSingleOutputSize, nullptr, nullptr),
            NEURON_WRAPPER(setSingleInput, nullptr, nullptr, 0, BufferAttribute{-1}),
            NEURON_WRAPPER(setSingleOutput, nullptr, nullptr, 0, BufferAttribute{-1}),
            NEURON_WRAPPER(inference, nullptr),
            NEURON_WRAPPER(release, nullptr),
        },
        // Each wrapper tries the library itself while the handle is still null.
        [](const std::string& symbol) {
            return std::vector<KavoLine>{runtimeMissing(), runtimeFunctionMissing(symbol)};
        },
        [](const std::string&) { return ShimLines{}; },
        {runtimeOpened()},
        {},
        "NeuronRuntime_create",
        [](void** made) {
            const EnvOptions env{4, 0, 0};
            return WarpNeuronRuntime_create(&env, made);
        },
        [](void* made) { WarpNeuronRuntime_release(made); },
        "live_runtimes",
        [](mtk_ai_type::ModelCfg& cfg) -> std::unique_ptr<bodysegment::ModelImpBase> {
            return std::make_unique<bodysegment::BodySegNeuron>(cfg);
        },
        kNeuronFile,
        23,
        nullptr,
    };
    return kind;
}

// What the first call of `symbol` logs without the library, with the plug-in's own ERROR lines
// `also` after the loader's.
testing::AssertionResult loggedMissing(const LoaderKind& kind, const LogCapture& log,
                                       const std::string& symbol,
                                       const std::vector<KavoLine>& also = {}) {
    std::vector<KavoLine> errors = kind.missingErrors(symbol);
    errors.insert(errors.end(), also.begin(), also.end());
    const testing::AssertionResult plugin = errorsAre(log, errors, true);
    return plugin ? shimLinesAre(log, kind.missingShimLines(symbol)) : plugin;
}

// Nothing but plug-in ERROR lines and shim lines was logged.
bool onlyErrorsAndShimLines(const LogCapture& log) {
    for (const testsupport::LogLine& line : log.lines()) {
        if (line.tag != kShimTag && !(line.tag == kPluginTag && line.priority == ANDROID_LOG_ERROR))
            return false;
    }
    return true;
}

class LoaderProcessTest : public testing::TestWithParam<const LoaderKind*> {};

TEST_P(LoaderProcessTest, WithoutLibraryEachWrapperLogsOnceAndNeverRetries) {
    const LoaderKind& kind = *GetParam();
    EXPECT_EQ(inFreshProcess([&kind](ChildChecks& checks, LogCapture& log) {
                  for (const Wrapper& wrapper : kind.wrappers) {
                      const std::string name = wrapper.symbol;
                      log.clear();
                      checks.expectEq(wrapper.call(), kind.unbound, "first call " + name);
                      checks.expect(loggedMissing(kind, log, name), "first call " + name);
                      checks.expect(onlyErrorsAndShimLines(log), "other lines from " + name);
                      log.clear();
                      checks.expectEq(wrapper.call(), kind.unbound, "second call " + name);
                      checks.expect(log.lines().empty(), "second call " + name + " logged");
                  }

                  // The library turns up later: the wrappers stay unbound and quiet.
                  StandinClient library(testsupport::standinDir(), kind.library);
                  checks.expect(library.loaded(), "loading the library late");
                  log.clear();
                  for (const Wrapper& wrapper : kind.wrappers) {
                      const std::string name = wrapper.symbol;
                      checks.expectEq(wrapper.call(), kind.unbound, "late call " + name);
                      checks.expectEq(library.callCount(name), 0, "calls reaching " + name);
                  }
                  checks.expect(log.lines().empty(), "calls after loading logged");
                  if (kind.findsLateLibrary != nullptr)
                      checks.expect(kind.findsLateLibrary(), "the late library is not found");
              }),
              "");
}

constexpr int kThreads = 8;

TEST_P(LoaderProcessTest, ConcurrentFirstCallsWithoutLibraryBindOnce) {
    const LoaderKind& kind = *GetParam();
    EXPECT_EQ(inFreshProcess([&kind](ChildChecks& checks, LogCapture& log) {
                  std::vector<int> results(kThreads, -1);

                  runConcurrently(kThreads, [&](int i) {
                      void* made = nullptr;
                      results[i] = kind.create(&made);
                  });

                  checks.expect(results == std::vector<int>(kThreads, kind.unbound),
                                "every thread fails as unbound");
                  checks.expect(loggedMissing(kind, log, kind.createSymbol), "lines");
              }),
              "");
}

TEST_P(LoaderProcessTest, ConcurrentFirstCallsWithLibraryBindOnce) {
    const LoaderKind& kind = *GetParam();
    EXPECT_EQ(inFreshProcess([&kind](ChildChecks& checks, LogCapture& log) {
                  StandinClient library(testsupport::standinDir(), kind.library);
                  checks.expect(library.loaded(), "loading the library");
                  log.clear();
                  std::vector<int> results(kThreads, -1);
                  std::vector<void*> made(kThreads, nullptr);

                  runConcurrently(kThreads, [&](int i) { results[i] = kind.create(&made[i]); });

                  checks.expect(results == std::vector<int>(kThreads, 0), "every thread succeeds");
                  checks.expectEq(library.callCount(kind.createSymbol), kThreads,
                                  "calls reaching the library");
                  for (const KavoLine& line : kind.openedLines)
                      checks.expect(loggedTimes(log, line, 1), "library opened");
                  checks.expect(shimLinesAre(log, kind.openedShimLines), "shim lines");
                  checks.expect(errorsAre(log, {}), "errors");
                  for (void* object : made)
                      kind.destroy(object);
                  checks.expectEq(library.recordedInt(kind.liveObjects), 0, "objects at the end");
              }),
              "");
}

INSTANTIATE_TEST_SUITE_P(BothRuntimes, LoaderProcessTest,
                         testing::Values(&tfliteLoader(), &neuronLoader()),
                         [](const testing::TestParamInfo<const LoaderKind*>& info) {
                             return info.param->label;
                         });

// ---------------------------------------------------------------------------------------------
// A backend on a phone without its runtime: Init fails at the first vendor call, after the
// loader's lines, with the one plug-in error naming the step.

struct MissingLibraryInit {
    const LoaderKind& (*loader)();
    BuildPath path;
    const char* message;
};

class BackendWithoutLibraryTest : public testing::TestWithParam<MissingLibraryInit> {};

TEST_P(BackendWithoutLibraryTest, InitFailsAtTheFirstVendorCall) {
    const MissingLibraryInit& row = GetParam();
    EXPECT_EQ(inFreshProcess([&row](ChildChecks& checks, LogCapture& log) {
                  const LoaderKind& kind = row.loader();
                  mtk_ai_type::ModelCfg cfg = makeCfg(row.path);
                  const auto backend = kind.makeBackend(cfg);

                  checks.expectEq(backend->Init(), 0, "Init");

                  const std::string function = std::string("InitModelWith") + pathName(row.path);
                  checks.expect(
                      loggedMissing(kind, log, kind.createSymbol,
                                    {{ANDROID_LOG_ERROR, kind.backendFile, function, row.message}}),
                      "lines");
                  checks.expectEq(backend->GetInputDataType(), kind.typeWithoutEngine, "type");
                  backend->Release();
                  backend->Release();
              }),
              "");
}

INSTANTIATE_TEST_SUITE_P(
    BothRuntimes, BackendWithoutLibraryTest,
    testing::Values(MissingLibraryInit{tfliteLoader, BuildPath::kFile,
                                       "ANeuralNetworksTFLiteOptions_create failed"},
                    MissingLibraryInit{tfliteLoader, BuildPath::kBuffer,
                                       "ANeuralNetworksTFLiteOptions_create failed"},
                    MissingLibraryInit{neuronLoader, BuildPath::kFile,
                                       "WarpNeuronRuntime_create failed, error code = 5"},
                    MissingLibraryInit{neuronLoader, BuildPath::kBuffer,
                                       "WarpNeuronRuntime_create failed"}),
    [](const testing::TestParamInfo<MissingLibraryInit>& info) {
        return std::string(info.param.loader().label) + "_" + pathName(info.param.path);
    });

}  // namespace
}  // namespace mtktest
