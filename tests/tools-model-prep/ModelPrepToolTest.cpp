// bodyseg-model-prep on a tiny synthetic source model whose "person probability" is
// sigmoid(8 * (red - blue)): red frames are people, blue frames background. That makes the
// prepared model's labels predictable and shows that the blue-green-red frame bytes reach the
// source model as red-green-blue.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "HostEngine.h"
#include "ModelBuilder.h"
#include "ModelGraph.h"
#include "ToolRunner.h"

namespace modelpreptest {
namespace {

using hostengine::ElementType;
using hostengine::ModelBuilder;
using hostengine::OpKind;
using toolstest::readBytes;
using toolstest::runTool;
using toolstest::tempPath;

constexpr int kHeight = 456;
constexpr int kWidth = 342;

constexpr const char* kTool = "bodyseg-model-prep";

// float [1,8,6,3] RGB -> DEQUANTIZE'd float16 1x1 filter (8, 0, -8) -> LOGISTIC -> [1,8,6,1].
ModelBuilder redPersonSource() {
    ModelBuilder b;
    const int image = b.addTensor("image", ElementType::Float32, {1, 8, 6, 3});
    const int halfWeights = b.addFloat16Constant("w_fp16", {1, 1, 1, 3}, {8.0f, 0.0f, -8.0f});
    const int weights = b.addTensor("w", ElementType::Float32, {1, 1, 1, 3});
    b.addOperator(OpKind::Dequantize, {halfWeights}, {weights});
    const int logits = b.addTensor("logits", ElementType::Float32, {1, 8, 6, 1});
    b.addOperator(OpKind::Conv2d, {image, weights, b.addFloatConstant("b", {1}, {0.0f})}, {logits});
    const int probability = b.addTensor("probability", ElementType::Float32, {1, 8, 6, 1});
    b.addOperator(OpKind::Logistic, {logits}, {probability});
    b.setInputs({image});
    b.setOutputs({probability});
    b.setDescription("red person");
    return b;
}

class ModelPrepToolTest : public ::testing::Test {
  protected:
    void SetUp() override { std::remove(prepared_.c_str()); }

    // Writes `source`, runs the tool on it and reads the prepared model back.
    std::vector<uint8_t> prepare(const ModelBuilder& source) {
        toolstest::writeBytes(source_, source.finish());
        const toolstest::ToolRun run = runTool(kTool, {source_, prepared_});
        const std::vector<uint8_t> prepared = readBytes(prepared_);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.out, "bodyseg-model-prep: wrote " + prepared_ + " (" +
                               std::to_string(prepared.size()) +
                               " bytes): input UINT8 [1,456,342,3], output INT32 [1,456,342]\n");
        return prepared;
    }

