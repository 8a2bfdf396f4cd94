// How still a mask holds from frame to frame. The person is every non-zero label; a frame is
// compared with the one before it by the intersection over union of the two persons (1 when
// neither has one: nothing moved) and by the share of pixels whose label changed.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace bodyseg {

struct MaskChange {
    double iou = 1;
    double changedShare = 0;  // 0 to 1
};

double personShare(const uint8_t* mask, size_t size);  // 0 to 1

MaskChange compareMasks(const uint8_t* previous, const uint8_t* current, size_t size);

// Over the changes of a sequence; `changes[k]` compares frame k + 1 of it with frame k, and the
// frames named here are indices into the sequence (worstIouFrame is the least steady frame).
struct SteadinessSummary {
    size_t count = 0;  // changes summarised; the rest is meaningful only when non-zero
    double medianIou = 1;
    double worstIou = 1;
    size_t worstIouFrame = 0;
    double medianChanged = 0;
    double mostChanged = 0;
    size_t mostChangedFrame = 0;
};

SteadinessSummary summarizeSteadiness(const std::vector<MaskChange>& changes);

}  // namespace bodyseg
