// One input turned into what the host sends and what the overlay is drawn on: the frame, and the
// upright picture the frame shows.
#pragma once

#include <string>

#include "Frame.h"
#include "FrameSynthesis.h"
#include "ImageIo.h"
#include "Inputs.h"

namespace bodyseg {

struct RawGeometry {
    int width = 0;  // 0: not given
    int height = 0;
    int stride = 0;
    int scan = 0;
};

struct LoadedFrame {
    Frame frame;
    RgbImage picture;         // upright; a photo as decoded, a raw dump turned by its orientation
    std::string description;  // e.g. "photo 512x512 -> NV21 512x512, stride 512, scan 512"
};

// Photos are cut to even sides and converted with `photoLayout`; raw dumps take their geometry
// from `raw` and the orientation from `photoLayout`, and must hold exactly one frame.
bool loadFrame(const Input& input, const FrameLayout& photoLayout, const RawGeometry& raw,
               LoadedFrame* loaded, std::string* error);

}  // namespace bodyseg
