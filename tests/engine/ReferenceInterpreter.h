// Runs a Graph with the reference operators, tensor by tensor in double precision: the
// expectation every engine result is compared against.
#pragma once

#include <vector>

#include "ModelGraph.h"
#include "ReferenceOps.h"

namespace enginetest {

// `inputs[i]` feeds graph.inputs[i]; returns the values of graph.outputs in order.
std::vector<RefTensor> runReference(const hostengine::Graph& graph,
                                    const std::vector<RefTensor>& inputs);

}  // namespace enginetest
