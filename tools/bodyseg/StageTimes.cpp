#include "StageTimes.h"

#include <cstdlib>
#include <string>

namespace bodyseg {

namespace {

// The plug-in's stopwatch labels, spelled as it logs them.
const char* const kLabels[kStageCount] = {
    "pre process bodysegment time",
    "inference time",
    "post process bodysegment time",
    "lable redistribute time",
};

const char* const kNames[kStageCount] = {
    "pre-processing",
    "inference",
    "post-processing",
    "label shift",
};

// "... time_end() <label> = <n> ms": the label follows the function name's "() ".
bool parseStopwatch(const std::string& text, std::string* label, long long* ms) {
    const std::string unit = " ms";
    if (text.size() < unit.size() ||
        text.compare(text.size() - unit.size(), unit.size(), unit) != 0)
        return false;
    const size_t equals = text.rfind(" = ");
    const size_t head = text.rfind("() ", equals);
    if (equals == std::string::npos || head == std::string::npos)
        return false;
    const std::string number = text.substr(equals + 3, text.size() - unit.size() - equals - 3);
    if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos)
        return false;
    *label = text.substr(head + 3, equals - head - 3);
    *ms = std::strtoll(number.c_str(), nullptr, 10);
    return true;
}

}  // namespace

const char* stageName(int stage) {
    return kNames[stage];
}

bool StageTimes::complete() const {
    for (bool seen : found) {
        if (!seen)
            return false;
    }
    return true;
}

StageTimes stageTimesFrom(const std::vector<LogLine>& lines) {
    StageTimes times;
    for (const LogLine& line : lines) {
        std::string label;
        long long ms = 0;
        if (!parseStopwatch(line.text, &label, &ms))
            continue;
        for (int stage = 0; stage < kStageCount; ++stage) {
            if (label == kLabels[stage]) {
                times.ms[stage] = ms;
                times.found[stage] = true;
            }
        }
    }
    return times;
}

}  // namespace bodyseg
