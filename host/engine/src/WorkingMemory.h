// XNNPACK's own working memory for window operators. Tensor sizes do not cover it: a convolution
// or pooling operator gets an indirection table of one pointer per output pixel and kernel tap,
// and a transposed convolution one set of sub-convolution parameters per stride position. A few
// kilobytes of model can ask for gigabytes this way, so the engine bounds it before building.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ModelGraph.h"

namespace hostengine {

// The most window working memory one engine may ask XNNPACK for.
constexpr uint64_t kMaxWindowWorkingBytes = uint64_t{1} << 28;

// An upper bound of the working memory XNNPACK allocates for one operator; 0 for operators
// without a window. The operator's shapes must already have passed checkGraph.
uint64_t windowWorkingBytes(const Graph& graph, const GraphOperator& op);

// False with `*error` naming the operator that takes the sum over `order` beyond
// kMaxWindowWorkingBytes.
bool checkWindowWorkingMemory(const Graph& graph, const std::vector<size_t>& order,
                              std::string* error);

}  // namespace hostengine
