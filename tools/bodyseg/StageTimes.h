// The per-stage times of one frame, as the plug-in's own stopwatches report them at DEBUG level:
// "<label> = <n> ms". They exist only while the plug-in's log mask has the DEBUG bit (8).
#pragma once

#include <array>
#include <vector>

#include "PluginLog.h"

namespace bodyseg {

enum Stage { kPreProcess, kInference, kPostProcess, kLabelShift, kStageCount };

// Display names: "pre-processing", "inference", "post-processing", "label shift".
const char* stageName(int stage);

struct StageTimes {
    std::array<long long, kStageCount> ms{};  // milliseconds, whole as the plug-in logs them
    std::array<bool, kStageCount> found{};    // the stage's line was seen

    bool complete() const;
};

// The last stopwatch line of each stage among `lines`.
StageTimes stageTimesFrom(const std::vector<LogLine>& lines);

}  // namespace bodyseg
