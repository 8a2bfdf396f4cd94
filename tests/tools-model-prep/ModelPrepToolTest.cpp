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
#include "PluginPaths.h"
#include "ToolRunner.h"

namespace modelpreptest {
namespace {

using hostengine::ElementType;
using hostengine::Graph;
using hostengine::ModelBuilder;
using hostengine::OpKind;

constexpr int kHeight = 456;
constexpr int kWidth = 342;

constexpr const char* kTool = "bodyseg-model-prep";

void writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr) << path;
    ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    std::fclose(file);
}

std::vector<uint8_t> readFile(const std::string& path) {
    std::vector<uint8_t> bytes;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        return bytes;
    }
    uint8_t chunk[4096];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
        bytes.insert(bytes.end(), chunk, chunk + got);
    }
    std::fclose(file);
    return bytes;
}

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
    void SetUp() override {
        sourcePath_ = testsupport::tempDir() + "/source.tflite";
        preparedPath_ = testsupport::tempDir() + "/prepared.tflite";
        std::remove(preparedPath_.c_str());
    }

    // Writes `source`, runs the tool on it and reads the prepared model back.
    void prepare(const ModelBuilder& source) {
        writeFile(sourcePath_, source.finish());
        const toolstest::ToolRun run = toolstest::runTool(kTool, {sourcePath_, preparedPath_});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.out, "bodyseg-model-prep: wrote " + preparedPath_ + " (" +
                               std::to_string(readFile(preparedPath_).size()) +
                               " bytes): input UINT8 [1,456,342,3], output INT32 [1,456,342]\n");
        prepared_ = readFile(preparedPath_);
    }

    // Labels for a frame of one colour in the top half and another in the bottom half.
    std::vector<int32_t> labelsFor(const uint8_t top[3], const uint8_t bottom[3]) {
        std::string error;
        auto engine = hostengine::Engine::fromBytes(prepared_.data(), prepared_.size(), {}, &error);
        EXPECT_NE(engine, nullptr) << error;
        if (!engine) {
            return {};
        }
        std::vector<uint8_t> frame(kHeight * kWidth * 3);
        for (int y = 0; y < kHeight; ++y) {
            const uint8_t* colour = y < kHeight / 2 ? top : bottom;
            for (int x = 0; x < kWidth; ++x) {
                std::copy(colour, colour + 3, frame.begin() + (y * kWidth + x) * 3);
            }
        }
        std::vector<int32_t> labels(kHeight * kWidth, -1);
        EXPECT_TRUE(engine->setInput(0, frame.data(), frame.size(), &error)) << error;
        EXPECT_TRUE(engine->invoke(&error)) << error;
        EXPECT_TRUE(engine->getOutput(0, labels.data(), labels.size() * 4, &error)) << error;
        return labels;
    }

    std::string sourcePath_;
    std::string preparedPath_;
    std::vector<uint8_t> prepared_;
};

TEST_F(ModelPrepToolTest, WritesThePlugInContract) {
    prepare(redPersonSource());
    Graph graph;
    std::string error;
    ASSERT_TRUE(hostengine::readModel(prepared_.data(), prepared_.size(), &graph, &error)) << error;
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
}

TEST_F(ModelPrepToolTest, KeepsTheSourceGraphBetweenItsOwnSteps) {
    const ModelBuilder source = redPersonSource();
    prepare(source);
    Graph graph;
    std::string error;
    ASSERT_TRUE(hostengine::readModel(prepared_.data(), prepared_.size(), &graph, &error)) << error;
    std::vector<std::string> kinds;
    for (const auto& op : graph.operators) {
        kinds.push_back(hostengine::opKindName(op.kind));
    }
    EXPECT_EQ(kinds, (std::vector<std::string>{"DEQUANTIZE", "CONV_2D", "RESIZE_BILINEAR",
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

TEST_F(ModelPrepToolTest, RedIsPersonAndBlueIsBackground) {
    prepare(redPersonSource());
    const uint8_t red[3] = {0, 0, 255};  // blue, green, red in memory
    const uint8_t blue[3] = {255, 0, 0};
    const std::vector<int32_t> labels = labelsFor(red, blue);
    ASSERT_EQ(labels.size(), static_cast<size_t>(kHeight * kWidth));
    // Away from the middle, where the resizes blend the halves, every label is certain.
    for (int y : {0, 100, 200, 260, 350, kHeight - 1}) {
        for (int x : {0, kWidth / 2, kWidth - 1}) {
            EXPECT_EQ(labels[y * kWidth + x], y < kHeight / 2 ? 1 : 0) << "y " << y << " x " << x;
        }
    }
}

TEST_F(ModelPrepToolTest, SmallColourDifferencesDecide) {
    prepare(redPersonSource());
    // 8 * (110 - 100) / 255 = 0.31: probability 0.58 for the reddish half, 0.42 for the other.
    const uint8_t reddish[3] = {100, 100, 110};
    const uint8_t bluish[3] = {110, 100, 100};
    const std::vector<int32_t> labels = labelsFor(bluish, reddish);
    ASSERT_EQ(labels.size(), static_cast<size_t>(kHeight * kWidth));
    EXPECT_EQ(labels[10 * kWidth + 10], 0);
    EXPECT_EQ(labels[(kHeight - 10) * kWidth + 10], 1);
}

TEST_F(ModelPrepToolTest, RefusesSourceWithOtherContract) {
    ModelBuilder b;
    const int image = b.addTensor("image", ElementType::Float32, {1, 8, 6, 1});
    const int out = b.addTensor("out", ElementType::Float32, {1, 8, 6, 1});
    b.addOperator(OpKind::Relu, {image}, {out});
    b.setInputs({image});
    b.setOutputs({out});
    writeFile(sourcePath_, b.finish());
    const toolstest::ToolRun run = toolstest::runTool(kTool, {sourcePath_, preparedPath_});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "bodyseg-model-prep: cannot prepare " + sourcePath_ +
                           ": source model must take FLOAT32 [1,H,W,3] and give FLOAT32 "
                           "[1,H,W,1]; it takes FLOAT32 [1,8,6,1] and gives FLOAT32 [1,8,6,1]\n");
    EXPECT_TRUE(readFile(preparedPath_).empty());
}

TEST_F(ModelPrepToolTest, RefusesGarbageSource) {
    writeFile(sourcePath_, std::vector<uint8_t>(512, 0x5a));
    const toolstest::ToolRun run = toolstest::runTool(kTool, {sourcePath_, preparedPath_});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "bodyseg-model-prep: cannot read model " + sourcePath_ +
                           ": model verification failed: not a valid TFLite flatbuffer\n");
}

TEST_F(ModelPrepToolTest, MissingSource) {
    const toolstest::ToolRun run =
        toolstest::runTool(kTool, {"/nonexistent/source.tflite", preparedPath_});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err,
              "bodyseg-model-prep: cannot read /nonexistent/source.tflite: No such file or "
              "directory\n");
}

TEST_F(ModelPrepToolTest, UsageErrors) {
    const toolstest::ToolRun run = toolstest::runTool(kTool, {sourcePath_});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err.rfind("usage: bodyseg-model-prep <source.tflite> <prepared.tflite>", 0), 0u)
        << run.err;
}

}  // namespace
}  // namespace modelpreptest
