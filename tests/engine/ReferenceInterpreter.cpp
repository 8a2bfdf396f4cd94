#include "ReferenceInterpreter.h"

#include <map>

#include "TensorBytes.h"

namespace enginetest {

using hostengine::GraphOperator;
using hostengine::OpKind;

namespace {

std::vector<int64_t> integers(const RefTensor& t) {
    return std::vector<int64_t>(t.values.begin(), t.values.end());
}

}  // namespace

std::vector<RefTensor> runReference(const hostengine::Graph& graph,
                                    const std::vector<RefTensor>& inputs) {
    std::map<int, RefTensor> values;
    for (size_t i = 0; i < graph.tensors.size(); ++i) {
        const hostengine::GraphTensor& t = graph.tensors[i];
        if (t.isConstant) {
            values[static_cast<int>(i)] = fromBytes(t.type, t.shape, t.data);
        }
    }
    for (size_t i = 0; i < graph.inputs.size(); ++i) {
        values[graph.inputs[i]] = inputs.at(i);
    }
    for (const GraphOperator& op : graph.operators) {
        auto in = [&](size_t k) -> const RefTensor& { return values.at(op.inputs.at(k)); };
        auto optional = [&](size_t k) {
            return k < op.inputs.size() && op.inputs[k] >= 0 ? in(k) : RefTensor();
        };
        const hostengine::GraphTensor& outTensor = graph.tensors[op.outputs.at(0)];
        const auto& o = op.options;
        RefTensor result;
        switch (op.kind) {
            case OpKind::Add:
            case OpKind::Mul:
            case OpKind::Sub:
            case OpKind::Greater:
            case OpKind::GreaterEqual:
                result = binary(in(0), in(1), op.kind, o.activation);
                break;
            case OpKind::Relu:
            case OpKind::ReluN1To1:
            case OpKind::Relu6:
            case OpKind::Logistic:
            case OpKind::HardSwish:
                result = unary(in(0), op.kind);
                break;
            case OpKind::Conv2d:
                result = conv2d(in(0), in(1), optional(2), o);
                break;
            case OpKind::DepthwiseConv2d:
                result = depthwiseConv2d(in(0), in(1), optional(2), o);
                break;
            case OpKind::TransposeConv:
                result = transposeConv2d(in(2), in(1), optional(3), outTensor.shape, o);
                break;
            case OpKind::Convolution2DTransposeBias:
                result = transposeConv2d(in(0), in(1), in(2), outTensor.shape, o);
                break;
            case OpKind::AveragePool2d:
                result = pool2d(in(0), true, o);
                break;
            case OpKind::MaxPool2d:
                result = pool2d(in(0), false, o);
                break;
            case OpKind::Mean:
                result = meanHeightWidth(in(0), o.keepDims);
                break;
            case OpKind::ResizeBilinear:
                result = resizeBilinear(in(0), static_cast<int>(in(1).values[0]),
                                        static_cast<int>(in(1).values[1]), o);
                break;
            case OpKind::Concatenation: {
                std::vector<RefTensor> parts;
                for (size_t k = 0; k < op.inputs.size(); ++k) {
                    parts.push_back(in(k));
                }
                result = concatenate(parts, o.axis, o.activation);
                break;
            }
            case OpKind::Reshape:
                result = in(0);
                result.shape = outTensor.shape;
                break;
            case OpKind::Pad:
                result = pad(in(0), integers(in(1)));
                break;
            case OpKind::Dequantize: {
                const auto& q = graph.tensors[op.inputs[0]].quantization;
                result = q.present ? dequantize(in(0), q.scale, q.zeroPoint) : in(0);
                break;
            }
            case OpKind::Quantize:
                result = quantize(in(0), outTensor.quantization.scale,
                                  outTensor.quantization.zeroPoint, outTensor.type);
                break;
            case OpKind::Cast:
                result = cast(in(0), outTensor.type);
                break;
            case OpKind::ArgMax:
                result = argMax(in(0), static_cast<int>(in(1).values[0]));
                break;
        }
        values[op.outputs[0]] = result;
    }
    std::vector<RefTensor> outputs;
    for (int index : graph.outputs) {
        outputs.push_back(values.at(index));
    }
    return outputs;
}

}  // namespace enginetest
