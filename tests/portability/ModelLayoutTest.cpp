// The model writer lays a file out the same way on every architecture, so a model prepared on a
// workstation and one prepared on an ARM board are the same bytes (the prepared model's digest is
// recorded in RealModelMaskTest). Compilers evaluate function arguments in a different order on
// x86 and ARM; the writer must not leave the order of the objects it writes to that.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HostEngine.h"
#include "MaskDigest.h"
#include "ModelBuilder.h"

namespace portability {
namespace {

using hostengine::ElementType;
using hostengine::OpKind;

constexpr const char* kExpectedDigest = "0xaddbacba97e9b4a9";

// Every kind of object the writer nests: shapes and names, constants, quantization, builtin
// options with a vector inside, a custom operator with options, and more than one operator code.
std::vector<uint8_t> modelOfEveryPart() {
    hostengine::ModelBuilder b;
    hostengine::Quantization q;
    q.present = true;
    q.scale = 0.5f;
    q.zeroPoint = 3;
    const int x = b.addTensor("x", ElementType::Uint8, {1, 4, 4, 2}, q);
    const int xf = b.addTensor("x_float", ElementType::Float32, {1, 4, 4, 2});
    const int w = b.addFloatConstant("w", {2, 3, 3, 2}, std::vector<float>(36, 0.25f));
    const int bias = b.addFloatConstant("bias", {2}, {1.0f, -1.0f});
    const int conv = b.addTensor("conv", ElementType::Float32, {1, 4, 4, 2});
    const int up = b.addTensor("up", ElementType::Float32, {1, 8, 8, 2});
    const int flat = b.addTensor("flat", ElementType::Float32, {1, 128});
    hostengine::OpOptions stride2;
    stride2.strideH = stride2.strideW = 2;
    b.addOperator(OpKind::Dequantize, {x}, {xf});
    b.addOperator(OpKind::Conv2d, {xf, w, bias}, {conv});
    b.addOperator(OpKind::Convolution2DTransposeBias, {conv, w, bias}, {up}, stride2);
    b.addOperator(OpKind::Reshape, {up}, {flat});
    b.setInputs({x});
    b.setOutputs({flat});
    b.setDescription("layout check");
    return b.finish();
}

TEST(ModelLayout, IsTheSameOnEveryArchitecture) {
    const std::vector<uint8_t> model = modelOfEveryPart();
    std::string error;
    EXPECT_NE(hostengine::Engine::fromBytes(model.data(), model.size(), {}, &error), nullptr)
        << error;
    EXPECT_EQ(digestOf(model), kExpectedDigest)
        << "the model file written on " << kArchitecture << " differs from the recorded one";
}

}  // namespace
}  // namespace portability
