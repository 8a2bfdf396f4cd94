// Bad models and bad calls end in a clean error with a message naming what is wrong, never in
// a crash or a half-built engine.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <random>
#include <string>

#include "ModelParts.h"
#include "ModelRunner.h"

namespace enginetest {
namespace {

using hostengine::Engine;

// TFLite's builtin code for TANH, an operator neither XNNPACK here nor the engine runs.
constexpr int32_t kTanhCode = 28;

std::vector<uint8_t> reluModel() {
    ModelBuilder b;
    const int x = floatTensor(b, "x", {1, 4, 4, 2});
    b.setInputs({x});
    b.setOutputs({addOp(b, OpKind::Relu, {x}, "y", {1, 4, 4, 2})});
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

using Build = std::function<void(ModelBuilder&)>;

// XNNPACK's indirection tables grow with output pixels times kernel taps, and a transposed
// convolution's parameters with its strides: a few kilobytes of model could ask for gigabytes.
Build convolutionChain(int count, int32_t side, int32_t kernel) {
    return [=](ModelBuilder& b) {
        int x = floatTensor(b, "x", {1, side, side, 1});
        const int w = randomWeights(b, "w", {1, kernel, kernel, 1}, 1);
        for (int i = 0; i < count; ++i) {
            x = addOp(b, OpKind::Conv2d, {x, w, -1}, "y" + std::to_string(i), {1, side, side, 1});
        }
    };
}

// A model the engine must refuse, as `build` writes it; its first tensor is the model's input and
// its last one the output.
struct RefusedModel {
    const char* name;
    Build build;
    std::string message;
};

std::vector<RefusedModel> refusedModels() {
    return {
        {"UnsupportedBuiltinOperatorIsNamed",
         [](ModelBuilder& b) {
             const int x = floatTensor(b, "x", {4});
             const int y = addOp(b, OpKind::Relu, {x}, "y", {4});
             b.addBuiltinOperator(kTanhCode, {y}, {floatTensor(b, "z", {4})});
         },
         "unsupported operator TANH (operator 1)"},
        {"UnsupportedCustomOperatorIsNamed",
         [](ModelBuilder& b) {
             const int x = floatTensor(b, "x", {4});
             b.addCustomOperator("MaxPoolingWithArgmax2D", {x}, {floatTensor(b, "y", {4})});
         },
         "unsupported operator custom 'MaxPoolingWithArgmax2D' (operator 0)"},
        {"UnknownBuiltinCodeIsNamedByNumber",
         [](ModelBuilder& b) {
             const int x = floatTensor(b, "x", {4});
             b.addBuiltinOperator(4000, {x}, {floatTensor(b, "y", {4})});
         },
         "unsupported operator with builtin code 4000 (operator 0)"},
        {"WrongDeclaredOutputShape",
         [](ModelBuilder& b) {
             const int x = floatTensor(b, "x", {1, 8, 8, 3});
             const int w = randomWeights(b, "w", {4, 3, 3, 3}, 1);
             addOp(b, OpKind::Conv2d, {x, w, -1}, "y", {1, 8, 8, 4}, convOptions(Padding::Same, 2));
         },
         "CONV_2D (operator 0) declares output shape [1,8,8,4] but computes [1,4,4,4]"},
        // 1048576 output pixels x 961 taps x 8 bytes: about 7.5 GiB of indirection table.
        {"ConvolutionWindowBeyondWorkingMemory", convolutionChain(1, 1024, 31),
         "CONV_2D (operator 0) takes the model's window working memory beyond 256 MiB"},
        // 9 MiB of table pointers each: 72 MiB with 64-bit pointers, where the fourth convolution
        // crosses the bound, and 36 MiB with 32-bit ones, where the eighth does.
        {"WindowWorkingMemoryIsSummedOverOperators", convolutionChain(8, 1024, 3),
         "CONV_2D (operator " + std::to_string(sizeof(void*) == 8 ? 3 : 7) +
             ") takes the model's window working memory beyond 256 MiB"},
        {"TransposedConvolutionStridesBeyondWorkingMemory",
         [](ModelBuilder& b) {
             const int x = floatTensor(b, "x", {1, 1, 1, 1});
             const int w = b.addFloatConstant("w", {1, 1, 1, 1}, {1.0f});
             const int bias = b.addFloatConstant("b", {1}, {0.0f});
             addOp(b, OpKind::Convolution2DTransposeBias, {x, w, bias}, "y", {1, 1, 1, 1},
                   convOptions(Padding::Same, 65536));
         },
         "Convolution2DTransposeBias (operator 0) takes the model's window working "
         "memory beyond 256 MiB"},
        {"TensorReadBeforeWritten",
         [](ModelBuilder& b) {
             const int x = floatTensor(b, "x", {4});
             const int orphan = floatTensor(b, "orphan", {4});
             addOp(b, OpKind::Add, {x, orphan}, "y", {4});
         },
         "ADD (operator 0) reads tensor 1 'orphan' before anything writes it"},
        {"ConstantOfWrongSize",
         [](ModelBuilder& b) {
             const int x = floatTensor(b, "x", {4});
             const int c = b.addConstant("c", ElementType::Float32, {4}, std::vector<uint8_t>(12));
             addOp(b, OpKind::Add, {x, c}, "y", {4});
         },
         "tensor 1 'c' holds 12 bytes of data but its shape and type need 16"},
        {"OperatorTypeOutsideItsKernel",
         [](ModelBuilder& b) {
             const int x = b.addTensor("x", ElementType::Int32, {4});
             addOp(b, OpKind::Relu, {x}, "y", {4}, OpOptions(), ElementType::Int32);
         },
         "RELU (operator 0) input 0 has type INT32, only FLOAT32 is supported"},
    };
}

void PrintTo(const RefusedModel& c, std::ostream* os) {
    *os << c.name;
}

class Refusal : public ::testing::TestWithParam<RefusedModel> {};

TEST_P(Refusal, NamesWhatIsWrong) {
    ModelBuilder b;
    GetParam().build(b);
    b.setInputs({0});
    b.setOutputs({static_cast<int>(b.tensorCount()) - 1});
    EXPECT_EQ(creationError(b.finish()), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(ModelErrorTest, Refusal, ::testing::ValuesIn(refusedModels()),
                         [](const ::testing::TestParamInfo<RefusedModel>& info) {
                             return std::string(info.param.name);
                         });

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
