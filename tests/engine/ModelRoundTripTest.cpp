// What the writer writes, the reader reads back unchanged: tensors (types, shapes, names,
// quantization, constant bytes), operators with their options and codes, the subgraph's inputs
// and outputs, and the description.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ModelBuilder.h"
#include "ModelGraph.h"

namespace enginetest {
namespace {

using hostengine::Activation;
using hostengine::ElementType;
using hostengine::Graph;
using hostengine::ModelBuilder;
using hostengine::OpKind;
using hostengine::OpOptions;
using hostengine::Padding;

Graph readBack(const ModelBuilder& builder) {
    const std::vector<uint8_t> bytes = builder.finish();
    Graph graph;
    std::string error;
    EXPECT_TRUE(hostengine::readModel(bytes.data(), bytes.size(), &graph, &error)) << error;
    return graph;
}

TEST(ModelRoundTripTest, TensorsAndConstants) {
    ModelBuilder b;
    hostengine::Quantization q;
    q.present = true;
    q.scale = 0.25f;
    q.zeroPoint = -7;
    b.addTensor("image", ElementType::Uint8, {1, 2, 3, 3}, q);
    b.addFloatConstant("weights", {2, 2}, {1.5f, -2.0f, 0.0f, 3.25f});
    b.addFloat16Constant("half", {3}, {1.0f, -0.5f, 65504.0f});
    b.addInt32Constant("size", {2}, {456, 342});
    b.addTensor("flag", ElementType::Bool, {});
    b.setInputs({0});
    b.setOutputs({4});
    b.setDescription("round trip");
    const Graph graph = readBack(b);

    ASSERT_EQ(graph.tensors.size(), 5u);
    EXPECT_EQ(graph.description, "round trip");
    EXPECT_EQ(graph.inputs, std::vector<int>{0});
    EXPECT_EQ(graph.outputs, std::vector<int>{4});

    const auto& image = graph.tensors[0];
    EXPECT_EQ(image.name, "image");
    EXPECT_EQ(image.type, ElementType::Uint8);
    EXPECT_EQ(image.shape, (std::vector<int32_t>{1, 2, 3, 3}));
    EXPECT_FALSE(image.isConstant);
    EXPECT_TRUE(image.quantization.present);
    EXPECT_EQ(image.quantization.scale, 0.25f);
    EXPECT_EQ(image.quantization.zeroPoint, -7);

    const auto& weights = graph.tensors[1];
    ASSERT_TRUE(weights.isConstant);
    std::vector<float> values(4);
    std::memcpy(values.data(), weights.data.data(), 16);
    EXPECT_EQ(values, (std::vector<float>{1.5f, -2.0f, 0.0f, 3.25f}));
    EXPECT_FALSE(weights.quantization.present);

    const auto& half = graph.tensors[2];
    EXPECT_EQ(half.type, ElementType::Float16);
    ASSERT_EQ(half.data.size(), 6u);
    // IEEE half bit patterns of 1.0, -0.5 and the largest finite half.
    const std::vector<uint8_t> halfBits{0x00, 0x3c, 0x00, 0xb8, 0xff, 0x7b};
    EXPECT_EQ(half.data, halfBits);

    const auto& size = graph.tensors[3];
    EXPECT_EQ(size.type, ElementType::Int32);
    EXPECT_EQ(size.byteSize(), 8u);

    EXPECT_EQ(graph.tensors[4].type, ElementType::Bool);
    EXPECT_TRUE(graph.tensors[4].shape.empty());
}

TEST(ModelRoundTripTest, OperatorOptions) {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Float32, {1, 8, 8, 4});
    OpOptions conv;
    conv.padding = Padding::Valid;
    conv.strideW = 2;
    conv.strideH = 3;
    conv.dilationW = 4;
    conv.dilationH = 5;
    conv.activation = Activation::Relu6;
    OpOptions pool;
    pool.padding = Padding::Same;
    pool.filterW = 3;
    pool.filterH = 2;
    pool.strideW = 2;
    pool.strideH = 1;
    pool.activation = Activation::ReluN1To1;
    OpOptions resize;
    resize.halfPixelCenters = true;
    OpOptions concat;
    concat.axis = -1;
    concat.activation = Activation::Relu;
    OpOptions mean;
    mean.keepDims = true;
    OpOptions custom;
    custom.padding = Padding::Valid;
    custom.strideW = 2;
    custom.strideH = 4;
    b.addOperator(OpKind::Conv2d, {x, 1, -1}, {2}, conv);
    b.addOperator(OpKind::AveragePool2d, {x}, {3}, pool);
    b.addOperator(OpKind::ResizeBilinear, {x, 4}, {5}, resize);
    b.addOperator(OpKind::Concatenation, {x, x}, {6}, concat);
    b.addOperator(OpKind::Mean, {x, 7}, {8}, mean);
    b.addOperator(OpKind::Convolution2DTransposeBias, {x, 1, 9}, {10}, custom);
    b.addOperator(OpKind::HardSwish, {x}, {11});
    for (int i = 1; i <= 11; ++i) {
        b.addTensor("t", ElementType::Float32, {1});
    }
    const Graph graph = readBack(b);
    ASSERT_EQ(graph.operators.size(), 7u);

