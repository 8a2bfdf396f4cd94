// RESIZE_BILINEAR of a one-channel map as XNNPACK's planar resize operator, set up once on the
// engine's buffers of its input and output.
#pragma once

#include <string>

#include "ModelGraph.h"
#include "XnnpackSupport.h"

namespace hostengine {

// Operator `opIndex` must have passed checkGraph and have a one-channel input; `input` and `output`
// hold its tensors (with XNNPACK's read-ahead slack) for as long as the operator lives.
bool createPlaneResize(const Graph& graph, size_t opIndex, const float* input, float* output,
                       pthreadpool_t threadpool, OperatorPtr* resize, std::string* error);

}  // namespace hostengine
