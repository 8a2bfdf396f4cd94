// Wraps a person-segmentation model (one float32 RGB image in [0, 1], one float32 probability
// map out) into the model the plug-in runs: a uint8 frame in libyuv RGB24 byte order (blue,
// green, red in memory) in, one int32 label per frame pixel out (0 background, 1 person).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ModelGraph.h"

namespace modelprep {

// The frame the plug-in hands to the model, height by width.
constexpr int32_t kFrameHeight = 456;
constexpr int32_t kFrameWidth = 342;
// Probabilities above this mean "person".
constexpr float kPersonThreshold = 0.5f;

// Builds the prepared model around `source`:
//   frame (uint8 [1,456,342,3], BGR, scale 1/255) -> DEQUANTIZE to [0,1] -> RESIZE_BILINEAR to
//   the source's input size -> source graph -> RESIZE_BILINEAR to [1,456,342,1] -> GREATER than
//   0.5 -> CAST to int32 [1,456,342,1].
// Every step at frame resolution is one the frame needs anyway; the colour order is not turned
// there but folded into the source's first convolution, whose filter taps are reordered from RGB
// to BGR (exactly: the same products, summed in another order). A source whose input feeds
// anything else gets a 1x1 convolution swapping blue and red at its own input size instead.
// False with `*error` when the source does not have the expected single input and output.
bool prepareModel(const hostengine::Graph& source, std::vector<uint8_t>* prepared,
                  std::string* error);

}  // namespace modelprep