    const auto& c = graph.operators[0];
    EXPECT_EQ(c.kind, OpKind::Conv2d);
    EXPECT_EQ(c.inputs, (std::vector<int>{0, 1, -1}));
    EXPECT_EQ(c.outputs, std::vector<int>{2});
    EXPECT_EQ(c.options.padding, Padding::Valid);
    EXPECT_EQ(c.options.strideW, 2);
    EXPECT_EQ(c.options.strideH, 3);
    EXPECT_EQ(c.options.dilationW, 4);
    EXPECT_EQ(c.options.dilationH, 5);
    EXPECT_EQ(c.options.activation, Activation::Relu6);

    const auto& p = graph.operators[1];
    EXPECT_EQ(p.kind, OpKind::AveragePool2d);
    EXPECT_EQ(p.options.padding, Padding::Same);
    EXPECT_EQ(p.options.filterW, 3);
    EXPECT_EQ(p.options.filterH, 2);
    EXPECT_EQ(p.options.strideW, 2);
    EXPECT_EQ(p.options.strideH, 1);
    EXPECT_EQ(p.options.activation, Activation::ReluN1To1);

    EXPECT_EQ(graph.operators[2].kind, OpKind::ResizeBilinear);
    EXPECT_TRUE(graph.operators[2].options.halfPixelCenters);
    EXPECT_FALSE(graph.operators[2].options.alignCorners);
    EXPECT_EQ(graph.operators[3].options.axis, -1);
    EXPECT_EQ(graph.operators[3].options.activation, Activation::Relu);
    EXPECT_TRUE(graph.operators[4].options.keepDims);

    const auto& t = graph.operators[5];
    EXPECT_EQ(t.kind, OpKind::Convolution2DTransposeBias);
    EXPECT_EQ(t.options.padding, Padding::Valid);
    EXPECT_EQ(t.options.strideW, 2);
    EXPECT_EQ(t.options.strideH, 4);
    EXPECT_EQ(graph.operators[6].kind, OpKind::HardSwish);
}

TEST(ModelRoundTripTest, OperatorNames) {
    const std::vector<std::pair<OpKind, std::string>> names{
        {OpKind::Conv2d, "CONV_2D"},
        {OpKind::DepthwiseConv2d, "DEPTHWISE_CONV_2D"},
        {OpKind::HardSwish, "HARD_SWISH"},
        {OpKind::GreaterEqual, "GREATER_EQUAL"},
        {OpKind::Quantize, "QUANTIZE"},
        {OpKind::Convolution2DTransposeBias, "Convolution2DTransposeBias"},
    };
    for (const auto& [kind, name] : names) {
        EXPECT_EQ(hostengine::opKindName(kind), name);
    }
}

}  // namespace
}  // namespace enginetest
