// Small whole models in the shape of real segmentation networks, against the reference: the
// operators must also agree when chained, with float16 weights, with broadcasting, with the
// engine's own kernels at both edges, with several outputs and with any thread count.
#include <gtest/gtest.h>

#include <string>

#include "ModelParts.h"
#include "ModelRunner.h"
#include "ReferenceInterpreter.h"

namespace enginetest {
namespace {

// A convolution-like layer with float16 weights (seed) and a small float32 bias (seed + 1).
int layer(ModelBuilder& b, OpKind kind, int input, const std::string& name, const Shape& weights,
          const Shape& out, const OpOptions& options, uint32_t seed) {
    return addOp(b, kind,
                 {input, halfWeights(b, name + "_w", weights, seed),
                  randomWeights(b, name + "_b", {out[3]}, seed + 1, -0.1, 0.1)},
                 name, out, options);
}

// Stem, inverted residual block with squeeze-and-excitation, upsampling decoder and a
// transposed-convolution head, as in MediaPipe's selfie segmentation, at 32x24.
std::vector<uint8_t> segmentationNet() {
    ModelBuilder b;
    const int image = floatTensor(b, "image", {1, 32, 24, 3});
    const int stem = addOp(b, OpKind::HardSwish,
                           {layer(b, OpKind::Conv2d, image, "stem", {8, 3, 3, 3}, {1, 16, 12, 8},
                                  convOptions(Padding::Same, 2), 1)},
                           "stem_hswish", {1, 16, 12, 8});
    const int dw = layer(b, OpKind::DepthwiseConv2d, stem, "dw", {1, 3, 3, 8}, {1, 8, 6, 8},
                         convOptions(Padding::Same, 2, Activation::Relu), 3);

    // Squeeze and excitation: global average, two 1x1 convolutions, sigmoid gate.
    OpOptions pool = poolOptions(Padding::Valid, 8, 8);
    pool.filterW = pool.strideW = 6;
    const int squeezed = addOp(b, OpKind::AveragePool2d, {dw}, "se_pool", {1, 1, 1, 8}, pool);
    const int reduced = layer(b, OpKind::Conv2d, squeezed, "se_reduce", {4, 1, 1, 8}, {1, 1, 1, 4},
                              convOptions(Padding::Same, 1, Activation::Relu), 5);
    const int expanded = layer(b, OpKind::Conv2d, reduced, "se_expand", {8, 1, 1, 4}, {1, 1, 1, 8},
                               convOptions(Padding::Same, 1), 7);
    const int gate = addOp(b, OpKind::Logistic, {expanded}, "se_gate", {1, 1, 1, 8});
    const int excited = addOp(b, OpKind::Mul, {dw, gate}, "se_out", {1, 8, 6, 8});
    const int project = layer(b, OpKind::Conv2d, excited, "project", {8, 1, 1, 8}, {1, 8, 6, 8},
                              convOptions(Padding::Same, 1), 9);
    const int residual = addOp(b, OpKind::Add, {project, dw}, "residual", {1, 8, 6, 8});

    // Decoder: upsample, merge with the stem features, transposed convolution to full size.
    OpOptions halfPixel;
    halfPixel.halfPixelCenters = true;
    const int up =
        addOp(b, OpKind::ResizeBilinear, {residual, b.addInt32Constant("up_size", {2}, {16, 12})},
              "up", {1, 16, 12, 8}, halfPixel);
    const int merged = addOp(b, OpKind::Add, {up, stem}, "merged", {1, 16, 12, 8});
    const int logits = layer(b, OpKind::Convolution2DTransposeBias, merged, "head", {1, 2, 2, 8},
                             {1, 32, 24, 1}, convOptions(Padding::Same, 2), 11);
    b.setInputs({image});
    b.setOutputs({addOp(b, OpKind::Logistic, {logits}, "mask", {1, 32, 24, 1})});
    return b.finish();
}

TEST(WholeModelTest, SegmentationNetMatchesReference) {
    expectMatchesReference(segmentationNet(), Tolerance{1e-5, 1e-4}, 3, 0.0, 1.0);
}

TEST(WholeModelTest, ThreadCountDoesNotChangeResults) {
    const std::vector<uint8_t> model = segmentationNet();
    const std::vector<RefTensor> inputs = randomInputs(readGraph(model), 5, 0.0, 1.0);
    const std::vector<RefTensor> single = runEngine(model, inputs, 1);
    const std::vector<RefTensor> all = runEngine(model, inputs, 0);
    ASSERT_EQ(single.size(), 1u);
    ASSERT_EQ(all.size(), 1u);
    expectClose(all[0], single[0], Tolerance{1e-6, 1e-6});
}

// uint8 image in, our CAST before XNNPACK, our comparison and CAST after it, and both the
// probabilities and the labels as outputs.
std::vector<uint8_t> edgeKernelNet() {
    ModelBuilder b;
    const Shape pixels{1, 6, 5, 3};
    const Shape plane{1, 6, 5, 1};
    const int image = b.addTensor("image", ElementType::Uint8, pixels);
    const int asFloat = addOp(b, OpKind::Cast, {image}, "as_float", pixels);
    const int scaled =
        addOp(b, OpKind::Mul, {asFloat, b.addFloatConstant("scale", {1}, {1.0f / 255.0f})},
              "scaled", pixels);
    const int logits = addOp(b, OpKind::Conv2d,
                             {scaled, randomWeights(b, "w", {1, 3, 3, 3}, 31, -2, 2),
                              b.addFloatConstant("b", {1}, {-0.5f})},
                             "logits", plane, convOptions(Padding::Same, 1));
    const int probability = addOp(b, OpKind::Logistic, {logits}, "probability", plane);
    const int person =
        addOp(b, OpKind::Greater, {probability, b.addFloatConstant("half", {}, {0.5f})}, "person",
              plane, OpOptions(), ElementType::Bool);
    b.setInputs({image});
    b.setOutputs({probability, addOp(b, OpKind::Cast, {person}, "labels", plane, OpOptions(),
                                     ElementType::Int32)});
    return b.finish();
}

TEST(WholeModelTest, EdgeKernelsAroundXnnpackMatchReference) {
    const std::vector<uint8_t> model = edgeKernelNet();
    const hostengine::Graph graph = readGraph(model);
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
    const std::vector<uint8_t> model = edgeKernelNet();
    std::string error;
    auto engine = hostengine::Engine::fromBytes(model.data(), model.size(), {}, &error);
    ASSERT_NE(engine, nullptr) << error;
    ASSERT_EQ(engine->inputCount(), 1u);
    ASSERT_EQ(engine->outputCount(), 2u);
    EXPECT_EQ(engine->input(0).name, "image");
    EXPECT_EQ(engine->input(0).type, ElementType::Uint8);
    EXPECT_EQ(engine->input(0).shape, (Shape{1, 6, 5, 3}));
    EXPECT_EQ(engine->input(0).byteSize, 90u);
    EXPECT_EQ(engine->output(0).name, "probability");
    EXPECT_EQ(engine->output(0).type, ElementType::Float32);
    EXPECT_EQ(engine->output(0).byteSize, 120u);
    EXPECT_EQ(engine->output(1).name, "labels");
    EXPECT_EQ(engine->output(1).type, ElementType::Int32);
    EXPECT_EQ(engine->output(1).shape, (Shape{1, 6, 5, 1}));
    EXPECT_EQ(engine->output(1).byteSize, 120u);
}

TEST(WholeModelTest, InvokesRepeatedlyWithFreshInputs) {
    const std::vector<uint8_t> model = segmentationNet();
    const hostengine::Graph graph = readGraph(model);
    std::string error;
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
