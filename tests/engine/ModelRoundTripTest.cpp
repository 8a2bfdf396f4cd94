// What the writer writes, the reader reads back unchanged: tensors (types, shapes, names,
// quantization, constant bytes), operators with their options and codes, the subgraph's inputs
// and outputs, and the description.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ModelParts.h"
#include "ModelRunner.h"

namespace enginetest {
namespace {

using hostengine::Graph;

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
    const Graph graph = readGraph(b.finish());

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

// Every field, whichever operator it belongs to: a reader that drops an option or sets one that is
// not its operator's is caught alike.
void expectSameOptions(const OpOptions& read, const OpOptions& written) {
    EXPECT_EQ(read.padding, written.padding);
    EXPECT_EQ(read.strideW, written.strideW);
    EXPECT_EQ(read.strideH, written.strideH);
    EXPECT_EQ(read.filterW, written.filterW);
    EXPECT_EQ(read.filterH, written.filterH);
    EXPECT_EQ(read.dilationW, written.dilationW);
    EXPECT_EQ(read.dilationH, written.dilationH);
    EXPECT_EQ(read.depthMultiplier, written.depthMultiplier);
    EXPECT_EQ(read.activation, written.activation);
    EXPECT_EQ(read.axis, written.axis);
    EXPECT_EQ(read.alignCorners, written.alignCorners);
    EXPECT_EQ(read.halfPixelCenters, written.halfPixelCenters);
    EXPECT_EQ(read.keepDims, written.keepDims);
    EXPECT_EQ(read.outputType, written.outputType);
}

TEST(ModelRoundTripTest, OperatorOptions) {
    // Width and height differ everywhere, so that a reader swapping them is caught.
    OpOptions conv = convOptions(Padding::Valid, 2, Activation::Relu6, 4);
    conv.strideH = 3;
    conv.dilationH = 5;
    OpOptions pool = poolOptions(Padding::Same, 3, 2, Activation::ReluN1To1);
    pool.filterH = 2;
    pool.strideH = 1;
    OpOptions custom = convOptions(Padding::Valid, 2);
    custom.strideH = 4;
    OpOptions resize;
    resize.halfPixelCenters = true;
    OpOptions concat;
    concat.axis = -1;
    concat.activation = Activation::Relu;
    OpOptions mean;
    mean.keepDims = true;
    const std::vector<hostengine::GraphOperator> written{
        {OpKind::Conv2d, {0, 1, -1}, {2}, conv},
        {OpKind::AveragePool2d, {0}, {3}, pool},
        {OpKind::ResizeBilinear, {0, 4}, {5}, resize},
        {OpKind::Concatenation, {0, 0}, {6}, concat},
        {OpKind::Mean, {0, 7}, {8}, mean},
        {OpKind::Convolution2DTransposeBias, {0, 1, 9}, {10}, custom},
        {OpKind::HardSwish, {0}, {11}, OpOptions()},
    };
    ModelBuilder b;
    b.addTensor("x", ElementType::Float32, {1, 8, 8, 4});
    for (int i = 1; i <= 11; ++i) {
        b.addTensor("t", ElementType::Float32, {1});
    }
    for (const hostengine::GraphOperator& op : written) {
        b.addOperator(op.kind, op.inputs, op.outputs, op.options);
    }
    const Graph graph = readGraph(b.finish());
    ASSERT_EQ(graph.operators.size(), written.size());
    for (size_t i = 0; i < written.size(); ++i) {
        SCOPED_TRACE(hostengine::opKindName(written[i].kind));
        EXPECT_EQ(graph.operators[i].kind, written[i].kind);
        EXPECT_EQ(graph.operators[i].inputs, written[i].inputs);
        EXPECT_EQ(graph.operators[i].outputs, written[i].outputs);
        expectSameOptions(graph.operators[i].options, written[i].options);
    }
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
