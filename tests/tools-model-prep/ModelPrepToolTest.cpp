// bodyseg-model-prep on a tiny synthetic source model whose "person probability" is
// sigmoid(8 * (red - blue)): red frames are people, blue frames background. That makes the
// prepared model's labels predictable and shows that the blue-green-red frame bytes reach the
// source model as red-green-blue.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "HostEngine.h"
#include "ModelBuilder.h"
#include "ToolRunner.h"

namespace {

using hostengine::ElementType;
using hostengine::OpKind;

constexpr int kHeight = 456;
constexpr int kWidth = 342;

// float [1,8,6,3] RGB -> DEQUANTIZE'd float16 1x1 filter (8, 0, -8) -> LOGISTIC -> [1,8,6,1]; with
// one channel in instead of three, a model the tool must refuse. With `reluFirst` the image goes
// through a RELU (which leaves [0, 1] as it is) before the convolution, so that the tool cannot
// reorder the filter and must swap the colours itself.
std::vector<uint8_t> redPersonSource(int channels = 3, bool reluFirst = false) {
    hostengine::ModelBuilder b;
    const int input = b.addTensor("image", ElementType::Float32, {1, 8, 6, channels});
    int image = input;
    if (reluFirst) {
        image = b.addTensor("relu", ElementType::Float32, {1, 8, 6, channels});
        b.addOperator(OpKind::Relu, {input}, {image});
    }
    const int halfWeights =
        b.addFloat16Constant("w_fp16", {1, 1, 1, channels},
                             channels == 3 ? std::vector<float>{8, 0, -8} : std::vector<float>{8});
    const int weights = b.addTensor("w", ElementType::Float32, {1, 1, 1, channels});
    b.addOperator(OpKind::Dequantize, {halfWeights}, {weights});
    const int logits = b.addTensor("logits", ElementType::Float32, {1, 8, 6, 1});
    b.addOperator(OpKind::Conv2d, {image, weights, b.addFloatConstant("b", {1}, {0.0f})}, {logits});
    const int probability = b.addTensor("probability", ElementType::Float32, {1, 8, 6, 1});
    b.addOperator(OpKind::Logistic, {logits}, {probability});
    b.setInputs({input});
    b.setOutputs({probability});
    b.setDescription("red person");
    return b.finish();
}

TEST(ModelPrepTool, WrapsTheSourceInThePlugInContractOrRefusesIt) {
    const std::string sourcePath = toolstest::tempPath("red.tflite");
    const std::string preparedPath = toolstest::tempPath("prepared.tflite");
    // Colours folded into the filter or swapped by the tool; default or byte labels.
    const std::tuple<bool, std::vector<std::string>, const char*> rows[] = {
        {false, {}, "INT32"},
        {true, {}, "INT32"},
        {false, {"--labels", "uint8"}, "UINT8"},
        {true, {"--labels", "int32"}, "INT32"},
    };
    for (const auto& [reluFirst, options, labelType] : rows) {
        SCOPED_TRACE(std::string(reluFirst ? "colours swapped by the tool, " : "colours folded, ") +
                     labelType);
        toolstest::writeBytes(sourcePath, redPersonSource(3, reluFirst));
        std::vector<std::string> args = options;
        args.insert(args.end(), {sourcePath, preparedPath});
        const toolstest::ToolRun run = toolstest::runTool("bodyseg-model-prep", args);
        const std::vector<uint8_t> prepared = toolstest::readBytes(preparedPath);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.out, "bodyseg-model-prep: wrote " + preparedPath + " (" +
                               std::to_string(prepared.size()) +
                               " bytes): input UINT8 [1,456,342,3], output " + labelType +
                               " [1,456,342,1]\n");

        std::string error;
        auto engine = hostengine::Engine::fromBytes(prepared.data(), prepared.size(), {}, &error);
        ASSERT_NE(engine, nullptr) << error;
        // A frame red in the top half and blue below (blue, green, red bytes).
        std::vector<uint8_t> frame;
        for (int pixel = 0; pixel < kHeight * kWidth; ++pixel)
            frame.insert(frame.end(), {uint8_t(pixel < kHeight * kWidth / 2 ? 0 : 255), 0,
                                       uint8_t(pixel < kHeight * kWidth / 2 ? 255 : 0)});
        const size_t labelBytes = engine->output(0).byteSize;
        const size_t elementBytes = labelBytes / (kHeight * kWidth);
        std::vector<uint8_t> labels(labelBytes, 0xff);
        ASSERT_TRUE(engine->setInput(0, frame.data(), frame.size(), &error)) << error;
        ASSERT_TRUE(engine->invoke(&error)) << error;
        ASSERT_TRUE(engine->getOutput(0, labels.data(), labels.size(), &error)) << error;
        // Away from the middle, where the resizes blend the halves, every label is certain.
        for (int y : {0, 100, 200, 260, 350, kHeight - 1})
            for (int x : {0, kWidth / 2, kWidth - 1}) {
                int32_t label = 0;
                std::memcpy(&label, &labels[(y * kWidth + x) * elementBytes], elementBytes);
                EXPECT_EQ(label, y < kHeight / 2 ? 1 : 0) << "y " << y << " x " << x;
            }
    }

    // What it cannot prepare is refused with one message, and nothing is written.
    std::remove(preparedPath.c_str());
    const std::string grey = toolstest::tempPath("grey.tflite");
    toolstest::writeBytes(grey, redPersonSource(1));
    toolstest::writeBytes(sourcePath, std::vector<uint8_t>(512, 0x5a));
    const auto refused = [&](const std::vector<std::string>& args, int exitCode,
                             const std::string& err) {
        const toolstest::ToolRun run = toolstest::runTool("bodyseg-model-prep", args);
        EXPECT_EQ(run.exitCode, exitCode) << err;
        EXPECT_EQ(exitCode == 2 ? run.err.substr(0, err.size()) : run.err, err);
        EXPECT_TRUE(toolstest::readBytes(preparedPath).empty()) << err;
    };
    refused({grey, preparedPath}, 1,
            "bodyseg-model-prep: cannot prepare " + grey +
                ": source model must take FLOAT32 [1,H,W,3] and give FLOAT32 [1,H,W,1]; it takes "
                "FLOAT32 [1,8,6,1] and gives FLOAT32 [1,8,6,1]\n");
    refused({sourcePath, preparedPath}, 1,
            "bodyseg-model-prep: cannot read model " + sourcePath +
                ": model verification failed: not a valid TFLite flatbuffer\n");
    const std::string usage =
        "usage: bodyseg-model-prep [--labels int32|uint8] <source.tflite> <prepared.tflite>\n";
    refused({grey}, 2, usage);
    refused({"--labels", "int16", grey, preparedPath}, 2, usage);
}

}  // namespace
