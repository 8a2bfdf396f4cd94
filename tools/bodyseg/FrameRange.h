// The frames of a sequence a run takes: --frames A:B is frames A to B-1, counted from 0; either
// side may be left out (A: to the end, :B from the start), and a B past the end stops at the end.
#pragma once

#include <stddef.h>

#include <string>

namespace bodyseg {

struct FrameRange {
    size_t first = 0;
    size_t end = static_cast<size_t>(-1);  // exclusive; the largest value stands for "the end"
    bool given = false;

    // "A:B" as the user wrote it, or "all" when not given.
    std::string text() const;
};

// False with a message (without the "bodyseg: " prefix) for anything but [A]:[B] with whole
// numbers, and for a range that can select no frame (A >= B).
bool parseFrameRange(const std::string& text, FrameRange* range, std::string* error);

// "1 frame", "2 frames": how messages count frames.
std::string framesText(size_t count);

// The range clipped to a sequence of `frameCount` frames; false with a message naming `path`
// when no frame is left.
bool clipFrameRange(const FrameRange& range, size_t frameCount, const std::string& path,
                    FrameRange* clipped, std::string* error);

}  // namespace bodyseg
