// Shape and type checks for every operator before anything runs it. XNNPACK trusts the shapes it
// is given and our own kernels index by them, so a model whose declared output shapes do not
// follow from its inputs must be refused here rather than overrun a buffer later.
#pragma once

#include <string>
#include <vector>

#include "ModelGraph.h"

namespace hostengine {

// Checks the operators `order` lists (indices into graph.operators, in execution order): operand
// counts, types and shapes of each, and that every tensor an operator reads is a constant, a
// graph input or the output of an earlier operator, and that each tensor is written only once.
bool checkGraph(const Graph& graph, const std::vector<size_t>& order, std::string* error);

// Output extent of a convolution or pooling window along one axis, or -1 when the window does not
// fit (VALID padding on a too small input) or a parameter is not positive.
int64_t windowOutputSize(int64_t input, int64_t kernel, int64_t stride, int64_t dilation,
                         Padding padding);

// Padding of a transposed convolution along one axis, from its declared output size: zeros before
// and after the output, and the extra rows (fewer than the stride) XNNPACK calls adjustment.
struct TransposePadding {
    uint32_t before = 0;
    uint32_t after = 0;
    uint32_t adjustment = 0;
};
bool transposePadding(int64_t input, int64_t kernel, int64_t stride, int64_t output,
                      TransposePadding* padding);

// The output shape of numpy-style broadcasting of two shapes; false when they do not broadcast.
bool broadcastShapes(const std::vector<int32_t>& a, const std::vector<int32_t>& b,
                     std::vector<int32_t>* out);

}  // namespace hostengine
