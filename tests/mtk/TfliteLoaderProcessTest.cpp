// Which NeuroPilot library the shim opens for each Android release: the generic one wherever it
// exists, else the static variant for the release.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include <map>
#include <memory>
#include <string>

#include "LoaderChild.h"
#include "NeuroPilotTFLiteShim.h"
#include "PluginPaths.h"
#include "StandinClient.h"

namespace mtktest {
namespace {

using testsupport::ChildChecks;
using testsupport::LogCapture;
using testsupport::StandinClient;

constexpr const char* kCandidates[] = {kTfliteGeneric, kTfliteStatic, kTfliteStaticR};

struct LibraryChoice {
    const char* label;
    const char* sdk;  // "ro.build.version.sdk", or null for a phone that does not set it
    bool genericPresent;
    const char* expected;
};

class TfliteLibraryChoiceTest : public testing::TestWithParam<LibraryChoice> {};

TEST_P(TfliteLibraryChoiceTest, OpensTheLibraryForTheRelease) {
    const LibraryChoice& row = GetParam();
    EXPECT_EQ(
        inFreshProcess([&row](ChildChecks& checks, LogCapture& log) {
            if (row.sdk != nullptr) {
                checks.expectEq(__system_property_set("ro.build.version.sdk", row.sdk), 0,
                                "setting ro.build.version.sdk");
            }
            // Both static variants are always there, so only the choice keeps the wrong one out.
            std::map<std::string, std::unique_ptr<StandinClient>> present;
            for (const char* name : kCandidates) {
                if (std::string(name) == kTfliteGeneric && !row.genericPresent)
                    continue;
                present[name] = std::make_unique<StandinClient>(testsupport::standinDir(), name);
                checks.expect(present[name]->loaded(), std::string("loading ") + name);
            }
            log.clear();

            void* const chosen = getTFLiteLibraryHandle();

            checks.expect(chosen != nullptr, "no library opened");
            for (const char* name : kCandidates) {
                const bool isChosen = dlopen(name, RTLD_NOW | RTLD_NOLOAD) == chosen;
                checks.expect(
                    isChosen == (std::string(name) == row.expected),
                    std::string(isChosen ? "the handle is " : "the handle is not ") + name);
            }
            const ShimLines expectedLines =
                row.genericPresent
                    ? ShimLines{shimOpened(kTfliteGeneric)}
                    : ShimLines{shimNotOpened(kTfliteGeneric), shimOpened(row.expected)};
            checks.expect(shimLinesAre(log, expectedLines), "first call");

            checks.expect(getTFLiteLibraryHandle() == chosen, "a second call changed the handle");
            checks.expect(shimLinesAre(log, expectedLines), "second call");

            // The wrappers call into the chosen library and no other.
            ANeuralNetworksTFLiteOptions* options = nullptr;
            checks.expectEq(ANeuralNetworksTFLiteOptions_create(&options), 0, "options create");
            for (const auto& library : present) {
                checks.expectEq(library.second->callCount("ANeuroPilotTFLiteOptions_create"),
                                library.first == row.expected ? 1 : 0,
                                "calls into " + library.first);
            }
            ANeuralNetworksTFLiteOptions_free(options);
        }),
        "");
}

INSTANTIATE_TEST_SUITE_P(
    Releases, TfliteLibraryChoiceTest,
    testing::Values(LibraryChoice{"Sdk29WithGeneric", "29", true, kTfliteGeneric},
                    LibraryChoice{"Sdk30WithGeneric", "30", true, kTfliteGeneric},
                    LibraryChoice{"Sdk31WithGeneric", "31", true, kTfliteGeneric},
                    LibraryChoice{"EmptyWithGeneric", "", true, kTfliteGeneric},
                    LibraryChoice{"UnsetWithGeneric", nullptr, true, kTfliteGeneric},
                    LibraryChoice{"Sdk3aWithGeneric", "3a", true, kTfliteGeneric},
                    LibraryChoice{"Sdk28", "28", false, kTfliteStatic},
                    LibraryChoice{"Sdk29", "29", false, kTfliteStatic},
                    LibraryChoice{"Sdk30", "30", false, kTfliteStaticR},
                    LibraryChoice{"Sdk31", "31", false, kTfliteStaticR},
                    LibraryChoice{"Empty", "", false, kTfliteStatic},
                    LibraryChoice{"Unset", nullptr, false, kTfliteStatic},
                    LibraryChoice{"Sdk3a", "3a", false, kTfliteStaticR}),
    [](const testing::TestParamInfo<LibraryChoice>& info) { return info.param.label; });

}  // namespace
}  // namespace mtktest
