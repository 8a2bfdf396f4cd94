#include "GraphText.h"

namespace hostengine {

std::string shapeText(const std::vector<int32_t>& shape) {
    std::string text = "[";
    for (size_t i = 0; i < shape.size(); ++i) {
        text += (i == 0 ? "" : ",") + std::to_string(shape[i]);
    }
    return text + "]";
}

std::string operatorLabel(const GraphOperator& op, size_t index) {
    return std::string(opKindName(op.kind)) + " (operator " + std::to_string(index) + ")";
}

std::string tensorLabel(const Graph& graph, int index) {
    return "tensor " + std::to_string(index) + " '" + graph.tensors[index].name + "'";
}

}  // namespace hostengine
