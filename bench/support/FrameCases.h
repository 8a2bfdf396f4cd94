// The camera frames the frame benchmarks run on: a 1080p preview whose scan is padded to 16 rows,
// an 8-megapixel sensor with a padded stride and a 12-megapixel still.
#pragma once

#include <cstdint>
#include <vector>

namespace benchsupport {

struct FrameCase {
    const char* label;
    int width;
    int height;
    int stride;
    int scan;
};

const std::vector<FrameCase>& frameCases();

// The case's NV21 bytes (stride x scan x 3 / 2), not flat, so that no conversion finds a shortcut.
std::vector<uint8_t> testFrame(const FrameCase& f);

}  // namespace benchsupport
