// The vendor loaders. Each vendor function is bound once per process and never again, so every
// case runs in a fresh child process whose parent has loaded and bound nothing.
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include <map>

#include "ChildChecks.h"
#include "ChildProcess.h"
#include "LogLevelScope.h"
#include "MtkLog.h"
#include "NeuroPilotTFLiteShim.h"
#include "PluginPaths.h"
#include "StandinClient.h"
#include "mtk/neuron6/NeuronRuntimeInterface.h"

namespace mtktest {
namespace {

using testsupport::ChildChecks;
using testsupport::LogCapture;
using testsupport::StandinClient;

const std::string kGeneric = "libtflite_mtk.so";
const std::string kStatic = "libtflite_mtk_static.so";
const std::string kStaticR = "libtflite_mtk_static_R.so";
const std::string kInterface = "neuron6\\NeuronRuntimeInterface.h ";
// What the stand-ins answer to the null arguments below.
constexpr int kUnexpectedNull = 3;

std::string shim(const std::string& text) {
    return "NeuroPilotTFLiteShim: TFLite " + text + "\n";
}

// Runs `body` in a fresh child with every line captured, INFO included; "" when every check held.
std::string inChild(const std::function<void(ChildChecks&, LogCapture&)>& body) {
    return testsupport::runInChild([&body] {
        ChildChecks checks;
        const testsupport::LogLevelScope level(kavo::kLogError | kavo::kLogWarn | kavo::kLogInfo);
        LogCapture log;
        body(checks, log);
        std::string lines;
        for (const std::string& text : logged(log, -1))
            lines += "\n  " + text;
        return checks.ok() ? std::string() : checks.verdict() + "log:" + lines;
    });
}

// The generic library wherever it exists, else the static variant for the Android release.
TEST(LoaderTest, ShimOpensTheLibraryForTheRelease) {
    const struct {
        const char* sdk;  // "ro.build.version.sdk", null: not set
        bool generic;
        std::string expected;
    } rows[] = {{"29", true, kGeneric},  {nullptr, true, kGeneric},      {"3a", true, kGeneric},
                {"28", false, kStatic},  {"29", false, kStatic},         {"30", false, kStaticR},
                {"31", false, kStaticR}, {"", false, kStatic},           {nullptr, false, kStatic},
                {"3a", false, kStaticR}, {"1000000000", false, kStaticR}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.sdk ? row.sdk : "unset") + (row.generic ? " generic" : ""));
        EXPECT_EQ(
            inChild([&row](ChildChecks& checks, LogCapture& log) {
                if (row.sdk != nullptr)
                    __system_property_set("ro.build.version.sdk", row.sdk);
                // Both static variants are always there: only the choice keeps one out.
                std::map<std::string, std::unique_ptr<StandinClient>> present;
                for (const std::string& name : {kGeneric, kStatic, kStaticR}) {
                    if (name != kGeneric || row.generic)
                        present[name].reset(new StandinClient(testsupport::standinDir(), name));
                }
                log.clear();
                checks.expectEq(ANeuralNetworksTFLiteOptions_create(nullptr), kUnexpectedNull,
                                "create");
                const Lines opened{shim(": open library " + row.expected)};
                const std::string missing = shim("error: unable to open library " + kGeneric);
                checks.expect(logged(log, -1) == (row.generic ? opened : Lines{missing, opened[0]}),
                              "lines");
                for (const auto& library : present) {
                    checks.expectEq(library.second->callCount("ANeuroPilotTFLiteOptions_create"),
                                    library.first == row.expected ? 1 : 0, library.first);
                }
            }),
            "");
    }
}

