#include "Steadiness.h"

#include "BenchStats.h"

namespace bodyseg {

double personShare(const uint8_t* mask, size_t size) {
    size_t person = 0;
    for (size_t i = 0; i < size; ++i)
        person += mask[i] != 0;
    return size == 0 ? 0 : static_cast<double>(person) / static_cast<double>(size);
}

MaskChange compareMasks(const uint8_t* previous, const uint8_t* current, size_t size) {
    size_t both = 0;
    size_t either = 0;
    size_t changed = 0;
    for (size_t i = 0; i < size; ++i) {
        both += previous[i] != 0 && current[i] != 0;
        either += previous[i] != 0 || current[i] != 0;
        changed += previous[i] != current[i];
    }
    MaskChange change;
    change.iou = either == 0 ? 1 : static_cast<double>(both) / static_cast<double>(either);
    change.changedShare = size == 0 ? 0 : static_cast<double>(changed) / static_cast<double>(size);
    return change;
}

SteadinessSummary summarizeSteadiness(const std::vector<MaskChange>& changes) {
    SteadinessSummary summary;
    summary.count = changes.size();
    std::vector<double> ious;
    std::vector<double> changed;
    for (size_t k = 0; k < changes.size(); ++k) {
        ious.push_back(changes[k].iou);
        changed.push_back(changes[k].changedShare);
        // Strict comparisons: on a tie the earliest frame is named.
        if (k == 0 || changes[k].iou < summary.worstIou) {
            summary.worstIou = changes[k].iou;
            summary.worstIouFrame = k + 1;
        }
        if (k == 0 || changes[k].changedShare > summary.mostChanged) {
            summary.mostChanged = changes[k].changedShare;
            summary.mostChangedFrame = k + 1;
        }
    }
    summary.medianIou = changes.empty() ? 1 : summarize(ious).median;
    summary.medianChanged = summarize(changed).median;
    return summary;
}

}  // namespace bodyseg
