// Bad models and bad calls end in a clean error with a message naming what is wrong, never in
// a crash or a half-built engine.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>

#include "ModelBuilder.h"
#include "ModelRunner.h"

namespace enginetest {
namespace {

using hostengine::ElementType;
using hostengine::Engine;
using hostengine::ModelBuilder;
using hostengine::OpKind;

// TFLite's builtin code for TANH, an operator neither XNNPACK here nor the engine runs.
constexpr int32_t kTanhCode = 28;

std::vector<uint8_t> reluModel() {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Float32, {1, 4, 4, 2});
    const int y = b.addTensor("y", ElementType::Float32, {1, 4, 4, 2});
    b.addOperator(OpKind::Relu, {x}, {y});
    b.setInputs({x});
    b.setOutputs({y});
    return b.finish();
}

std::string creationError(const std::vector<uint8_t>& model) {
    std::string error;
    auto engine = Engine::fromBytes(model.data(), model.size(), {}, &error);
    EXPECT_EQ(engine, nullptr);
    return error;
}

TEST(ModelErrorTest, EmptyModel) {
    std::string error;
    EXPECT_EQ(Engine::fromBytes(nullptr, 0, {}, &error), nullptr);
    EXPECT_EQ(error, "model is empty");
}

TEST(ModelErrorTest, GarbageBytes) {
    std::mt19937 random(1);
    std::vector<uint8_t> garbage(4096);
    for (uint8_t& byte : garbage) {
        byte = static_cast<uint8_t>(random());
    }
    EXPECT_EQ(creationError(garbage), "model verification failed: not a valid TFLite flatbuffer");
}

TEST(ModelErrorTest, EveryTruncationIsRefused) {
    const std::vector<uint8_t> model = reluModel();
    for (size_t length = 1; length < model.size(); length += 7) {
        const std::vector<uint8_t> truncated(model.begin(), model.begin() + length);
        EXPECT_FALSE(creationError(truncated).empty()) << "length " << length;
    }
}

TEST(ModelErrorTest, UnalignedBytesStillRead) {
    const std::vector<uint8_t> model = reluModel();
    std::vector<uint8_t> shifted(model.size() + 1);
    std::copy(model.begin(), model.end(), shifted.begin() + 1);
    std::string error;
    EXPECT_NE(Engine::fromBytes(shifted.data() + 1, model.size(), {}, &error), nullptr) << error;
}

TEST(ModelErrorTest, UnsupportedBuiltinOperatorIsNamed) {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Float32, {4});
    const int y = b.addTensor("y", ElementType::Float32, {4});
    const int z = b.addTensor("z", ElementType::Float32, {4});
    b.addOperator(OpKind::Relu, {x}, {y});
    b.addBuiltinOperator(kTanhCode, {y}, {z});
    b.setInputs({x});
    b.setOutputs({z});
    EXPECT_EQ(creationError(b.finish()), "unsupported operator TANH (operator 1)");
}

TEST(ModelErrorTest, UnsupportedCustomOperatorIsNamed) {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Float32, {4});
    const int y = b.addTensor("y", ElementType::Float32, {4});
    b.addCustomOperator("MaxPoolingWithArgmax2D", {x}, {y});
    b.setInputs({x});
    b.setOutputs({y});
    EXPECT_EQ(creationError(b.finish()),
              "unsupported operator custom 'MaxPoolingWithArgmax2D' (operator 0)");
}

TEST(ModelErrorTest, UnknownBuiltinCodeIsNamedByNumber) {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Float32, {4});
    const int y = b.addTensor("y", ElementType::Float32, {4});
    b.addBuiltinOperator(4000, {x}, {y});
    b.setInputs({x});
    b.setOutputs({y});
    EXPECT_EQ(creationError(b.finish()),
              "unsupported operator with builtin code 4000 (operator 0)");
}

TEST(ModelErrorTest, WrongDeclaredOutputShape) {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Float32, {1, 8, 8, 3});
    const int y = b.addTensor("y", ElementType::Float32, {1, 8, 8, 4});
    const int w = b.addFloatConstant("w", {4, 3, 3, 3}, randomFloats(108, 1));
    hostengine::OpOptions o;
    o.strideH = o.strideW = 2;
    b.addOperator(OpKind::Conv2d, {x, w, -1}, {y}, o);
    b.setInputs({x});
    b.setOutputs({y});
    EXPECT_EQ(creationError(b.finish()),
              "CONV_2D (operator 0) declares output shape [1,8,8,4] but computes [1,4,4,4]");
}

