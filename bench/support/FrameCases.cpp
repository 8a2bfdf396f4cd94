#include "FrameCases.h"

#include <cstddef>

namespace benchsupport {

const std::vector<FrameCase>& frameCases() {
    static const std::vector<FrameCase> cases = {
        {"1920x1080 stride 1920 scan 1088", 1920, 1080, 1920, 1088},
        {"3280x2464 stride 3328", 3280, 2464, 3328, 2464},
        {"4000x3000", 4000, 3000, 4000, 3000},
    };
    return cases;
}

std::vector<uint8_t> testFrame(const FrameCase& f) {
    std::vector<uint8_t> frame(static_cast<size_t>(f.stride) * f.scan * 3 / 2);
    for (size_t i = 0; i < frame.size(); ++i)
        frame[i] = static_cast<uint8_t>(i * 131 >> 4);
    return frame;
}

}  // namespace benchsupport
