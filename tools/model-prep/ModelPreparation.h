// Wraps a person-segmentation model (one float32 RGB image in [0, 1], one float32 probability
// map out) into the model the plug-in runs: a uint8 frame in libyuv RGB24 byte order (blue,
// green, red in memory) in, one label per frame pixel out (0 background, 1 person).
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
//   0.5 -> CAST to the label type [1,456,342,1].
// Every step at frame resolution is one the frame needs anyway; the colour order is not turned
// there but folded into the source's first convolution, whose filter taps are reordered from RGB
// to BGR (exactly: the same products, summed in another order). A source whose input feeds
// anything else gets a 1x1 convolution swapping blue and red at its own input size instead.
// False with `*error` when the source does not have the expected single input and output.
// Labels are int32 or uint8: int32 for a model both vendor runtimes run (the Neuron Runtime
// backend reads its output as 32-bit elements), uint8 for NeuroPilot, whose backend copies byte
// labels as they are instead of narrowing four times as many bytes.
bool prepareModel(const hostengine::Graph& source, hostengine::ElementType labels,
                  std::vector<uint8_t>* prepared, std::string* error);

}  // namespace modelprep
