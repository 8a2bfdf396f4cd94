#include "ConstantFolding.h"

#include <cstring>
#include <vector>

#include "Float16.h"
#include "GraphText.h"

namespace hostengine {

namespace {

bool dequantizeInto(const GraphTensor& source, std::vector<float>* values) {
    const size_t count = source.elementCount();
    values->resize(count);
    const uint8_t* bytes = source.data.data();
    switch (source.type) {
        case ElementType::Float16:
            for (size_t i = 0; i < count; ++i) {
                uint16_t half;
                std::memcpy(&half, bytes + 2 * i, sizeof half);
                (*values)[i] = halfToFloat(half);
            }
            return true;
        case ElementType::Uint8:
        case ElementType::Int8:
            if (!source.quantization.present || source.quantization.perChannel) {
                return false;
            }
            for (size_t i = 0; i < count; ++i) {
                const int32_t q = source.type == ElementType::Uint8
                                      ? static_cast<int32_t>(bytes[i])
                                      : static_cast<int32_t>(static_cast<int8_t>(bytes[i]));
                (*values)[i] = static_cast<float>(q - source.quantization.zeroPoint) *
                               source.quantization.scale;
            }
            return true;
        default:
            return false;
    }
}

}  // namespace

bool foldConstantDequantize(Graph* graph, std::vector<size_t>* remaining, std::string* error) {
    remaining->clear();
    for (size_t index = 0; index < graph->operators.size(); ++index) {
        const GraphOperator& op = graph->operators[index];
        const bool foldable = op.kind == OpKind::Dequantize && op.inputs.size() == 1 &&
                              op.outputs.size() == 1 && op.inputs[0] >= 0 &&
                              graph->tensors[op.inputs[0]].isConstant;
        if (!foldable) {
            remaining->push_back(index);
            continue;
        }
        const GraphTensor& source = graph->tensors[op.inputs[0]];
        GraphTensor& target = graph->tensors[op.outputs[0]];
        std::vector<float> values;
        if (target.type != ElementType::Float32 || target.elementCount() != source.elementCount() ||
            !dequantizeInto(source, &values)) {
            *error = operatorLabel(op, index) + ": cannot dequantize constant " +
                     tensorLabel(*graph, op.inputs[0]) + " of type " +
                     elementTypeName(source.type) + " into " + tensorLabel(*graph, op.outputs[0]);
            return false;
        }
        target.isConstant = true;
        target.data.resize(values.size() * sizeof(float));
        std::memcpy(target.data.data(), values.data(), target.data.size());
    }
    return true;
}

}  // namespace hostengine
