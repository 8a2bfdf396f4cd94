// Small whole models in the shape of real segmentation networks, against the reference: the
// operators must also agree when chained, with float16 weights, with broadcasting, with the
// engine's own kernels at both edges, with several outputs and with any thread count.
#include <gtest/gtest.h>

#include <string>

#include "ModelBuilder.h"
#include "ModelRunner.h"
#include "ReferenceInterpreter.h"

namespace enginetest {
namespace {

using hostengine::Activation;
using hostengine::ElementType;
using hostengine::ModelBuilder;
using hostengine::OpKind;
using hostengine::OpOptions;
using hostengine::Padding;

OpOptions strided(int stride, Padding padding = Padding::Same) {
    OpOptions o;
    o.padding = padding;
    o.strideH = o.strideW = stride;
    return o;
}

// A float16 weight tensor and the DEQUANTIZE that turns it into the float32 tensor it returns.
int halfWeights(ModelBuilder& b, const std::string& name, const std::vector<int32_t>& shape,
                uint32_t seed) {
    size_t count = 1;
    for (int32_t d : shape) {
        count *= static_cast<size_t>(d);
    }
    const int half = b.addFloat16Constant(name + "_fp16", shape, randomFloats(count, seed));
    const int full = b.addTensor(name, ElementType::Float32, shape);
    b.addOperator(OpKind::Dequantize, {half}, {full});
    return full;
}

int bias(ModelBuilder& b, const std::string& name, int32_t channels, uint32_t seed) {
    return b.addFloatConstant(name, {channels}, randomFloats(channels, seed, -0.1, 0.1));
}

int floatTensor(ModelBuilder& b, const std::string& name, const std::vector<int32_t>& shape) {
    return b.addTensor(name, ElementType::Float32, shape);
}

// Stem, inverted residual block with squeeze-and-excitation, upsampling decoder and a
// transposed-convolution head, as in MediaPipe's selfie segmentation, at 32x24.
void buildSegmentationNet(ModelBuilder& b) {
    const int image = floatTensor(b, "image", {1, 32, 24, 3});
    const int stem = floatTensor(b, "stem", {1, 16, 12, 8});
    b.addOperator(OpKind::Conv2d,
                  {image, halfWeights(b, "stem_w", {8, 3, 3, 3}, 1), bias(b, "stem_b", 8, 2)},
                  {stem}, strided(2));
    const int stemAct = floatTensor(b, "stem_hswish", {1, 16, 12, 8});
    b.addOperator(OpKind::HardSwish, {stem}, {stemAct});

    const int dw = floatTensor(b, "dw", {1, 8, 6, 8});
    OpOptions dwOptions = strided(2);
    dwOptions.activation = Activation::Relu;
    b.addOperator(OpKind::DepthwiseConv2d,
                  {stemAct, halfWeights(b, "dw_w", {1, 3, 3, 8}, 3), bias(b, "dw_b", 8, 4)}, {dw},
                  dwOptions);

    // Squeeze and excitation: global average, two 1x1 convolutions, sigmoid gate.
    OpOptions pool = strided(8, Padding::Valid);
    pool.filterH = 8;
    pool.filterW = 6;
    pool.strideW = 6;
    const int squeezed = floatTensor(b, "se_pool", {1, 1, 1, 8});
    b.addOperator(OpKind::AveragePool2d, {dw}, {squeezed}, pool);
    const int reduced = floatTensor(b, "se_reduce", {1, 1, 1, 4});
    OpOptions reluConv = strided(1);
    reluConv.activation = Activation::Relu;
    b.addOperator(OpKind::Conv2d,
                  {squeezed, halfWeights(b, "se_w1", {4, 1, 1, 8}, 5), bias(b, "se_b1", 4, 6)},
                  {reduced}, reluConv);
    const int expanded = floatTensor(b, "se_expand", {1, 1, 1, 8});
    b.addOperator(OpKind::Conv2d,
                  {reduced, halfWeights(b, "se_w2", {8, 1, 1, 4}, 7), bias(b, "se_b2", 8, 8)},
                  {expanded}, strided(1));
    const int gate = floatTensor(b, "se_gate", {1, 1, 1, 8});
    b.addOperator(OpKind::Logistic, {expanded}, {gate});
    const int excited = floatTensor(b, "se_out", {1, 8, 6, 8});
    b.addOperator(OpKind::Mul, {dw, gate}, {excited});

    const int project = floatTensor(b, "project", {1, 8, 6, 8});
    b.addOperator(OpKind::Conv2d,
                  {excited, halfWeights(b, "proj_w", {8, 1, 1, 8}, 9), bias(b, "proj_b", 8, 10)},
                  {project}, strided(1));
    const int residual = floatTensor(b, "residual", {1, 8, 6, 8});
    b.addOperator(OpKind::Add, {project, dw}, {residual});

    // Decoder: upsample, merge with the stem features, transposed convolution to full size.
    const int size = b.addInt32Constant("up_size", {2}, {16, 12});
    const int up = floatTensor(b, "up", {1, 16, 12, 8});
    OpOptions halfPixel;
    halfPixel.halfPixelCenters = true;
    b.addOperator(OpKind::ResizeBilinear, {residual, size}, {up}, halfPixel);
    const int merged = floatTensor(b, "merged", {1, 16, 12, 8});
    b.addOperator(OpKind::Add, {up, stemAct}, {merged});
    const int logits = floatTensor(b, "logits", {1, 32, 24, 1});
    b.addOperator(OpKind::Convolution2DTransposeBias,
                  {merged, halfWeights(b, "head_w", {1, 2, 2, 8}, 11), bias(b, "head_b", 1, 12)},
                  {logits}, strided(2));
    const int mask = floatTensor(b, "mask", {1, 32, 24, 1});
    b.addOperator(OpKind::Logistic, {logits}, {mask});
    b.setInputs({image});
    b.setOutputs({mask});
}

TEST(WholeModelTest, SegmentationNetMatchesReference) {
    ModelBuilder builder;
    buildSegmentationNet(builder);
    expectMatchesReference(builder, Tolerance{1e-5, 1e-4}, 3, 0.0, 1.0);
}

TEST(WholeModelTest, ThreadCountDoesNotChangeResults) {
    ModelBuilder builder;
    buildSegmentationNet(builder);
    const std::vector<uint8_t> model = builder.finish();
    hostengine::Graph graph;
    std::string error;
    ASSERT_TRUE(hostengine::readModel(model.data(), model.size(), &graph, &error)) << error;
    const std::vector<RefTensor> inputs = randomInputs(graph, 5, 0.0, 1.0);
    const std::vector<RefTensor> single = runEngine(model, inputs, 1);
    const std::vector<RefTensor> all = runEngine(model, inputs, 0);
    ASSERT_EQ(single.size(), 1u);
    ASSERT_EQ(all.size(), 1u);
    expectClose(all[0], single[0], Tolerance{1e-6, 1e-6});
}

// uint8 image in, our CAST before XNNPACK, our comparison and CAST after it, and both the
// probabilities and the labels as outputs.
void buildEdgeKernelNet(ModelBuilder& b) {
    const int image = b.addTensor("image", ElementType::Uint8, {1, 6, 5, 3});
    const int asFloat = floatTensor(b, "as_float", {1, 6, 5, 3});
    b.addOperator(OpKind::Cast, {image}, {asFloat});
    const int scaled = floatTensor(b, "scaled", {1, 6, 5, 3});
    b.addOperator(OpKind::Mul, {asFloat, b.addFloatConstant("scale", {1}, {1.0f / 255.0f})},
                  {scaled});
    const int logits = floatTensor(b, "logits", {1, 6, 5, 1});
    b.addOperator(OpKind::Conv2d,
                  {scaled, b.addFloatConstant("w", {1, 3, 3, 3}, randomFloats(27, 31, -2, 2)),
                   b.addFloatConstant("b", {1}, {-0.5f})},
                  {logits}, strided(1));
    const int probability = floatTensor(b, "probability", {1, 6, 5, 1});
    b.addOperator(OpKind::Logistic, {logits}, {probability});
    const int person = b.addTensor("person", ElementType::Bool, {1, 6, 5, 1});
    b.addOperator(OpKind::Greater, {probability, b.addFloatConstant("half", {}, {0.5f})}, {person});
    const int labels = b.addTensor("labels", ElementType::Int32, {1, 6, 5, 1});
    b.addOperator(OpKind::Cast, {person}, {labels});
    b.setInputs({image});
    b.setOutputs({probability, labels});
}

TEST(WholeModelTest, EdgeKernelsAroundXnnpackMatchReference) {
    ModelBuilder builder;
    buildEdgeKernelNet(builder);
    const std::vector<uint8_t> model = builder.finish();
    hostengine::Graph graph;
    std::string error;
    ASSERT_TRUE(hostengine::readModel(model.data(), model.size(), &graph, &error)) << error;
    const std::vector<RefTensor> inputs = randomInputs(graph, 9);
    const std::vector<RefTensor> expected = runReference(graph, inputs);
    const std::vector<RefTensor> actual = runEngine(model, inputs);
    ASSERT_EQ(actual.size(), 2u);
    expectClose(actual[0], expected[0], Tolerance());
    // Labels follow the engine's own probabilities, so a value within rounding of 0.5 cannot make
    // the comparison flaky; they must also agree with the reference labels.
    for (size_t i = 0; i < actual[1].values.size(); ++i) {
        EXPECT_EQ(actual[1].values[i], actual[0].values[i] > 0.5 ? 1.0 : 0.0) << "element " << i;
    }
    expectClose(actual[1], expected[1], Tolerance{0.0, 0.0});
}

TEST(WholeModelTest, ReportsInputsAndOutputs) {
    ModelBuilder builder;
    buildEdgeKernelNet(builder);
    const std::vector<uint8_t> model = builder.finish();
    std::string error;
    auto engine = hostengine::Engine::fromBytes(model.data(), model.size(), {}, &error);
    ASSERT_NE(engine, nullptr) << error;
    ASSERT_EQ(engine->inputCount(), 1u);
    ASSERT_EQ(engine->outputCount(), 2u);
    EXPECT_EQ(engine->input(0).name, "image");
    EXPECT_EQ(engine->input(0).type, ElementType::Uint8);
    EXPECT_EQ(engine->input(0).shape, (std::vector<int32_t>{1, 6, 5, 3}));
    EXPECT_EQ(engine->input(0).byteSize, 90u);
    EXPECT_EQ(engine->output(0).name, "probability");
    EXPECT_EQ(engine->output(0).type, ElementType::Float32);
    EXPECT_EQ(engine->output(0).byteSize, 120u);
    EXPECT_EQ(engine->output(1).name, "labels");
    EXPECT_EQ(engine->output(1).type, ElementType::Int32);
    EXPECT_EQ(engine->output(1).shape, (std::vector<int32_t>{1, 6, 5, 1}));
    EXPECT_EQ(engine->output(1).byteSize, 120u);
}

TEST(WholeModelTest, InvokesRepeatedlyWithFreshInputs) {
    ModelBuilder builder;
    buildSegmentationNet(builder);
    const std::vector<uint8_t> model = builder.finish();
    hostengine::Graph graph;
    std::string error;
    ASSERT_TRUE(hostengine::readModel(model.data(), model.size(), &graph, &error)) << error;
    auto engine = hostengine::Engine::fromBytes(model.data(), model.size(), {}, &error);
    ASSERT_NE(engine, nullptr) << error;
    for (uint32_t seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const std::vector<RefTensor> inputs = randomInputs(graph, seed, 0.0, 1.0);
        const std::vector<float> image(inputs[0].values.begin(), inputs[0].values.end());
        ASSERT_TRUE(engine->setInput(0, image.data(), image.size() * sizeof(float), &error));
        ASSERT_TRUE(engine->invoke(&error)) << error;
        std::vector<float> mask(engine->output(0).byteSize / sizeof(float));
        ASSERT_TRUE(engine->getOutput(0, mask.data(), mask.size() * sizeof(float), &error));
        RefTensor actual;
        actual.shape = engine->output(0).shape;
        actual.values.assign(mask.begin(), mask.end());
        expectClose(actual, runReference(graph, inputs)[0], Tolerance{1e-5, 1e-4});
    }
}

}  // namespace
}  // namespace enginetest