// XNNPACK's indirection tables grow with output pixels times kernel taps, and a transposed
// convolution's parameters with its strides: a few kilobytes of model could ask for gigabytes.
std::vector<uint8_t> convolutionChain(int count, int32_t side, int32_t kernel) {
    ModelBuilder b;
    int x = b.addTensor("x", ElementType::Float32, {1, side, side, 1});
    b.setInputs({x});
    const int w = b.addFloatConstant("w", {1, kernel, kernel, 1}, randomFloats(kernel * kernel, 1));
    for (int i = 0; i < count; ++i) {
        const int y =
            b.addTensor("y" + std::to_string(i), ElementType::Float32, {1, side, side, 1});
        b.addOperator(OpKind::Conv2d, {x, w, -1}, {y});
        x = y;
    }
    b.setOutputs({x});
    return b.finish();
}

TEST(ModelErrorTest, ConvolutionWindowBeyondWorkingMemory) {
    // 1048576 output pixels x 961 taps x 8 bytes: about 7.5 GiB of indirection table.
    EXPECT_EQ(creationError(convolutionChain(1, 1024, 31)),
              "CONV_2D (operator 0) takes the model's window working memory beyond 256 MiB");
}

TEST(ModelErrorTest, WindowWorkingMemoryIsSummedOverOperators) {
    // 9 MiB of table pointers each: 72 MiB with 64-bit pointers, where the fourth convolution
    // crosses the bound, and 36 MiB with 32-bit ones, where the eighth does.
    const int crossing = sizeof(void*) == 8 ? 3 : 7;
    EXPECT_EQ(creationError(convolutionChain(8, 1024, 3)),
              "CONV_2D (operator " + std::to_string(crossing) +
                  ") takes the model's window working memory beyond 256 MiB");
}

TEST(ModelErrorTest, TransposedConvolutionStridesBeyondWorkingMemory) {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Float32, {1, 1, 1, 1});
    const int w = b.addFloatConstant("w", {1, 1, 1, 1}, {1.0f});
    const int bias = b.addFloatConstant("b", {1}, {0.0f});
    const int y = b.addTensor("y", ElementType::Float32, {1, 1, 1, 1});
    hostengine::OpOptions o;
    o.strideH = o.strideW = 65536;
    b.addOperator(OpKind::Convolution2DTransposeBias, {x, w, bias}, {y}, o);
    b.setInputs({x});
    b.setOutputs({y});
    EXPECT_EQ(creationError(b.finish()),
              "Convolution2DTransposeBias (operator 0) takes the model's window working memory "
              "beyond 256 MiB");
}

TEST(ModelErrorTest, TensorReadBeforeWritten) {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Float32, {4});
    const int orphan = b.addTensor("orphan", ElementType::Float32, {4});
    const int y = b.addTensor("y", ElementType::Float32, {4});
    b.addOperator(OpKind::Add, {x, orphan}, {y});
    b.setInputs({x});
    b.setOutputs({y});
    EXPECT_EQ(creationError(b.finish()),
              "ADD (operator 0) reads tensor 1 'orphan' before anything writes it");
}

TEST(ModelErrorTest, ConstantOfWrongSize) {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Float32, {4});
    const int c = b.addConstant("c", ElementType::Float32, {4}, std::vector<uint8_t>(12));
    const int y = b.addTensor("y", ElementType::Float32, {4});
    b.addOperator(OpKind::Add, {x, c}, {y});
    b.setInputs({x});
    b.setOutputs({y});
    EXPECT_EQ(creationError(b.finish()),
              "tensor 1 'c' holds 12 bytes of data but its shape and type need 16");
}

TEST(ModelErrorTest, OperatorTypeOutsideItsKernel) {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Int32, {4});
    const int y = b.addTensor("y", ElementType::Int32, {4});
    b.addOperator(OpKind::Relu, {x}, {y});
    b.setInputs({x});
    b.setOutputs({y});
    EXPECT_EQ(creationError(b.finish()),
              "RELU (operator 0) input 0 has type INT32, only FLOAT32 is supported");
}

