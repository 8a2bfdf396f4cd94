#include "FrameRange.h"

#include <algorithm>
#include <cctype>

namespace bodyseg {

namespace {

constexpr size_t kTheEnd = static_cast<size_t>(-1);
constexpr size_t kMaxIndex = 1000000000;

// Empty text keeps `*value`; anything but up to nine digits is refused.
bool parseIndex(const std::string& text, size_t* value) {
    if (text.empty())
        return true;
    if (text.size() > 9 || !std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return std::isdigit(c) != 0; })) {
        return false;
    }
    *value = std::stoul(text);
    return *value <= kMaxIndex;
}

}  // namespace

std::string framesText(size_t count) {
    return std::to_string(count) + (count == 1 ? " frame" : " frames");
}

std::string FrameRange::text() const {
    if (!given)
        return "all";
    return (first == 0 ? "" : std::to_string(first)) + ":" +
           (end == kTheEnd ? "" : std::to_string(end));
}

bool parseFrameRange(const std::string& text, FrameRange* range, std::string* error) {
    const size_t colon = text.find(':');
    FrameRange parsed;
    parsed.given = true;
    if (colon == std::string::npos || !parseIndex(text.substr(0, colon), &parsed.first) ||
        !parseIndex(text.substr(colon + 1), &parsed.end)) {
        *error = "--frames '" + text +
                 "': expected A:B, frames A to B-1 counted from 0 (A: and :B " +
                 "leave a side open)";
        return false;
    }
    if (parsed.first >= parsed.end) {
        *error = "--frames " + text + " selects no frame (A:B is frames A to B-1, counted from 0)";
        return false;
    }
    *range = parsed;
    return true;
}

bool clipFrameRange(const FrameRange& range, size_t frameCount, const std::string& path,
                    FrameRange* clipped, std::string* error) {
    *clipped = range;
    clipped->end = std::min(range.end, frameCount);
    if (clipped->first >= clipped->end) {
        *error = "--frames " + range.text() + " selects no frame of " + path + " (" +
                 framesText(frameCount) + ", 0 to " + std::to_string(frameCount - 1) + ")";
        return false;
    }
    return true;
}

}  // namespace bodyseg
