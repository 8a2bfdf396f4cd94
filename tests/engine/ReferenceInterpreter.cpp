#include "ReferenceInterpreter.h"

#include <cstring>
#include <map>

namespace enginetest {

using hostengine::ElementType;
using hostengine::GraphOperator;
using hostengine::OpKind;

namespace {

template <typename T>
std::vector<double> decode(const std::vector<uint8_t>& bytes) {
    std::vector<double> values(bytes.size() / sizeof(T));
    for (size_t i = 0; i < values.size(); ++i) {
        T v;
        std::memcpy(&v, bytes.data() + i * sizeof(T), sizeof(T));
        values[i] = static_cast<double>(v);
    }
    return values;
}

std::vector<int64_t> integers(const RefTensor& t) {
    return std::vector<int64_t>(t.values.begin(), t.values.end());
}

}  // namespace

RefTensor constantValues(const hostengine::GraphTensor& tensor) {
    RefTensor t;
    t.shape = tensor.shape;
    switch (tensor.type) {
        case ElementType::Float32:
            t.values = decode<float>(tensor.data);
            break;
        case ElementType::Float16:
            for (double half : decode<uint16_t>(tensor.data)) {
                t.values.push_back(halfToDouble(static_cast<uint16_t>(half)));
            }
            break;
        case ElementType::Int32:
            t.values = decode<int32_t>(tensor.data);
            break;
        case ElementType::Int64:
            t.values = decode<int64_t>(tensor.data);
            break;
        case ElementType::Uint8:
        case ElementType::Bool:
            t.values = decode<uint8_t>(tensor.data);
            break;
        case ElementType::Int8:
            t.values = decode<int8_t>(tensor.data);
            break;
        case ElementType::None:
            break;
    }
    return t;
}

std::vector<RefTensor> runReference(const hostengine::Graph& graph,
                                    const std::vector<RefTensor>& inputs) {
    std::map<int, RefTensor> values;
    for (size_t i = 0; i < graph.tensors.size(); ++i) {
        if (graph.tensors[i].isConstant) {
            values[static_cast<int>(i)] = constantValues(graph.tensors[i]);
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
                result = binary(in(0), in(1), BinaryOp::Add, o.activation);
                break;
            case OpKind::Mul:
                result = binary(in(0), in(1), BinaryOp::Mul, o.activation);
                break;
            case OpKind::Sub:
                result = binary(in(0), in(1), BinaryOp::Sub, o.activation);
                break;
            case OpKind::Greater:
                result = binary(in(0), in(1), BinaryOp::Greater, hostengine::Activation::None);
                break;
            case OpKind::GreaterEqual:
                result = binary(in(0), in(1), BinaryOp::GreaterEqual, hostengine::Activation::None);
                break;
            case OpKind::Relu:
                result = unary(in(0), UnaryOp::Relu);
                break;
            case OpKind::ReluN1To1:
                result = unary(in(0), UnaryOp::ReluN1To1);
                break;
            case OpKind::Relu6:
                result = unary(in(0), UnaryOp::Relu6);
                break;
            case OpKind::Logistic:
                result = unary(in(0), UnaryOp::Logistic);
                break;
            case OpKind::HardSwish:
                result = unary(in(0), UnaryOp::HardSwish);
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