TEST(ModelErrorTest, NegativeThreadCount) {
    const std::vector<uint8_t> model = reluModel();
    hostengine::EngineOptions options;
    options.threads = -1;
    std::string error;
    EXPECT_EQ(Engine::fromBytes(model.data(), model.size(), options, &error), nullptr);
    EXPECT_EQ(error, "thread count -1 is negative");
}

TEST(ModelErrorTest, MissingFile) {
    std::string error;
    EXPECT_EQ(Engine::fromFile("/nonexistent/dir/model.tflite", {}, &error), nullptr);
    EXPECT_EQ(error, "cannot open model file '/nonexistent/dir/model.tflite'");
}

TEST(ModelErrorTest, DirectoryIsNotAModelFile) {
    std::string error;
    const std::string dir = ::testing::TempDir();
    EXPECT_EQ(Engine::fromFile(dir, {}, &error), nullptr);
    EXPECT_EQ(error, "cannot read model file '" + dir + "'");
}

TEST(ModelErrorTest, ReadsModelFromFile) {
    const std::vector<uint8_t> model = reluModel();
    const std::string path = ::testing::TempDir() + "engine_relu.tflite";
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(std::fwrite(model.data(), 1, model.size(), file), model.size());
    std::fclose(file);
    std::string error;
    auto engine = Engine::fromFile(path, {}, &error);
    std::remove(path.c_str());
    ASSERT_NE(engine, nullptr) << error;
    EXPECT_EQ(engine->input(0).byteSize, 128u);
}

class CallErrorTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const std::vector<uint8_t> model = reluModel();
        std::string error;
        engine_ = Engine::fromBytes(model.data(), model.size(), {}, &error);
        ASSERT_NE(engine_, nullptr) << error;
    }

    std::unique_ptr<Engine> engine_;
    std::vector<float> data_ = std::vector<float>(32, 1.0f);
    std::string error_;
};

TEST_F(CallErrorTest, WrongInputSize) {
    EXPECT_FALSE(engine_->setInput(0, data_.data(), 127, &error_));
    EXPECT_EQ(error_, "input 0 takes 128 bytes, got 127");
}

TEST_F(CallErrorTest, NullInput) {
    EXPECT_FALSE(engine_->setInput(0, nullptr, 128, &error_));
    EXPECT_EQ(error_, "input 0 takes 128 bytes, got 0");
}

TEST_F(CallErrorTest, InputIndexOutOfRange) {
    EXPECT_FALSE(engine_->setInput(1, data_.data(), 128, &error_));
    EXPECT_EQ(error_, "input index 1 out of range (model has 1 inputs)");
}

TEST_F(CallErrorTest, WrongOutputSize) {
    ASSERT_TRUE(engine_->invoke(&error_));
    EXPECT_FALSE(engine_->getOutput(0, data_.data(), 64, &error_));
    EXPECT_EQ(error_, "output 0 holds 128 bytes, destination has 64");
}

TEST_F(CallErrorTest, OutputIndexOutOfRange) {
    EXPECT_FALSE(engine_->getOutput(2, data_.data(), 128, &error_));
    EXPECT_EQ(error_, "output index 2 out of range (model has 1 outputs)");
}

TEST_F(CallErrorTest, TensorInfoOutOfRangeIsEmpty) {
    EXPECT_EQ(engine_->input(1).type, ElementType::None);
    EXPECT_EQ(engine_->input(1).byteSize, 0u);
    EXPECT_EQ(engine_->output(5).type, ElementType::None);
    EXPECT_TRUE(engine_->output(5).shape.empty());
}

TEST_F(CallErrorTest, ValidCallsSucceed) {
    data_[3] = -2.0f;
    ASSERT_TRUE(engine_->setInput(0, data_.data(), 128, &error_)) << error_;
    ASSERT_TRUE(engine_->invoke(&error_)) << error_;
    std::vector<float> out(32);
    ASSERT_TRUE(engine_->getOutput(0, out.data(), 128, &error_)) << error_;
    EXPECT_EQ(out[3], 0.0f);
    EXPECT_EQ(out[4], 1.0f);
}

}  // namespace
}  // namespace enginetest