    const std::string source_ = tempPath("source.tflite");
    const std::string prepared_ = tempPath("prepared.tflite");
};

TEST_F(ModelPrepToolTest, WritesThePlugInContractAroundTheSourceGraph) {
    const ModelBuilder source = redPersonSource();
    const std::vector<uint8_t> prepared = prepare(source);
    hostengine::Graph graph;
    std::string error;
    ASSERT_TRUE(hostengine::readModel(prepared.data(), prepared.size(), &graph, &error)) << error;
    ASSERT_EQ(graph.inputs.size(), 1u);
    ASSERT_EQ(graph.outputs.size(), 1u);
    const auto& input = graph.tensors[graph.inputs[0]];
    EXPECT_EQ(input.type, ElementType::Uint8);
    EXPECT_EQ(input.shape, (std::vector<int32_t>{1, kHeight, kWidth, 3}));
    EXPECT_TRUE(input.quantization.present);
    EXPECT_FLOAT_EQ(input.quantization.scale, 1.0f / 255.0f);
    EXPECT_EQ(input.quantization.zeroPoint, 0);
    const auto& output = graph.tensors[graph.outputs[0]];
    EXPECT_EQ(output.type, ElementType::Int32);
    EXPECT_EQ(output.shape, (std::vector<int32_t>{1, kHeight, kWidth}));
    EXPECT_EQ(graph.description,
              "person segmentation for 342x456 RGB24 frames, prepared from: red person");

    std::vector<std::string> kinds;
    for (const auto& op : graph.operators) {
        kinds.push_back(hostengine::opKindName(op.kind));
    }
    ASSERT_EQ(kinds, (std::vector<std::string>{"DEQUANTIZE", "CONV_2D", "RESIZE_BILINEAR",
                                               "DEQUANTIZE", "CONV_2D", "LOGISTIC",
                                               "RESIZE_BILINEAR", "RESHAPE", "GREATER", "CAST"}));
    // The source's float16 weights are carried over as they were, still dequantized in-graph.
    const auto& weights = graph.tensors[graph.operators[3].inputs[0]];
    EXPECT_EQ(weights.type, ElementType::Float16);
    EXPECT_EQ(weights.data, source.tensor(1).data);
    // Both resizes sample at half-pixel centers, to the source's size and back to the frame.
    EXPECT_TRUE(graph.operators[2].options.halfPixelCenters);
    EXPECT_EQ(graph.tensors[graph.operators[2].outputs[0]].shape,
              (std::vector<int32_t>{1, 8, 6, 3}));
    EXPECT_TRUE(graph.operators[6].options.halfPixelCenters);
}

TEST_F(ModelPrepToolTest, RedIsPersonAndBlueIsBackgroundDownToSmallDifferences) {
    const std::vector<uint8_t> prepared = prepare(redPersonSource());
    std::string error;
    auto engine = hostengine::Engine::fromBytes(prepared.data(), prepared.size(), {}, &error);
    ASSERT_NE(engine, nullptr) << error;
    // Labels for a frame of one colour (blue, green, red bytes) in the top half, one below.
    const auto labelsFor = [&](std::vector<uint8_t> top, std::vector<uint8_t> bottom) {
        std::vector<uint8_t> frame;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x)
                frame.insert(frame.end(), y < kHeight / 2 ? top.begin() : bottom.begin(),
                             y < kHeight / 2 ? top.end() : bottom.end());
        }
        std::vector<int32_t> labels(kHeight * kWidth, -1);
        EXPECT_TRUE(engine->setInput(0, frame.data(), frame.size(), &error)) << error;
        EXPECT_TRUE(engine->invoke(&error)) << error;
        EXPECT_TRUE(engine->getOutput(0, labels.data(), labels.size() * 4, &error)) << error;
        return labels;
    };
    const std::vector<int32_t> labels = labelsFor({0, 0, 255}, {255, 0, 0});
    // Away from the middle, where the resizes blend the halves, every label is certain.
    for (int y : {0, 100, 200, 260, 350, kHeight - 1}) {
        for (int x : {0, kWidth / 2, kWidth - 1}) {
            EXPECT_EQ(labels[y * kWidth + x], y < kHeight / 2 ? 1 : 0) << "y " << y << " x " << x;
        }
    }
    // 8 * (110 - 100) / 255 = 0.31: probability 0.58 for the reddish half, 0.42 for the other.
    const std::vector<int32_t> close = labelsFor({110, 100, 100}, {100, 100, 110});
    EXPECT_EQ(close[10 * kWidth + 10], 0);
    EXPECT_EQ(close[(kHeight - 10) * kWidth + 10], 1);
}

TEST_F(ModelPrepToolTest, RefusesWhatItCannotPrepareAndWritesNothing) {
    ModelBuilder other;
    const int image = other.addTensor("image", ElementType::Float32, {1, 8, 6, 1});
    const int out = other.addTensor("out", ElementType::Float32, {1, 8, 6, 1});
    other.addOperator(OpKind::Relu, {image}, {out});
    other.setInputs({image});
    other.setOutputs({out});
    struct Refusal {
        std::vector<uint8_t> source;  // written to source_ unless empty
        std::vector<std::string> args;
        int exitCode;
        std::string err;  // the whole of stderr, or its first line for a usage error
    };
    const Refusal refusals[] = {
        {other.finish(),
         {source_, prepared_},
         1,
         "bodyseg-model-prep: cannot prepare " + source_ +
             ": source model must take FLOAT32 [1,H,W,3] and give FLOAT32 [1,H,W,1]; it takes "
             "FLOAT32 [1,8,6,1] and gives FLOAT32 [1,8,6,1]\n"},
        {std::vector<uint8_t>(512, 0x5a),
         {source_, prepared_},
         1,
         "bodyseg-model-prep: cannot read model " + source_ +
             ": model verification failed: not a valid TFLite flatbuffer\n"},
        {{},
         {"/nonexistent/source.tflite", prepared_},
         1,
         "bodyseg-model-prep: cannot read /nonexistent/source.tflite: No such file or "
         "directory\n"},
        {{}, {source_}, 2, "usage: bodyseg-model-prep <source.tflite> <prepared.tflite>\n"},
    };
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.err);
        if (!r.source.empty())
            toolstest::writeBytes(source_, r.source);
        const toolstest::ToolRun run = runTool(kTool, r.args);
        EXPECT_EQ(run.exitCode, r.exitCode);
        EXPECT_EQ(r.exitCode == 2 ? run.err.substr(0, run.err.find('\n') + 1) : run.err, r.err);
        EXPECT_TRUE(readBytes(prepared_).empty());
    }
}

}  // namespace
}  // namespace modelpreptest
