// Every operator the engine runs, alone in a tiny model, against the reference implementation on
// random inputs (fixed seeds). Float results must agree within 1e-4 absolute + 1e-4 relative;
// integer and boolean results exactly (quantized results within one step).
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "ModelParts.h"
#include "ModelRunner.h"

namespace enginetest {
namespace {

using Build = std::function<void(ModelBuilder&)>;
// The constant inputs an operator takes after its data input, made in the model being built.
using Constants = std::function<std::vector<int>(ModelBuilder&)>;

struct OperatorCase {
    std::string name;
    Build build;
    Tolerance tolerance = Tolerance();
    double low = -2.0;  // range of the random float inputs
    double high = 2.0;
};

const Tolerance kExact{0.0, 0.0};

// One operator from one input (followed by `constants`) to one output, both float by default.
Build single(OpKind kind, const Shape& in, const Shape& out, const OpOptions& options = OpOptions(),
             const Constants& constants = nullptr, ElementType inType = ElementType::Float32,
             ElementType outType = ElementType::Float32) {
    return [=](ModelBuilder& b) {
        std::vector<int> inputs{b.addTensor("x", inType, in)};
        if (constants) {
            for (int c : constants(b)) {
                inputs.push_back(c);
            }
        }
        b.setInputs({inputs[0]});
        b.setOutputs({addOp(b, kind, inputs, "y", out, options, outType)});
    };
}

Constants ints(const Shape& shape, const std::vector<int32_t>& values) {
    return
        [=](ModelBuilder& b) { return std::vector<int>{b.addInt32Constant("c", shape, values)}; };
}

// Filters and biases have their own seeds, so that each case's weights stay what they were.
Constants filterAndBias(const Shape& filter, uint32_t seed, int32_t biasChannels) {
    return [=](ModelBuilder& b) {
        const int w = randomWeights(b, "w", filter, seed);
        return std::vector<int>{
            w, biasChannels > 0 ? randomWeights(b, "b", {biasChannels}, seed + 1) : -1};
    };
}

Build conv(const Shape& in, const Shape& filter, bool bias, const Shape& out, const OpOptions& o) {
    return single(OpKind::Conv2d, in, out, o, filterAndBias(filter, 11, bias ? filter[0] : 0));
}

Build depthwise(const Shape& in, const Shape& filter, const Shape& out, OpOptions o) {
    o.depthMultiplier = filter[3] / in[3];
    return single(OpKind::DepthwiseConv2d, in, out, o, filterAndBias(filter, 13, filter[3]));
}

// TRANSPOSE_CONV takes the output shape and the filter before its data input.
Build transposeConv(const Shape& in, const Shape& filter, bool bias, const Shape& out,
                    const OpOptions& o) {
    return [=](ModelBuilder& b) {
        const int shape = b.addInt32Constant("output_shape", {4}, out);
        const int w = randomWeights(b, "w", filter, 15);
        const int x = floatTensor(b, "x", in);
        std::vector<int> inputs{shape, w, x};
        if (bias) {
            inputs.push_back(randomWeights(b, "b", {filter[0]}, 16));
        }
        b.setInputs({x});
        b.setOutputs({addOp(b, OpKind::TransposeConv, inputs, "y", out, o)});
    };
}

Build transposeConvBias(const Shape& in, const Shape& filter, const Shape& out,
                        const OpOptions& o) {
    return single(OpKind::Convolution2DTransposeBias, in, out, o,
                  filterAndBias(filter, 17, filter[0]));
}

Build elementwise(OpKind kind, const Shape& a, const Shape& c, const Shape& out,
                  Activation activation, bool constantSecond = false) {
    return [=](ModelBuilder& b) {
        const int x = floatTensor(b, "a", a);
        const int y = constantSecond ? randomWeights(b, "c", c, 19) : floatTensor(b, "c", c);
        OpOptions o;
        o.activation = activation;
        b.setInputs(constantSecond ? std::vector<int>{x} : std::vector<int>{x, y});
        b.setOutputs({addOp(b, kind, {x, y}, "out", out, o)});
    };
}

Build comparison(OpKind kind, ElementType type, const Shape& a, const Shape& c) {
    return [=](ModelBuilder& b) {
        const int x = b.addTensor("a", type, a);
        const int y = b.addTensor("c", type, c);
        b.setInputs({x, y});
        b.setOutputs({addOp(b, kind, {x, y}, "out", a.size() >= c.size() ? a : c, OpOptions(),
                            ElementType::Bool)});
    };
}

Build resize(const Shape& in, int h, int w, bool alignCorners, bool halfPixel) {
    OpOptions o;
    o.alignCorners = alignCorners;
    o.halfPixelCenters = halfPixel;
    return single(OpKind::ResizeBilinear, in, {in[0], h, w, in[3]}, o, ints({2}, {h, w}));
}

Build concat(const std::vector<Shape>& parts, int axis, const Shape& out, Activation activation) {
    return [=](ModelBuilder& b) {
        std::vector<int> inputs;
        for (const Shape& part : parts) {
            inputs.push_back(floatTensor(b, "part", part));
        }
        OpOptions o;
        o.activation = activation;
        o.axis = axis;
        b.setInputs(inputs);
        b.setOutputs({addOp(b, OpKind::Concatenation, inputs, "y", out, o)});
    };
}

Build mean(bool keepDims, const std::vector<int32_t>& axes) {
    OpOptions o;
    o.keepDims = keepDims;
    return single(OpKind::Mean, {2, 5, 6, 3}, keepDims ? Shape{2, 1, 1, 3} : Shape{2, 3}, o,
                  ints({static_cast<int32_t>(axes.size())}, axes));
}

Build cast(ElementType from, ElementType to, const Shape& shape) {
    return single(OpKind::Cast, shape, shape, OpOptions(), nullptr, from, to);
}

// A quantized tensor on one side of (DE)QUANTIZE, a float one on the other.
Build requantize(OpKind kind, ElementType type, const Shape& shape, float scale,
                 int32_t zeroPoint) {
    return [=](ModelBuilder& b) {
        hostengine::Quantization q;
        q.present = true;
        q.scale = scale;
        q.zeroPoint = zeroPoint;
        const bool quantizedIn = kind == OpKind::Dequantize;
        const int x = quantizedIn ? b.addTensor("x", type, shape, q) : floatTensor(b, "x", shape);
        const int y = quantizedIn ? floatTensor(b, "y", shape) : b.addTensor("y", type, shape, q);
        b.addOperator(kind, {x}, {y});
        b.setInputs({x});
        b.setOutputs({y});
    };
}

std::vector<OperatorCase> operatorCases() {
    const OpOptions same1Relu = convOptions(Padding::Same, 1, Activation::Relu);
    const OpOptions same2 = convOptions(Padding::Same, 2);
    return {
        {"Conv2dSameStride1Relu", conv({1, 7, 9, 5}, {4, 3, 3, 5}, true, {1, 7, 9, 4}, same1Relu)},
        {"Conv2dValidStride2Relu6", conv({2, 10, 11, 3}, {6, 3, 3, 3}, true, {2, 4, 5, 6},
                                         convOptions(Padding::Valid, 2, Activation::Relu6))},
        {"Conv2dDilatedWithoutBiasReluN1To1",
         conv({1, 9, 8, 2}, {3, 3, 3, 2}, false, {1, 9, 8, 3},
              convOptions(Padding::Same, 1, Activation::ReluN1To1, 2))},
        {"Conv2dSameStride2EvenInput", conv({1, 8, 8, 3}, {4, 3, 3, 3}, true, {1, 4, 4, 4}, same2)},
        {"Conv2dGrouped",
         conv({1, 5, 5, 4}, {6, 1, 1, 2}, true, {1, 5, 5, 6}, convOptions(Padding::Valid, 1))},
        {"DepthwiseSameStride2", depthwise({1, 9, 10, 4}, {1, 3, 3, 4}, {1, 5, 5, 4}, same2)},
        {"DepthwiseMultiplier2ValidRelu",
         depthwise({1, 6, 7, 3}, {1, 3, 3, 6}, {1, 4, 5, 6},
                   convOptions(Padding::Valid, 1, Activation::Relu))},
        {"TransposeConvSameStride2Kernel3",
         transposeConv({1, 4, 5, 3}, {2, 3, 3, 3}, true, {1, 8, 10, 2}, same2)},
        {"TransposeConvValidWithoutBias",
         transposeConv({1, 3, 3, 2}, {3, 3, 3, 2}, false, {1, 7, 7, 3},
                       convOptions(Padding::Valid, 2, Activation::Relu))},
        {"Convolution2DTransposeBiasKernel2Stride2",
         transposeConvBias({1, 6, 5, 4}, {1, 2, 2, 4}, {1, 12, 10, 1}, same2)},
        {"Convolution2DTransposeBiasKernel4Stride2",
         transposeConvBias({1, 3, 4, 2}, {3, 4, 4, 2}, {1, 6, 8, 3}, same2)},
        {"AddBroadcastRelu",
         elementwise(OpKind::Add, {1, 4, 5, 3}, {1, 1, 1, 3}, {1, 4, 5, 3}, Activation::Relu)},
        {"AddConstantOperand", elementwise(OpKind::Add, {1, 3, 4, 2}, {1, 3, 4, 2}, {1, 3, 4, 2},
                                           Activation::None, true)},
        {"MulBroadcastLowerRank",
         elementwise(OpKind::Mul, {1, 4, 5, 3}, {3}, {1, 4, 5, 3}, Activation::None)},
        {"MulReluN1To1",
         elementwise(OpKind::Mul, {2, 3, 3}, {2, 3, 3}, {2, 3, 3}, Activation::ReluN1To1)},
        {"SubRelu6",
         elementwise(OpKind::Sub, {1, 6, 2, 2}, {1, 6, 2, 2}, {1, 6, 2, 2}, Activation::Relu6),
         Tolerance(), -8.0, 8.0},
        {"HardSwish", single(OpKind::HardSwish, {1, 5, 7, 6}, {1, 5, 7, 6}), Tolerance(), -5.0,
         5.0},
        {"Logistic", single(OpKind::Logistic, {1, 5, 7, 6}, {1, 5, 7, 6}), Tolerance(), -10.0,
         10.0},
        {"Relu", single(OpKind::Relu, {3, 17}, {3, 17})},
        {"Relu6", single(OpKind::Relu6, {1, 4, 4, 5}, {1, 4, 4, 5}), Tolerance(), -9.0, 9.0},
        {"ReluN1To1", single(OpKind::ReluN1To1, {40}, {40})},
        {"AveragePoolSameStride2", single(OpKind::AveragePool2d, {1, 7, 8, 3}, {1, 4, 4, 3},
                                          poolOptions(Padding::Same, 3, 2))},
        {"AveragePoolValidRelu", single(OpKind::AveragePool2d, {2, 6, 6, 2}, {2, 3, 3, 2},
                                        poolOptions(Padding::Valid, 2, 2, Activation::Relu))},
        {"AveragePoolWholeImage", single(OpKind::AveragePool2d, {1, 8, 8, 5}, {1, 1, 1, 5},
                                         poolOptions(Padding::Valid, 8, 8))},
        {"AveragePool1x1Copies", single(OpKind::AveragePool2d, {1, 3, 3, 2}, {1, 3, 3, 2},
                                        poolOptions(Padding::Valid, 1, 1, Activation::Relu6))},
        {"MaxPoolSameStride2",
         single(OpKind::MaxPool2d, {1, 9, 7, 4}, {1, 5, 4, 4}, poolOptions(Padding::Same, 3, 2))},
        {"MaxPoolValidRelu6", single(OpKind::MaxPool2d, {1, 8, 8, 3}, {1, 4, 4, 3},
                                     poolOptions(Padding::Valid, 2, 2, Activation::Relu6))},
        {"MeanKeepDims", mean(true, {1, 2})},
        {"MeanDropDimsNegativeAxes", mean(false, {-2, -3})},
        {"ResizeBilinearHalfPixelUp", resize({1, 4, 5, 3}, 9, 7, false, true)},
        {"ResizeBilinearHalfPixelDown", resize({1, 12, 10, 2}, 5, 4, false, true)},
        {"ResizeBilinearAlignCorners", resize({2, 3, 4, 2}, 7, 9, true, false)},
        {"ResizeBilinearLegacy", resize({1, 4, 4, 1}, 10, 6, false, false)},
        {"ConcatenationChannels",
         concat({{1, 3, 4, 2}, {1, 3, 4, 5}}, 3, {1, 3, 4, 7}, Activation::None)},
        {"ConcatenationThreeOnHeightRelu",
         concat({{1, 2, 3, 2}, {1, 1, 3, 2}, {1, 4, 3, 2}}, 1, {1, 7, 3, 2}, Activation::Relu)},
        {"ConcatenationNegativeAxis", concat({{2, 3}, {2, 4}}, -1, {2, 7}, Activation::None)},
        {"Reshape",
         single(OpKind::Reshape, {1, 4, 6, 2}, {1, 48}, OpOptions(), ints({2}, {1, 48}))},
        {"Pad", single(OpKind::Pad, {1, 3, 4, 2}, {1, 6, 7, 2}, OpOptions(),
                       ints({4, 2}, {0, 0, 1, 2, 0, 3, 0, 0}))},
        {"DequantizeFloat16WeightsIntoConv",
         single(OpKind::Conv2d, {1, 5, 5, 2}, {1, 5, 5, 3}, convOptions(Padding::Same, 1),
                [](ModelBuilder& b) {
                    return std::vector<int>{halfWeights(b, "w", {3, 3, 3, 2}, 21), -1};
                })},
        {"DequantizeUint8Input",
         requantize(OpKind::Dequantize, ElementType::Uint8, {1, 4, 5, 3}, 1.0f / 255.0f, 0)},
        {"DequantizeInt8InputWithZeroPoint",
         requantize(OpKind::Dequantize, ElementType::Int8, {2, 9}, 0.05f, -3)},
        {"QuantizeToUint8",
         requantize(OpKind::Quantize, ElementType::Uint8, {1, 6, 6, 2}, 0.02f, 128),
         Tolerance{1.0, 0.0}, -3.0, 3.0},
        {"CastUint8ToFloat", cast(ElementType::Uint8, ElementType::Float32, {1, 3, 4, 3}), kExact},
        {"CastFloatToInt32Truncates", cast(ElementType::Float32, ElementType::Int32, {5, 7}),
         kExact, -50.0, 50.0},
        {"CastInt32ToBool", cast(ElementType::Int32, ElementType::Bool, {30}), kExact},
        {"CastBoolToInt32", cast(ElementType::Bool, ElementType::Int32, {2, 8}), kExact},
        {"ArgMaxChannelsInt32",
         single(OpKind::ArgMax, {1, 4, 5, 6}, {1, 4, 5}, OpOptions(), ints({1}, {3}),
                ElementType::Float32, ElementType::Int32),
         kExact},
        {"ArgMaxHeightInt64",
         single(OpKind::ArgMax, {2, 7, 3, 2}, {2, 3, 2}, OpOptions(), ints({}, {-3}),
                ElementType::Int32, ElementType::Int64),
         kExact},
        {"GreaterFloatBroadcast",
         comparison(OpKind::Greater, ElementType::Float32, {1, 4, 5, 3}, {3}), kExact},
        {"GreaterEqualInt32", comparison(OpKind::GreaterEqual, ElementType::Int32, {3, 4}, {3, 4}),
         kExact},
        {"GreaterEqualUint8BroadcastBoth",
         comparison(OpKind::GreaterEqual, ElementType::Uint8, {4, 1}, {1, 4, 3}), kExact},
    };
}

// Failure messages show the case by its name, not its bytes.
void PrintTo(const OperatorCase& c, std::ostream* os) {
    *os << c.name;
}

class OperatorTest : public ::testing::TestWithParam<OperatorCase> {};

TEST_P(OperatorTest, MatchesReference) {
    const OperatorCase& c = GetParam();
    ModelBuilder builder;
    c.build(builder);
    expectMatchesReference(builder.finish(), c.tolerance, 7, c.low, c.high);
}

INSTANTIATE_TEST_SUITE_P(Engine, OperatorTest, ::testing::ValuesIn(operatorCases()),
                         [](const ::testing::TestParamInfo<OperatorCase>& info) {
                             return info.param.name;
                         });

}  // namespace
}  // namespace enginetest
