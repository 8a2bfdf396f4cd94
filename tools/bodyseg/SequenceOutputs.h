// The files a run writes for a sequence: the overlay video, the per-frame table, the masks of
// every frame as one stream (--raw-mask) and overlay pictures of a few frames.
#pragma once

#include <stddef.h>

#include <string>
#include <vector>

#include "Inputs.h"
#include "Steadiness.h"
#include "StageTimes.h"

namespace bodyseg {

struct SequencePaths {
    std::string video;        // <out>/<name>_overlay.y4m
    std::string table;        // <out>/<name>_steadiness.csv
    std::string rawMasks;     // <out>/<name>_masks.bin, empty unless asked for
    std::string first;        // <out>/<name>_overlay_first.png
    std::string middle;       // <out>/<name>_overlay_middle.png
    std::string last;         // <out>/<name>_overlay_last.png
    std::string leastSteady;  // <out>/<name>_overlay_least_steady.png, empty for one frame

    std::vector<std::string> all() const;  // the non-empty ones
};

SequencePaths sequencePathsFor(const std::string& outDir, const Input& input, bool rawMask,
                               size_t frames);

// One row of the table.
struct FrameRecord {
    size_t frame = 0;  // index in the file
    double personShare = 0;
    bool hasPrevious = false;  // the first frame of a run is compared with nothing
    MaskChange change;
    StageTimes stages;
    double callMs = 0;
};

// CSV for plotting: frame, person share, IoU with the previous frame, share of changed labels,
// the four stage times and the whole call; a field the frame lacks is left empty.
bool writeFrameTable(const std::string& path, const std::vector<FrameRecord>& records,
                     std::string* error);

}  // namespace bodyseg
