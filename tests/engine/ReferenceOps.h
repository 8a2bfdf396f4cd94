// Plain reference implementations of the operators the engine runs, written for clarity rather
// than speed: nested loops over NHWC indices, double arithmetic, TFLite's documented semantics.
// Every tensor is a shape plus its values as doubles (integers and booleans included).
#pragma once

#include <cstdint>
#include <vector>

#include "ModelGraph.h"

namespace enginetest {

struct RefTensor {
    std::vector<int32_t> shape;
    std::vector<double> values;

    size_t count() const;
    // Flat index of an NHWC position.
    size_t at(int n, int y, int x, int c) const;
};

RefTensor makeTensor(const std::vector<int32_t>& shape);

double applyActivation(double value, hostengine::Activation activation);

// Convolutions: filters [O, KH, KW, I] (grouped when I divides the input channels), depthwise
// filters [1, KH, KW, C * multiplier]; bias may be empty.
RefTensor conv2d(const RefTensor& input, const RefTensor& filter, const RefTensor& bias,
                 const hostengine::OpOptions& options);
RefTensor depthwiseConv2d(const RefTensor& input, const RefTensor& filter, const RefTensor& bias,
                          const hostengine::OpOptions& options);
// Transposed convolution producing `outShape`, filter [O, KH, KW, I].
RefTensor transposeConv2d(const RefTensor& input, const RefTensor& filter, const RefTensor& bias,
                          const std::vector<int32_t>& outShape,
                          const hostengine::OpOptions& options);

RefTensor pool2d(const RefTensor& input, bool average, const hostengine::OpOptions& options);
RefTensor meanHeightWidth(const RefTensor& input, bool keepDims);
RefTensor resizeBilinear(const RefTensor& input, int height, int width,
                         const hostengine::OpOptions& options);

// ADD, MUL, SUB (activation applied after), GREATER and GREATER_EQUAL, with broadcasting.
RefTensor binary(const RefTensor& a, const RefTensor& b, hostengine::OpKind op,
                 hostengine::Activation activation);
// RELU, RELU_N1_TO_1, RELU6, LOGISTIC and HARD_SWISH.
RefTensor unary(const RefTensor& input, hostengine::OpKind op);

RefTensor concatenate(const std::vector<RefTensor>& inputs, int axis,
                      hostengine::Activation activation);
RefTensor pad(const RefTensor& input, const std::vector<int64_t>& paddings);
RefTensor argMax(const RefTensor& input, int axis);
// TFLite CAST: truncation towards zero into integers, nonzero-ness into BOOL.
RefTensor cast(const RefTensor& input, hostengine::ElementType to);
RefTensor dequantize(const RefTensor& input, float scale, int32_t zeroPoint);
RefTensor quantize(const RefTensor& input, float scale, int32_t zeroPoint,
                   hostengine::ElementType to);

}  // namespace enginetest
