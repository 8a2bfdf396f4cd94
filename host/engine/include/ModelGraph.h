// A TFLite model's main subgraph as plain data: what the engine runs and what the model
// preparation tool copies into a new model. Reading verifies the flatbuffer before touching any
// byte and rejects anything the engine could not describe here (unknown operators, tensor types,
// indices out of range), so a Graph that reads successfully is structurally sound; whether its
// shapes fit each operator is checked when an Engine is built from it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "HostEngine.h"

namespace hostengine {

// Every operator the engine knows. TFLite builtins keep their TFLite names in messages;
// Convolution2DTransposeBias is MediaPipe's custom transposed convolution with a bias input.
enum class OpKind {
    Add,
    AveragePool2d,
    Concatenation,
    Conv2d,
    DepthwiseConv2d,
    Dequantize,
    Logistic,
    MaxPool2d,
    Mul,
    Relu,
    ReluN1To1,
    Relu6,
    Reshape,
    ResizeBilinear,
    Pad,
    Mean,
    Sub,
    Cast,
    ArgMax,
    Greater,
    GreaterEqual,
    TransposeConv,
    Quantize,
    HardSwish,
    Convolution2DTransposeBias,
};

// The operator's name as TFLite files spell it ("CONV_2D", "Convolution2DTransposeBias").
const char* opKindName(OpKind kind);

enum class Activation { None, Relu, ReluN1To1, Relu6 };
enum class Padding { Same, Valid };

// The union of the options of every operator in OpKind; each operator reads only its own fields.
struct OpOptions {
    Padding padding = Padding::Same;
    int strideW = 1;
    int strideH = 1;
    int filterW = 1;  // pooling window
    int filterH = 1;
    int dilationW = 1;
    int dilationH = 1;
    int depthMultiplier = 1;
    Activation activation = Activation::None;
    int axis = 0;  // CONCATENATION
    bool alignCorners = false;
    bool halfPixelCenters = false;
    bool keepDims = false;  // MEAN
    // ARG_MAX and CAST as the file states it; the output tensor's type is what the engine uses.
    ElementType outputType = ElementType::None;
};

struct Quantization {
    bool present = false;
    bool perChannel = false;  // more than one scale: the engine does not run those
    float scale = 0.0f;
    int32_t zeroPoint = 0;
};

struct GraphTensor {
    std::string name;
    ElementType type = ElementType::None;
    std::vector<int32_t> shape;
    Quantization quantization;
    bool isConstant = false;
    std::vector<uint8_t> data;  // the constant's bytes, exactly byteSize() of them

    size_t elementCount() const;
    size_t byteSize() const;
};

struct GraphOperator {
    OpKind kind = OpKind::Add;
    std::vector<int> inputs;  // -1 marks an omitted optional input
    std::vector<int> outputs;
    OpOptions options;
};

struct Graph {
    std::vector<GraphTensor> tensors;
    std::vector<GraphOperator> operators;  // in execution order
    std::vector<int> inputs;
    std::vector<int> outputs;
    std::string description;
};

// Verifies and reads a model's main subgraph. False with `*error` set (one line naming the step
// and, for an operator the engine does not know, the operator's name). Tensors above 256 MiB are
// refused as implausible.
bool readModel(const void* data, size_t size, Graph* graph, std::string* error);

// Bytes per element; 0 for ElementType::None.
size_t elementSize(ElementType type);
// "FLOAT32", "UINT8", ... as TFLite spells the types.
const char* elementTypeName(ElementType type);

}  // namespace hostengine
