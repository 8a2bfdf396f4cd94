// The two backends as their shared tests see them: one interface, two vendor runtimes that take
// different calls in the same places. Whatever differs between the two and matters to a test that
// holds for both is named here; cases that only one backend has stay with that backend's tests.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ModelCfg.h"
#include "ModelImpBase.h"
#include "ModelImpFtyBase.h"
#include "ModelMaterial.h"
#include "StandinClient.h"

namespace mtktest {

struct BackendKind {
    const char* label;
    const char* className;
    const char* file;  // the source label of its log lines
    uint32_t objectSize;
    const testsupport::StandinClient& (*standin)();
    std::unique_ptr<bodysegment::ModelImpBase> (*make)(mtk_ai_type::ModelCfg& cfg);
    bodysegment::ModelImpFtyBase* (*makeFactory)();
    bool (*isOwnClass)(bodysegment::ModelImpBase* backend);

    // Init's vendor calls in order: those before the model load, the load of each path, the rest.
    std::vector<std::string> stepsBeforeLoad;
    const char* fileLoad;
    const char* bufferLoad;
    std::vector<std::string> stepsAfterLoad;
    // A frame's vendor calls in order.
    std::vector<std::string> frameSteps;
    // What Release hands back to the runtime, and the stand-in's count of engines alive.
    std::vector<std::string> freeSteps;
    const char* liveEngines;
    // The INFO lines of construct, Init, one frame, Release and delete.
    std::vector<std::string> lifecycle;
    // What the stand-in records from copiedCfg().
    std::vector<std::pair<std::string, int64_t>> copiedCfgRecords;

    std::vector<std::string> buildOrder(BuildPath path) const;
};

const BackendKind& neuropilotKind();
const BackendKind& neuronKind();
std::vector<const BackendKind*> bothKinds();

// A buffer-path configuration with other options for each runtime than makeCfg's.
mtk_ai_type::ModelCfg copiedCfg();

}  // namespace mtktest
