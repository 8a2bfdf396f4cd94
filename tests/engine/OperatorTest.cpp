// Every operator the engine runs, alone in a tiny model, against the reference implementation on
// random inputs (fixed seeds). Float results must agree within 1e-4 absolute + 1e-4 relative;
// integer and boolean results exactly (quantized results within one step).
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "ModelBuilder.h"
#include "ModelRunner.h"

namespace enginetest {
namespace {

using hostengine::Activation;
using hostengine::ElementType;
using hostengine::ModelBuilder;
using hostengine::OpKind;
using hostengine::OpOptions;
using hostengine::Padding;
using Shape = std::vector<int32_t>;

struct OperatorCase {
    std::string name;
    std::function<void(ModelBuilder&)> build;
    Tolerance tolerance = Tolerance();
    double low = -2.0;  // range of the random float inputs
    double high = 2.0;
};

size_t countOf(const Shape& shape) {
    size_t n = 1;
    for (int32_t d : shape) {
        n *= static_cast<size_t>(d);
    }
    return n;
}

int floatTensor(ModelBuilder& b, const char* name, const Shape& shape) {
    return b.addTensor(name, ElementType::Float32, shape);
}

int weights(ModelBuilder& b, const char* name, const Shape& shape, uint32_t seed) {
    return b.addFloatConstant(name, shape, randomFloats(countOf(shape), seed));
}

OpOptions convOptions(Padding padding, int stride, Activation activation, int dilation = 1) {
    OpOptions o;
    o.padding = padding;
    o.strideH = o.strideW = stride;
    o.dilationH = o.dilationW = dilation;
    o.activation = activation;
    return o;
}

OpOptions poolOptions(Padding padding, int filter, int stride, Activation activation) {
    OpOptions o;
    o.padding = padding;
    o.filterH = o.filterW = filter;
    o.strideH = o.strideW = stride;
    o.activation = activation;
    return o;
}

// One operator from one float input (plus constants `extra` after it) to one float output.
void unaryModel(ModelBuilder& b, OpKind kind, const Shape& in, const Shape& out,
                const std::vector<int>& extra = {}, const OpOptions& options = OpOptions()) {
    const int x = floatTensor(b, "x", in);
    const int y = floatTensor(b, "y", out);
    std::vector<int> inputs{x};
    inputs.insert(inputs.end(), extra.begin(), extra.end());
    b.addOperator(kind, inputs, {y}, options);
    b.setInputs({x});
    b.setOutputs({y});
}

void convModel(ModelBuilder& b, const Shape& in, const Shape& filter, bool bias, const Shape& out,
               const OpOptions& options) {
    const int w = weights(b, "w", filter, 11);
    const int bb = bias ? weights(b, "b", {filter[0]}, 12) : -1;
    unaryModel(b, OpKind::Conv2d, in, out, {w, bb}, options);
}

void depthwiseModel(ModelBuilder& b, const Shape& in, const Shape& filter, const Shape& out,
                    const OpOptions& options) {
    const int w = weights(b, "w", filter, 13);
    const int bb = weights(b, "b", {filter[3]}, 14);
    OpOptions o = options;
    o.depthMultiplier = filter[3] / in[3];
    unaryModel(b, OpKind::DepthwiseConv2d, in, out, {w, bb}, o);
}

void transposeConvModel(ModelBuilder& b, const Shape& in, const Shape& filter, bool bias,
                        const Shape& out, const OpOptions& options) {
    const int shape = b.addInt32Constant("output_shape", {4}, out);
    const int w = weights(b, "w", filter, 15);
    const int x = floatTensor(b, "x", in);
    const int y = floatTensor(b, "y", out);
    std::vector<int> inputs{shape, w, x};
    if (bias) {
        inputs.push_back(weights(b, "b", {filter[0]}, 16));
    }
    b.addOperator(OpKind::TransposeConv, inputs, {y}, options);
    b.setInputs({x});
    b.setOutputs({y});
}

void transposeConvBiasModel(ModelBuilder& b, const Shape& in, const Shape& filter, const Shape& out,
                            const OpOptions& options) {
    const int w = weights(b, "w", filter, 17);
    const int bb = weights(b, "b", {filter[0]}, 18);
    unaryModel(b, OpKind::Convolution2DTransposeBias, in, out, {w, bb}, options);
}

void binaryModel(ModelBuilder& b, OpKind kind, const Shape& a, const Shape& c, const Shape& out,
                 Activation activation, bool constantSecond = false) {
    const int x = floatTensor(b, "a", a);
    const int y = constantSecond ? weights(b, "c", c, 19) : floatTensor(b, "c", c);
    const int z = floatTensor(b, "out", out);
    OpOptions o;
    o.activation = activation;
    b.addOperator(kind, {x, y}, {z}, o);
    b.setInputs(constantSecond ? std::vector<int>{x} : std::vector<int>{x, y});
    b.setOutputs({z});
}

void resizeModel(ModelBuilder& b, const Shape& in, int h, int w, bool alignCorners,
                 bool halfPixel) {
    OpOptions o;
    o.alignCorners = alignCorners;
    o.halfPixelCenters = halfPixel;
    const int size = b.addInt32Constant("size", {2}, {h, w});
    unaryModel(b, OpKind::ResizeBilinear, in, {in[0], h, w, in[3]}, {size}, o);
}

void concatModel(ModelBuilder& b, const std::vector<Shape>& parts, int axis, const Shape& out,
                 Activation activation) {
    std::vector<int> inputs;
    for (size_t i = 0; i < parts.size(); ++i) {
        inputs.push_back(floatTensor(b, "part", parts[i]));
    }
    const int y = floatTensor(b, "y", out);
    OpOptions o;
    o.axis = axis;
    o.activation = activation;
    b.addOperator(OpKind::Concatenation, inputs, {y}, o);
    b.setInputs(inputs);
    b.setOutputs({y});
}

void meanModel(ModelBuilder& b, bool keepDims, const std::vector<int32_t>& axes) {
    OpOptions o;
    o.keepDims = keepDims;
    const int axesTensor = b.addInt32Constant("axes", {static_cast<int32_t>(axes.size())}, axes);
    unaryModel(b, OpKind::Mean, {2, 5, 6, 3}, keepDims ? Shape{2, 1, 1, 3} : Shape{2, 3},
               {axesTensor}, o);
}

// One operator between typed tensors, for the engine's own kernels.
void typedModel(ModelBuilder& b, OpKind kind, ElementType inType, const Shape& in,
                ElementType outType, const Shape& out, const std::vector<int>& extra = {}) {
    const int x = b.addTensor("x", inType, in);
    const int y = b.addTensor("y", outType, out);
    std::vector<int> inputs{x};
    inputs.insert(inputs.end(), extra.begin(), extra.end());
    b.addOperator(kind, inputs, {y});
    b.setInputs({x});
    b.setOutputs({y});
}

void comparisonModel(ModelBuilder& b, OpKind kind, ElementType type, const Shape& a,
                     const Shape& c) {
    const int x = b.addTensor("a", type, a);
    const int y = b.addTensor("c", type, c);
    const int z = b.addTensor("out", ElementType::Bool, a.size() >= c.size() ? a : c);
    b.addOperator(kind, {x, y}, {z});
    b.setInputs({x, y});
    b.setOutputs({z});
}

hostengine::Quantization quantization(float scale, int32_t zeroPoint) {
    hostengine::Quantization q;
    q.present = true;
    q.scale = scale;
    q.zeroPoint = zeroPoint;
    return q;
}

const Tolerance kExact{0.0, 0.0};

std::vector<OperatorCase> operatorCases() {
    return {
        {"Conv2dSameStride1Relu",
         [](ModelBuilder& b) {
             convModel(b, {1, 7, 9, 5}, {4, 3, 3, 5}, true, {1, 7, 9, 4},
                       convOptions(Padding::Same, 1, Activation::Relu));
         }},
        {"Conv2dValidStride2Relu6",
         [](ModelBuilder& b) {
             convModel(b, {2, 10, 11, 3}, {6, 3, 3, 3}, true, {2, 4, 5, 6},
                       convOptions(Padding::Valid, 2, Activation::Relu6));
         }},
        {"Conv2dDilatedWithoutBiasReluN1To1",
         [](ModelBuilder& b) {
             convModel(b, {1, 9, 8, 2}, {3, 3, 3, 2}, false, {1, 9, 8, 3},
                       convOptions(Padding::Same, 1, Activation::ReluN1To1, 2));
         }},
        {"Conv2dSameStride2EvenInput",
         [](ModelBuilder& b) {
             convModel(b, {1, 8, 8, 3}, {4, 3, 3, 3}, true, {1, 4, 4, 4},
                       convOptions(Padding::Same, 2, Activation::None));
         }},
        {"Conv2dGrouped",
         [](ModelBuilder& b) {
             convModel(b, {1, 5, 5, 4}, {6, 1, 1, 2}, true, {1, 5, 5, 6},
                       convOptions(Padding::Valid, 1, Activation::None));
         }},
        {"DepthwiseSameStride2",
         [](ModelBuilder& b) {
             depthwiseModel(b, {1, 9, 10, 4}, {1, 3, 3, 4}, {1, 5, 5, 4},
                            convOptions(Padding::Same, 2, Activation::None));
         }},
        {"DepthwiseMultiplier2ValidRelu",
         [](ModelBuilder& b) {
             depthwiseModel(b, {1, 6, 7, 3}, {1, 3, 3, 6}, {1, 4, 5, 6},
                            convOptions(Padding::Valid, 1, Activation::Relu));
         }},
        {"TransposeConvSameStride2Kernel3",
         [](ModelBuilder& b) {
             transposeConvModel(b, {1, 4, 5, 3}, {2, 3, 3, 3}, true, {1, 8, 10, 2},
                                convOptions(Padding::Same, 2, Activation::None));
         }},
        {"TransposeConvValidWithoutBias",
         [](ModelBuilder& b) {
             transposeConvModel(b, {1, 3, 3, 2}, {3, 3, 3, 2}, false, {1, 7, 7, 3},
                                convOptions(Padding::Valid, 2, Activation::Relu));
         }},
        {"Convolution2DTransposeBiasKernel2Stride2",
         [](ModelBuilder& b) {
             transposeConvBiasModel(b, {1, 6, 5, 4}, {1, 2, 2, 4}, {1, 12, 10, 1},
                                    convOptions(Padding::Same, 2, Activation::None));
         }},
        {"Convolution2DTransposeBiasKernel4Stride2",
         [](ModelBuilder& b) {
             transposeConvBiasModel(b, {1, 3, 4, 2}, {3, 4, 4, 2}, {1, 6, 8, 3},
                                    convOptions(Padding::Same, 2, Activation::None));
         }},
        {"AddBroadcastRelu",
         [](ModelBuilder& b) {
             binaryModel(b, OpKind::Add, {1, 4, 5, 3}, {1, 1, 1, 3}, {1, 4, 5, 3},
                         Activation::Relu);
         }},
        {"AddConstantOperand",
         [](ModelBuilder& b) {
             binaryModel(b, OpKind::Add, {1, 3, 4, 2}, {1, 3, 4, 2}, {1, 3, 4, 2}, Activation::None,
                         true);
         }},
        {"MulBroadcastLowerRank",
         [](ModelBuilder& b) {
             binaryModel(b, OpKind::Mul, {1, 4, 5, 3}, {3}, {1, 4, 5, 3}, Activation::None);
         }},
        {"MulReluN1To1",
         [](ModelBuilder& b) {
             binaryModel(b, OpKind::Mul, {2, 3, 3}, {2, 3, 3}, {2, 3, 3}, Activation::ReluN1To1);
         }},
        {"SubRelu6",
         [](ModelBuilder& b) {
             binaryModel(b, OpKind::Sub, {1, 6, 2, 2}, {1, 6, 2, 2}, {1, 6, 2, 2},
                         Activation::Relu6);
         },
         Tolerance(), -8.0, 8.0},
        {"HardSwish",
         [](ModelBuilder& b) {
             unaryModel(b, OpKind::HardSwish, {1, 5, 7, 6}, {1, 5, 7, 6});
         },
         Tolerance(), -5.0, 5.0},
        {"Logistic",
         [](ModelBuilder& b) {
             unaryModel(b, OpKind::Logistic, {1, 5, 7, 6}, {1, 5, 7, 6});
         },
         Tolerance(), -10.0, 10.0},
        {"Relu",
         [](ModelBuilder& b) {
             unaryModel(b, OpKind::Relu, {3, 17}, {3, 17});
         }},
        {"Relu6",
         [](ModelBuilder& b) {
             unaryModel(b, OpKind::Relu6, {1, 4, 4, 5}, {1, 4, 4, 5});
         },
         Tolerance(), -9.0, 9.0},
        {"ReluN1To1", [](ModelBuilder& b) { unaryModel(b, OpKind::ReluN1To1, {40}, {40}); }},
        {"AveragePoolSameStride2",
         [](ModelBuilder& b) {
             unaryModel(b, OpKind::AveragePool2d, {1, 7, 8, 3}, {1, 4, 4, 3}, {},
                        poolOptions(Padding::Same, 3, 2, Activation::None));
         }},
        {"AveragePoolValidRelu",
         [](ModelBuilder& b) {
             unaryModel(b, OpKind::AveragePool2d, {2, 6, 6, 2}, {2, 3, 3, 2}, {},
                        poolOptions(Padding::Valid, 2, 2, Activation::Relu));
         }},
        {"AveragePoolWholeImage",
         [](ModelBuilder& b) {
             unaryModel(b, OpKind::AveragePool2d, {1, 8, 8, 5}, {1, 1, 1, 5}, {},
                        poolOptions(Padding::Valid, 8, 8, Activation::None));
         }},
        {"AveragePool1x1Copies",
         [](ModelBuilder& b) {
             unaryModel(b, OpKind::AveragePool2d, {1, 3, 3, 2}, {1, 3, 3, 2}, {},
                        poolOptions(Padding::Valid, 1, 1, Activation::Relu6));
         }},
        {"MaxPoolSameStride2",
         [](ModelBuilder& b) {
             unaryModel(b, OpKind::MaxPool2d, {1, 9, 7, 4}, {1, 5, 4, 4}, {},
                        poolOptions(Padding::Same, 3, 2, Activation::None));
         }},
        {"MaxPoolValidRelu6",
         [](ModelBuilder& b) {
             unaryModel(b, OpKind::MaxPool2d, {1, 8, 8, 3}, {1, 4, 4, 3}, {},
                        poolOptions(Padding::Valid, 2, 2, Activation::Relu6));
         }},
        {"MeanKeepDims",
         [](ModelBuilder& b) {
             meanModel(b, true, {1, 2});
         }},
        {"MeanDropDimsNegativeAxes",
         [](ModelBuilder& b) {
             meanModel(b, false, {-2, -3});
         }},
        {"ResizeBilinearHalfPixelUp",
         [](ModelBuilder& b) {
             resizeModel(b, {1, 4, 5, 3}, 9, 7, false, true);
         }},
        {"ResizeBilinearHalfPixelDown",
         [](ModelBuilder& b) {
             resizeModel(b, {1, 12, 10, 2}, 5, 4, false, true);
         }},
        {"ResizeBilinearAlignCorners",
         [](ModelBuilder& b) {
             resizeModel(b, {2, 3, 4, 2}, 7, 9, true, false);
         }},
        {"ResizeBilinearLegacy",
         [](ModelBuilder& b) {
             resizeModel(b, {1, 4, 4, 1}, 10, 6, false, false);
         }},
        {"ConcatenationChannels",
         [](ModelBuilder& b) {
             concatModel(b, {{1, 3, 4, 2}, {1, 3, 4, 5}}, 3, {1, 3, 4, 7}, Activation::None);
         }},
        {"ConcatenationThreeOnHeightRelu",
         [](ModelBuilder& b) {
             concatModel(b, {{1, 2, 3, 2}, {1, 1, 3, 2}, {1, 4, 3, 2}}, 1, {1, 7, 3, 2},
                         Activation::Relu);
         }},
        {"ConcatenationNegativeAxis",
         [](ModelBuilder& b) {
             concatModel(b, {{2, 3}, {2, 4}}, -1, {2, 7}, Activation::None);
         }},
        {"Reshape",
         [](ModelBuilder& b) {
             const int shape = b.addInt32Constant("shape", {2}, {1, 48});
             unaryModel(b, OpKind::Reshape, {1, 4, 6, 2}, {1, 48}, {shape});
         }},
        {"Pad",
         [](ModelBuilder& b) {
             const int paddings = b.addInt32Constant("paddings", {4, 2}, {0, 0, 1, 2, 0, 3, 0, 0});
             unaryModel(b, OpKind::Pad, {1, 3, 4, 2}, {1, 6, 7, 2}, {paddings});
         }},
        {"DequantizeFloat16WeightsIntoConv",
         [](ModelBuilder& b) {
             const int half = b.addFloat16Constant("w16", {3, 3, 3, 2}, randomFloats(54, 21));
             const int w = b.addTensor("w", ElementType::Float32, {3, 3, 3, 2});
             b.addOperator(OpKind::Dequantize, {half}, {w});
             const int x = floatTensor(b, "x", {1, 5, 5, 2});
             const int y = floatTensor(b, "y", {1, 5, 5, 3});
             b.addOperator(OpKind::Conv2d, {x, w, -1}, {y},
                           convOptions(Padding::Same, 1, Activation::None));
             b.setInputs({x});
             b.setOutputs({y});
         }},
        {"DequantizeUint8Input",
         [](ModelBuilder& b) {
             const int x =
                 b.addTensor("x", ElementType::Uint8, {1, 4, 5, 3}, quantization(1.0f / 255.0f, 0));
             const int y = floatTensor(b, "y", {1, 4, 5, 3});
             b.addOperator(OpKind::Dequantize, {x}, {y});
             b.setInputs({x});
             b.setOutputs({y});
         }},
        {"DequantizeInt8InputWithZeroPoint",
         [](ModelBuilder& b) {
             const int x = b.addTensor("x", ElementType::Int8, {2, 9}, quantization(0.05f, -3));
             const int y = floatTensor(b, "y", {2, 9});
             b.addOperator(OpKind::Dequantize, {x}, {y});
             b.setInputs({x});
             b.setOutputs({y});
         }},
        {"QuantizeToUint8",
         [](ModelBuilder& b) {
             const int x = floatTensor(b, "x", {1, 6, 6, 2});
             const int y =
                 b.addTensor("y", ElementType::Uint8, {1, 6, 6, 2}, quantization(0.02f, 128));
             b.addOperator(OpKind::Quantize, {x}, {y});
             b.setInputs({x});
             b.setOutputs({y});
         },
         Tolerance{1.0, 0.0}, -3.0, 3.0},
        {"CastUint8ToFloat",
         [](ModelBuilder& b) {
             typedModel(b, OpKind::Cast, ElementType::Uint8, {1, 3, 4, 3}, ElementType::Float32,
                        {1, 3, 4, 3});
         },
         kExact},
        {"CastFloatToInt32Truncates",
         [](ModelBuilder& b) {
             typedModel(b, OpKind::Cast, ElementType::Float32, {5, 7}, ElementType::Int32, {5, 7});
         },
         kExact, -50.0, 50.0},
        {"CastInt32ToBool",
         [](ModelBuilder& b) {
             typedModel(b, OpKind::Cast, ElementType::Int32, {30}, ElementType::Bool, {30});
         },
         kExact},
        {"CastBoolToInt32",
         [](ModelBuilder& b) {
             typedModel(b, OpKind::Cast, ElementType::Bool, {2, 8}, ElementType::Int32, {2, 8});
         },
         kExact},
        {"ArgMaxChannelsInt32",
         [](ModelBuilder& b) {
             const int axis = b.addInt32Constant("axis", {1}, {3});
             typedModel(b, OpKind::ArgMax, ElementType::Float32, {1, 4, 5, 6}, ElementType::Int32,
                        {1, 4, 5}, {axis});
         },
         kExact},
        {"ArgMaxHeightInt64",
         [](ModelBuilder& b) {
             const int axis = b.addInt32Constant("axis", {}, {-3});
             typedModel(b, OpKind::ArgMax, ElementType::Int32, {2, 7, 3, 2}, ElementType::Int64,
                        {2, 3, 2}, {axis});
         },
         kExact},
        {"GreaterFloatBroadcast",
         [](ModelBuilder& b) {
             comparisonModel(b, OpKind::Greater, ElementType::Float32, {1, 4, 5, 3}, {3});
         },
         kExact},
        {"GreaterEqualInt32",
         [](ModelBuilder& b) {
             comparisonModel(b, OpKind::GreaterEqual, ElementType::Int32, {3, 4}, {3, 4});
         },
         kExact},
        {"GreaterEqualUint8BroadcastBoth",
         [](ModelBuilder& b) {
             comparisonModel(b, OpKind::GreaterEqual, ElementType::Uint8, {4, 1}, {1, 4, 3});
         },
         kExact},
    };
}

class OperatorTest : public ::testing::TestWithParam<OperatorCase> {};

TEST_P(OperatorTest, MatchesReference) {
    const OperatorCase& c = GetParam();
    ModelBuilder builder;
    c.build(builder);
    expectMatchesReference(builder, c.tolerance, 7, c.low, c.high);
}

INSTANTIATE_TEST_SUITE_P(Engine, OperatorTest, ::testing::ValuesIn(operatorCases()),
                         [](const ::testing::TestParamInfo<OperatorCase>& info) {
                             return info.param.name;
                         });

}  // namespace
}  // namespace enginetest