// A wrapper called with zero arguments, which an unbound wrapper never passes on.
template <typename... Args>
std::function<int()> zeroCall(int (*wrapper)(Args...)) {
    return [wrapper] { return wrapper(Args{}...); };
}
#define OPTIONS(step) \
    { "ANeuroPilotTFLiteOptions_" #step, zeroCall(ANeuralNetworksTFLiteOptions_##step) }
#define TFLITE(step, wrapper) \
    { "ANeuroPilotTFLite_" #step, zeroCall(ANeuroPilotTFLiteWrapper_##wrapper) }
#define NEURON(step) \
    { "NeuronRuntime_" #step, zeroCall(WarpNeuronRuntime_##step) }

struct Loader {
    std::string library;
    int unbound;
    // Under the vendor function each binds.
    std::vector<std::pair<std::string, std::function<int()>>> wrappers;
    // Every line of the first call of `symbol` without the library, and of a binding.
    Lines (*missing)(const std::string& symbol);
    std::string opened;
};

const Loader kLoaders[] = {
    {kGeneric,
     kTFLiteUnbound,
     {OPTIONS(create), OPTIONS(setAcceleratorName), OPTIONS(setUseIon),
      OPTIONS(setNoSupportedOperationCheck), OPTIONS(setCacheDir), OPTIONS(setPreference),
      OPTIONS(setAllowFp16PrecisionForFp32), OPTIONS(free), TFLITE(createAdv, makeAdvTFLite),
      TFLITE(createAdvWithBuffer, makeAdvTFLiteWithBuffer),
      TFLITE(getTensorByteSize, getTensorByteSize), TFLITE(getTensorType, getTensorType),
      TFLITE(setInputTensorData, setInputTensorData), TFLITE(invoke, invoke),
      TFLITE(getOutputTensorData, getOutputTensorData), TFLITE(free, free),
      OPTIONS(setAccelerationMode)},
     // The shim logs under its own tag, and each first call tries the libraries again.
     [](const std::string& symbol) {
         return Lines{shim("error: unable to open library " + kGeneric),
                      shim("error: unable to open library " + kStatic),
                      shim("error: unable to open function " + symbol)};
     },
     shim(": open library " + kGeneric)},
    {"libneuron_runtime.6.so",
     kNeuronRuntimeUnbound,
     {NEURON(create), NEURON(loadNetworkFromFile), NEURON(loadNetworkFromBuffer),
      NEURON(getSingleInputSize), NEURON(getSingleOutputSize), NEURON(setSingleInput),
      NEURON(setSingleOutput), NEURON(inference), NEURON(release), NEURON(setQoSOption)},
     // Each wrapper tries the library itself while the handle is still null.
     [](const std::string& symbol) {
         return Lines{"[ERROR] " + kInterface +
                          "loadNeuronRuntimeLib() NeuronRuntime error: unable to open library: "
                          "libneuron_runtime.6.so",
                      "[ERROR] " + kInterface + "loadNeuronRuntimeFunc() Find function " + symbol +
                          " failed"};
     },
     "[INFO] " + kInterface +
         "loadNeuronRuntimeLib() NeuronRuntime : open library: " + "libneuron_runtime.6.so"}};

// Without the library every wrapper fails as unbound after logging once, never retries, and stays
// unbound when the library turns up later; a wrapper first called after that binds it.
TEST(LoaderTest, WithoutLibraryWrappersFailOnceAndStayUnbound) {
    for (const Loader& loader : kLoaders) {
        SCOPED_TRACE(loader.library);
        EXPECT_EQ(inChild([&loader](ChildChecks& checks, LogCapture& log) {
                      const auto& wrappers = loader.wrappers;
                      for (size_t i = 0; i + 1 < wrappers.size(); ++i) {
                          const std::string& name = wrappers[i].first;
                          log.clear();
                          checks.expectEq(wrappers[i].second(), loader.unbound, "first " + name);
                          checks.expect(logged(log, -1) == loader.missing(name), "lines " + name);
                      }
                      const StandinClient library(testsupport::standinDir(), loader.library);
                      log.clear();
                      for (size_t i = 0; i + 1 < wrappers.size(); ++i) {
                          checks.expectEq(wrappers[i].second(), loader.unbound, "again");
                          checks.expectEq(library.callCount(wrappers[i].first), 0, "late");
                      }
                      checks.expect(log.lines().empty(), "later calls logged");
                      checks.expectEq(wrappers.back().second(), kUnexpectedNull, "late first");
                      checks.expectEq(library.callCount(wrappers.back().first), 1, "binding");
                      checks.expect(logged(log, -1) == Lines{loader.opened}, "binding lines");
                  }),
                  "");
    }
}

}  // namespace
}  // namespace mtktest
