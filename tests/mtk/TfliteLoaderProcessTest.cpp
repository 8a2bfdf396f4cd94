// Which NeuroPilot library the shim opens for each Android release, and what a phone without any
// of them sees. The shim binds each function once per process and never again, so every case
// runs in a fresh child process whose parent has loaded and bound nothing.
#include <android/log.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "BodySegNeuropilot.h"
#include "ChildChecks.h"
#include "ChildProcess.h"
#include "ConcurrentStart.h"
#include "LogCapture.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"
#include "NeuroPilotTFLiteShim.h"
#include "PluginPaths.h"
#include "StandinClient.h"

namespace mtktest {
namespace {

using testsupport::ChildChecks;
using testsupport::LogCapture;
using testsupport::StandinClient;
using ShimLines = std::vector<std::pair<int, std::string>>;

constexpr const char* kGeneric = "libtflite_mtk.so";
constexpr const char* kStatic = "libtflite_mtk_static.so";
constexpr const char* kStaticR = "libtflite_mtk_static_R.so";
constexpr const char* kCandidates[] = {kGeneric, kStatic, kStaticR};

std::pair<int, std::string> opened(const std::string& library) {
    return {ANDROID_LOG_DEBUG, "TFLite : open library " + library + "\n"};
}

std::pair<int, std::string> notOpened(const std::string& library) {
    return {ANDROID_LOG_ERROR, "TFLite error: unable to open library " + library + "\n"};
}

std::pair<int, std::string> unbound(const std::string& symbol) {
    return {ANDROID_LOG_ERROR, "TFLite error: unable to open function " + symbol + "\n"};
}

std::string describe(const ShimLines& lines) {
    std::string text;
    for (const auto& line : lines)
        text += "\n    " + std::to_string(line.first) + " " + line.second;
    return text.empty() ? " (none)" : text;
}

void expectShimLines(ChildChecks& checks, const LogCapture& log, const ShimLines& expected,
                     const std::string& when) {
    const ShimLines seen = shimLines(log);
    checks.expect(seen == expected,
                  when + ": shim lines" + describe(seen) + "\n  expected" + describe(expected));
}

// The verdict of a child, with its log when something went wrong.
std::string verdict(const ChildChecks& checks, const LogCapture& log) {
    return checks.ok() ? "" : checks.verdict() + "log:" + dump(log);
}

// Every wrapper, called with arguments that an unbound wrapper never passes on.
struct ShimWrapper {
    const char* symbol;
    std::function<int()> call;
};

const std::vector<ShimWrapper>& shimWrappers() {
    static const std::vector<ShimWrapper> wrappers = {
        {"ANeuroPilotTFLiteOptions_create",
         [] { return ANeuralNetworksTFLiteOptions_create(nullptr); }},
        {"ANeuroPilotTFLiteOptions_setAccelerationMode",
         [] { return ANeuralNetworksTFLiteOptions_setAccelerationMode(nullptr, 0); }},
        {"ANeuroPilotTFLiteOptions_setAcceleratorName",
         [] { return ANeuralNetworksTFLiteOptions_setAcceleratorName(nullptr, nullptr); }},
        {"ANeuroPilotTFLiteOptions_setUseIon",
         [] { return ANeuralNetworksTFLiteOptions_setUseIon(nullptr, true); }},
        {"ANeuroPilotTFLiteOptions_setNoSupportedOperationCheck",
         [] { return ANeuralNetworksTFLiteOptions_setNoSupportedOperationCheck(nullptr, true); }},
        {"ANeuroPilotTFLiteOptions_setCacheDir",
         [] { return ANeuralNetworksTFLiteOptions_setCacheDir(nullptr, nullptr); }},
        {"ANeuroPilotTFLiteOptions_setPreference",
         [] { return ANeuralNetworksTFLiteOptions_setPreference(nullptr, 0); }},
        {"ANeuroPilotTFLiteOptions_setAllowFp16PrecisionForFp32",
         [] { return ANeuralNetworksTFLiteOptions_setAllowFp16PrecisionForFp32(nullptr, false); }},
        {"ANeuroPilotTFLiteOptions_free",
         [] { return ANeuralNetworksTFLiteOptions_free(nullptr); }},
        {"ANeuroPilotTFLite_createAdv",
         [] { return ANeuroPilotTFLiteWrapper_makeAdvTFLite(nullptr, nullptr, nullptr); }},
        {"ANeuroPilotTFLite_createAdvWithBuffer",
         [] {
             return ANeuroPilotTFLiteWrapper_makeAdvTFLiteWithBuffer(nullptr, nullptr, 0, nullptr);
         }},
        {"ANeuroPilotTFLite_getTensorByteSize",
         [] { return ANeuroPilotTFLiteWrapper_getTensorByteSize(nullptr, 0, 0, nullptr); }},
        {"ANeuroPilotTFLite_getTensorType",
         [] { return ANeuroPilotTFLiteWrapper_getTensorType(nullptr, 0, 0, nullptr); }},
        {"ANeuroPilotTFLite_setInputTensorData",
         [] { return ANeuroPilotTFLiteWrapper_setInputTensorData(nullptr, 0, nullptr, 0); }},
        {"ANeuroPilotTFLite_invoke", [] { return ANeuroPilotTFLiteWrapper_invoke(nullptr); }},
        {"ANeuroPilotTFLite_getOutputTensorData",
         [] { return ANeuroPilotTFLiteWrapper_getOutputTensorData(nullptr, 0, nullptr, 0); }},
        {"ANeuroPilotTFLite_free", [] { return ANeuroPilotTFLiteWrapper_free(nullptr); }},
    };
    return wrappers;
}

// ---------------------------------------------------------------------------------------------

struct LibraryChoice {
    const char* label;
    const char* sdk;  // "ro.build.version.sdk", or null for a phone that does not set it
    bool genericPresent;
    const char* expected;
};

void PrintTo(const LibraryChoice& row, std::ostream* os) {
    *os << row.label;
}

std::string chooseLibrary(const LibraryChoice& row) {
    ChildChecks checks;
    if (row.sdk != nullptr) {
        checks.expectEq(__system_property_set("ro.build.version.sdk", row.sdk), 0,
                        "setting ro.build.version.sdk");
    }
    // Both static variants are always there, so only the choice keeps the wrong one out.
    std::map<std::string, std::unique_ptr<StandinClient>> present;
    for (const char* name : kCandidates) {
        if (std::string(name) == kGeneric && !row.genericPresent)
            continue;
        present[name] = std::make_unique<StandinClient>(testsupport::standinDir(), name);
        checks.expect(present[name]->loaded(), std::string("loading ") + name);
    }
    LogCapture log;

    void* const chosen = getTFLiteLibraryHandle();

    checks.expect(chosen != nullptr, "no library opened");
    for (const char* name : kCandidates) {
        void* const handle = dlopen(name, RTLD_NOW | RTLD_NOLOAD);
        if (std::string(name) == row.expected) {
            checks.expect(handle == chosen, std::string("the handle is not ") + name);
        } else {
            checks.expect(handle != chosen, std::string("the handle is ") + name);
        }
    }
    const ShimLines expectedLines = row.genericPresent
                                        ? ShimLines{opened(kGeneric)}
                                        : ShimLines{notOpened(kGeneric), opened(row.expected)};
    expectShimLines(checks, log, expectedLines, "first call");

    checks.expect(getTFLiteLibraryHandle() == chosen, "a second call changed the handle");
    expectShimLines(checks, log, expectedLines, "second call");

    // The wrappers call into the chosen library and no other.
    ANeuralNetworksTFLiteOptions* options = nullptr;
    checks.expectEq(ANeuralNetworksTFLiteOptions_create(&options), 0, "options create");
    for (const auto& library : present) {
        checks.expectEq(library.second->callCount("ANeuroPilotTFLiteOptions_create"),
                        library.first == row.expected ? 1 : 0, "calls into " + library.first);
    }
    ANeuralNetworksTFLiteOptions_free(options);
    return verdict(checks, log);
}

class TfliteLibraryChoiceTest : public testing::TestWithParam<LibraryChoice> {};

TEST_P(TfliteLibraryChoiceTest, OpensTheLibraryForTheRelease) {
    const LibraryChoice row = GetParam();
    EXPECT_EQ(testsupport::runInChild([row] { return chooseLibrary(row); }), "");
}

INSTANTIATE_TEST_SUITE_P(Releases, TfliteLibraryChoiceTest,
                         testing::Values(LibraryChoice{"Sdk29WithGeneric", "29", true, kGeneric},
                                         LibraryChoice{"Sdk30WithGeneric", "30", true, kGeneric},
                                         LibraryChoice{"Sdk31WithGeneric", "31", true, kGeneric},
                                         LibraryChoice{"EmptyWithGeneric", "", true, kGeneric},
                                         LibraryChoice{"UnsetWithGeneric", nullptr, true, kGeneric},
                                         LibraryChoice{"Sdk3aWithGeneric", "3a", true, kGeneric},
                                         LibraryChoice{"Sdk28", "28", false, kStatic},
                                         LibraryChoice{"Sdk29", "29", false, kStatic},
                                         LibraryChoice{"Sdk30", "30", false, kStaticR},
                                         LibraryChoice{"Sdk31", "31", false, kStaticR},
                                         LibraryChoice{"Empty", "", false, kStatic},
                                         LibraryChoice{"Unset", nullptr, false, kStatic},
                                         LibraryChoice{"Sdk3a", "3a", false, kStaticR}),
                         [](const testing::TestParamInfo<LibraryChoice>& info) {
                             return info.param.label;
                         });

// ---------------------------------------------------------------------------------------------

TEST(TfliteLoaderProcessTest, WithoutLibraryEachWrapperLogsOnceAndNeverRetries) {
    EXPECT_EQ(
        testsupport::runInChild([] {
            ChildChecks checks;
            LogCapture log;
            for (const ShimWrapper& wrapper : shimWrappers()) {
                log.clear();
                checks.expectEq(wrapper.call(), kTFLiteUnbound,
                                std::string("first call for ") + wrapper.symbol);
                // Each first call tries the libraries again: the handle is still null.
                expectShimLines(checks, log,
                                {notOpened(kGeneric), notOpened(kStatic), unbound(wrapper.symbol)},
                                std::string("first call for ") + wrapper.symbol);
                log.clear();
                checks.expectEq(wrapper.call(), kTFLiteUnbound,
                                std::string("second call for ") + wrapper.symbol);
                checks.expect(log.lines().empty(),
                              std::string("second call for ") + wrapper.symbol + " logged");
            }

            // The library turns up later: the wrappers stay unbound and quiet.
            StandinClient generic(testsupport::standinDir(), kGeneric);
            checks.expect(generic.loaded(), "loading the library late");
            log.clear();
            for (const ShimWrapper& wrapper : shimWrappers()) {
                checks.expectEq(wrapper.call(), kTFLiteUnbound,
                                std::string("call after loading for ") + wrapper.symbol);
                checks.expectEq(generic.callCount(wrapper.symbol), 0,
                                std::string("calls reaching ") + wrapper.symbol);
            }
            checks.expect(log.lines().empty(), "calls after loading logged");
            checks.expect(getTFLiteLibraryHandle() == dlopen(kGeneric, RTLD_NOW | RTLD_NOLOAD),
                          "the handle itself is found once the library exists");
            return verdict(checks, log);
        }),
        "");
}

TEST(TfliteLoaderProcessTest, BackendWithoutLibraryFailsAtTheFirstStep) {
    EXPECT_EQ(
        testsupport::runInChild([] {
            ChildChecks checks;
            algocoretest::LogLevelScope level(kavo::kLogError | kavo::kLogWarn | kavo::kLogInfo);
            LogCapture log;
            mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
            bodysegment::BodySegNeuropilot backend(cfg);

            checks.expectEq(backend.Init(), 0, "Init");

            checks.expect(errorsAre(log,
                                    {{ANDROID_LOG_ERROR, kNeuropilotFile, "InitModelWithFile",
                                      "ANeuralNetworksTFLiteOptions_create failed"}},
                                    true),
                          "plug-in errors");
            expectShimLines(checks, log,
                            {notOpened(kGeneric), notOpened(kStatic),
                             unbound("ANeuroPilotTFLiteOptions_create")},
                            "Init");
            checks.expectEq(backend.GetInputDataType(), 0, "input type");
            backend.Release();
            backend.Release();
            return verdict(checks, log);
        }),
        "");
}

// ---------------------------------------------------------------------------------------------

constexpr int kThreads = 8;

TEST(TfliteLoaderProcessTest, ConcurrentFirstCallsWithoutLibraryBindOnce) {
    EXPECT_EQ(testsupport::runInChild([] {
                  ChildChecks checks;
                  LogCapture log;
                  std::vector<int> results(kThreads, -1);

                  runConcurrently(kThreads, [&results](int i) {
                      ANeuralNetworksTFLiteOptions* options = nullptr;
                      results[i] = ANeuralNetworksTFLiteOptions_create(&options);
                  });

                  checks.expect(results == std::vector<int>(kThreads, kTFLiteUnbound),
                                "every thread fails as unbound");
                  expectShimLines(checks, log,
                                  {notOpened(kGeneric), notOpened(kStatic),
                                   unbound("ANeuroPilotTFLiteOptions_create")},
                                  "concurrent first calls");
                  return verdict(checks, log);
              }),
              "");
}

TEST(TfliteLoaderProcessTest, ConcurrentFirstCallsWithLibraryBindOnce) {
    EXPECT_EQ(testsupport::runInChild([] {
                  ChildChecks checks;
                  StandinClient generic(testsupport::standinDir(), kGeneric);
                  checks.expect(generic.loaded(), "loading the library");
                  LogCapture log;
                  std::vector<int> results(kThreads, -1);
                  std::vector<ANeuralNetworksTFLiteOptions*> options(kThreads, nullptr);

                  runConcurrently(kThreads, [&results, &options](int i) {
                      results[i] = ANeuralNetworksTFLiteOptions_create(&options[i]);
                  });

                  checks.expect(results == std::vector<int>(kThreads, 0), "every thread succeeds");
                  checks.expectEq(generic.callCount("ANeuroPilotTFLiteOptions_create"), kThreads,
                                  "calls reaching the library");
                  expectShimLines(checks, log, {opened(kGeneric)}, "concurrent first calls");
                  for (ANeuralNetworksTFLiteOptions* made : options) {
                      ANeuralNetworksTFLiteOptions_free(made);
                  }
                  return verdict(checks, log);
              }),
              "");
}

}  // namespace
}  // namespace mtktest
