// Short descriptions of graph parts for error messages.
#pragma once

#include <string>
#include <vector>

#include "ModelGraph.h"

namespace hostengine {

// "[1,256,256,3]"
std::string shapeText(const std::vector<int32_t>& shape);
// "CONV_2D (operator 7)"
std::string operatorLabel(const GraphOperator& op, size_t index);
// "tensor 12 'conv1/weights'"
std::string tensorLabel(const Graph& graph, int index);

}  // namespace hostengine
