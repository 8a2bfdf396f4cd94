// Evaluates DEQUANTIZE operators whose input is a constant (float16 or 8-bit quantized weights)
// once, at load time, the way TFLite's XNNPACK delegate does: the operator disappears and its
// output becomes a float32 constant, so convolutions see static float weights.
#pragma once

#include <string>
#include <vector>

#include "ModelGraph.h"

namespace hostengine {

// `*remaining` receives the indices of the operators still to run, in execution order.
bool foldConstantDequantize(Graph* graph, std::vector<size_t>* remaining, std::string* error);

}  // namespace hostengine
