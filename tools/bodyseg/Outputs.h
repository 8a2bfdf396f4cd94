// The files a run writes for each single-frame input, and the rule that nothing is overwritten
// unless asked.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "ImageIo.h"
#include "Inputs.h"

namespace bodyseg {

struct OutputPaths {
    std::string mask;     // <out>/<name>_mask.png
    std::string overlay;  // <out>/<name>_overlay.png
    std::string rawMask;  // <out>/<name>_mask.bin, empty unless asked for
};

OutputPaths outputPathsFor(const std::string& outDir, const Input& input, bool rawMask);

std::vector<std::string> allPaths(const OutputPaths& paths);  // the non-empty ones

// What one input will write.
struct PlannedOutputs {
    std::string input;
    std::vector<std::string> paths;
};

// Before anything is sent: creates the output directory, and refuses two inputs that would write
// the same file (e.g. a.png and a.jpg) and, without `force`, any output file that exists.
bool prepareOutputs(const std::string& outDir, const std::vector<PlannedOutputs>& plans, bool force,
                    std::string* error);

// Writes the palette mask, the overlay and, when its path is set, the raw mask bytes.
bool writeOutputs(const OutputPaths& paths, const uint8_t* mask, const RgbImage& overlayPicture,
                  std::string* error);

}  // namespace bodyseg
