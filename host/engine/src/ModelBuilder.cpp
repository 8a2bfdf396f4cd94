#include "ModelBuilder.h"

#include <flatbuffers/flatbuffers.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "Float16.h"
#include "OperatorNames.h"
#include "tflite_subset_generated.h"

namespace hostengine {

namespace {

// The schema version every TFLite model written today carries.
constexpr uint32_t kSchemaVersion = 3;

tflite::TensorType fileType(ElementType type) {
    switch (type) {
        case ElementType::Float16:
            return tflite::TensorType::FLOAT16;
        case ElementType::Int32:
            return tflite::TensorType::INT32;
        case ElementType::Uint8:
            return tflite::TensorType::UINT8;
        case ElementType::Int8:
            return tflite::TensorType::INT8;
        case ElementType::Int64:
            return tflite::TensorType::INT64;
        case ElementType::Bool:
            return tflite::TensorType::BOOL;
        case ElementType::Float32:
        case ElementType::None:
            break;
    }
    return tflite::TensorType::FLOAT32;
}

tflite::Padding filePadding(Padding padding) {
    return padding == Padding::Valid ? tflite::Padding::VALID : tflite::Padding::SAME;
}

tflite::ActivationFunctionType fileActivation(Activation activation) {
    switch (activation) {
        case Activation::Relu:
            return tflite::ActivationFunctionType::RELU;
        case Activation::ReluN1To1:
            return tflite::ActivationFunctionType::RELU_N1_TO_1;
        case Activation::Relu6:
            return tflite::ActivationFunctionType::RELU6;
        case Activation::None:
            break;
    }
    return tflite::ActivationFunctionType::NONE;
}

template <typename T>
std::vector<uint8_t> bytesOf(const std::vector<T>& values) {
    std::vector<uint8_t> bytes(values.size() * sizeof(T));
    if (!bytes.empty()) {
        std::memcpy(bytes.data(), values.data(), bytes.size());
    }
    return bytes;
}

struct WrittenOptions {
    tflite::BuiltinOptions type = tflite::BuiltinOptions::NONE;
    flatbuffers::Offset<void> table;
};

class OptionsWriter {
  public:
    OptionsWriter(flatbuffers::FlatBufferBuilder* fbb, const std::vector<GraphTensor>& tensors)
        : fbb_(*fbb), tensors_(tensors) {}

    WrittenOptions write(const GraphOperator& op) {
        const OpOptions& o = op.options;
        const auto act = fileActivation(o.activation);
        switch (op.kind) {
            case OpKind::Conv2d:
                return {tflite::BuiltinOptions::Conv2DOptions,
                        tflite::CreateConv2DOptions(fbb_, filePadding(o.padding), o.strideW,
                                                    o.strideH, act, o.dilationW, o.dilationH)
                            .Union()};
            case OpKind::DepthwiseConv2d:
                return {tflite::BuiltinOptions::DepthwiseConv2DOptions,
                        tflite::CreateDepthwiseConv2DOptions(
                            fbb_, filePadding(o.padding), o.strideW, o.strideH, o.depthMultiplier,
                            act, o.dilationW, o.dilationH)
                            .Union()};
            case OpKind::AveragePool2d:
            case OpKind::MaxPool2d:
                return {tflite::BuiltinOptions::Pool2DOptions,
                        tflite::CreatePool2DOptions(fbb_, filePadding(o.padding), o.strideW,
                                                    o.strideH, o.filterW, o.filterH, act)
                            .Union()};
            case OpKind::Concatenation:
                return {tflite::BuiltinOptions::ConcatenationOptions,
                        tflite::CreateConcatenationOptions(fbb_, o.axis, act).Union()};
            case OpKind::Add:
                return {tflite::BuiltinOptions::AddOptions,
                        tflite::CreateAddOptions(fbb_, act).Union()};
            case OpKind::Mul:
                return {tflite::BuiltinOptions::MulOptions,
                        tflite::CreateMulOptions(fbb_, act).Union()};
            case OpKind::Sub:
                return {tflite::BuiltinOptions::SubOptions,
                        tflite::CreateSubOptions(fbb_, act).Union()};
            case OpKind::ResizeBilinear:
                return {
                    tflite::BuiltinOptions::ResizeBilinearOptions,
                    tflite::CreateResizeBilinearOptions(fbb_, o.alignCorners, o.halfPixelCenters)
                        .Union()};
            case OpKind::Reshape:
                return {tflite::BuiltinOptions::ReshapeOptions,
                        tflite::CreateReshapeOptions(
                            fbb_, fbb_.CreateVector(tensors_[op.outputs.at(0)].shape))
                            .Union()};
            case OpKind::Pad:
                return {tflite::BuiltinOptions::PadOptions, tflite::CreatePadOptions(fbb_).Union()};
            case OpKind::Mean:
                return {tflite::BuiltinOptions::ReducerOptions,
                        tflite::CreateReducerOptions(fbb_, o.keepDims).Union()};
            case OpKind::Cast:
                return {tflite::BuiltinOptions::CastOptions,
                        tflite::CreateCastOptions(fbb_, fileType(tensors_[op.inputs.at(0)].type),
                                                  fileType(tensors_[op.outputs.at(0)].type))
                            .Union()};
            case OpKind::Dequantize:
                return {tflite::BuiltinOptions::DequantizeOptions,
                        tflite::CreateDequantizeOptions(fbb_).Union()};
            case OpKind::ArgMax:
                return {tflite::BuiltinOptions::ArgMaxOptions,
                        tflite::CreateArgMaxOptions(fbb_, fileType(tensors_[op.outputs.at(0)].type))
                            .Union()};
            case OpKind::Greater:
                return {tflite::BuiltinOptions::GreaterOptions,
                        tflite::CreateGreaterOptions(fbb_).Union()};
            case OpKind::GreaterEqual:
                return {tflite::BuiltinOptions::GreaterEqualOptions,
                        tflite::CreateGreaterEqualOptions(fbb_).Union()};
            case OpKind::TransposeConv:
                return {tflite::BuiltinOptions::TransposeConvOptions,
                        tflite::CreateTransposeConvOptions(fbb_, filePadding(o.padding), o.strideW,
                                                           o.strideH, act)
                            .Union()};
            case OpKind::Quantize:
                return {tflite::BuiltinOptions::QuantizeOptions,
                        tflite::CreateQuantizeOptions(fbb_).Union()};
            case OpKind::HardSwish:
                return {tflite::BuiltinOptions::HardSwishOptions,
                        tflite::CreateHardSwishOptions(fbb_).Union()};
            case OpKind::Logistic:
            case OpKind::Relu:
            case OpKind::ReluN1To1:
            case OpKind::Relu6:
            case OpKind::Convolution2DTransposeBias:
                break;
        }
        return {};
    }

  private:
    flatbuffers::FlatBufferBuilder& fbb_;
    const std::vector<GraphTensor>& tensors_;
};

// MediaPipe's parameter block: padding (1 same, 2 valid), stride width, stride height.
std::vector<uint8_t> transposeConvBiasOptions(const OpOptions& o) {
    const int32_t fields[3] = {o.padding == Padding::Valid ? 2 : 1, o.strideW, o.strideH};
    std::vector<uint8_t> bytes(sizeof fields);
    std::memcpy(bytes.data(), fields, sizeof fields);
    return bytes;
}

// A builtin code, or -1 with the custom code of a custom operator.
flatbuffers::Offset<tflite::OperatorCode> writeOperatorCode(flatbuffers::FlatBufferBuilder* fbb,
                                                            int32_t builtinCode,
                                                            const std::string& customCode) {
    if (builtinCode < 0) {
        const auto custom = static_cast<int32_t>(tflite::BuiltinOperator::CUSTOM);
        return tflite::CreateOperatorCode(*fbb, static_cast<int8_t>(custom),
                                          fbb->CreateString(customCode), 1,
                                          tflite::BuiltinOperator::CUSTOM);
    }
    // Readers of either generation find the code: the old byte field saturates at 127, the
    // placeholder for codes that only fit the new 32-bit field.
    return tflite::CreateOperatorCode(*fbb, static_cast<int8_t>(std::min(builtinCode, 127)), 0, 1,
                                      static_cast<tflite::BuiltinOperator>(builtinCode));
}

}  // namespace

int ModelBuilder::addTensor(const std::string& name, ElementType type,
                            const std::vector<int32_t>& shape, const Quantization& quantization) {
    GraphTensor tensor;
    tensor.name = name;
    tensor.type = type;
    tensor.shape = shape;
    tensor.quantization = quantization;
    tensors_.push_back(std::move(tensor));
    return static_cast<int>(tensors_.size() - 1);
}

int ModelBuilder::addConstant(const std::string& name, ElementType type,
                              const std::vector<int32_t>& shape, const std::vector<uint8_t>& bytes,
                              const Quantization& quantization) {
    const int index = addTensor(name, type, shape, quantization);
    tensors_[index].isConstant = true;
    tensors_[index].data = bytes;
    return index;
}

int ModelBuilder::addFloatConstant(const std::string& name, const std::vector<int32_t>& shape,
                                   const std::vector<float>& values) {
    return addConstant(name, ElementType::Float32, shape, bytesOf(values));
}

int ModelBuilder::addFloat16Constant(const std::string& name, const std::vector<int32_t>& shape,
                                     const std::vector<float>& values) {
    std::vector<uint16_t> halves(values.size());
    std::transform(values.begin(), values.end(), halves.begin(), floatToHalf);
    return addConstant(name, ElementType::Float16, shape, bytesOf(halves));
}

int ModelBuilder::addInt32Constant(const std::string& name, const std::vector<int32_t>& shape,
                                   const std::vector<int32_t>& values) {
    return addConstant(name, ElementType::Int32, shape, bytesOf(values));
}

int ModelBuilder::appendTensors(const Graph& graph) {
    const int offset = static_cast<int>(tensors_.size());
    tensors_.insert(tensors_.end(), graph.tensors.begin(), graph.tensors.end());
    return offset;
}

void ModelBuilder::addOperator(OpKind kind, const std::vector<int>& inputs,
                               const std::vector<int>& outputs, const OpOptions& options) {
    Entry entry;
    entry.op = GraphOperator{kind, inputs, outputs, options};
    if (kind == OpKind::Convolution2DTransposeBias) {
        entry.customCode = kTransposeConvBiasCustomCode;
        entry.customOptions = transposeConvBiasOptions(options);
    } else {
        entry.builtinCode = builtinCodeOf(kind);
    }
    operators_.push_back(std::move(entry));
}

void ModelBuilder::addBuiltinOperator(int32_t builtinCode, const std::vector<int>& inputs,
                                      const std::vector<int>& outputs) {
    Entry entry;
    entry.op.inputs = inputs;
    entry.op.outputs = outputs;
    entry.raw = true;
    entry.builtinCode = builtinCode;
    operators_.push_back(std::move(entry));
}

void ModelBuilder::addCustomOperator(const std::string& customCode, const std::vector<int>& inputs,
                                     const std::vector<int>& outputs,
                                     const std::vector<uint8_t>& customOptions) {
    Entry entry;
    entry.op.inputs = inputs;
    entry.op.outputs = outputs;
    entry.raw = true;
    entry.customCode = customCode;
    entry.customOptions = customOptions;
    operators_.push_back(std::move(entry));
}

std::vector<uint8_t> ModelBuilder::finish() const {
    flatbuffers::FlatBufferBuilder fbb;

    // Buffer 0 is the format's empty sentinel; each constant gets a buffer of its own.
    std::vector<flatbuffers::Offset<tflite::Buffer>> buffers{tflite::CreateBuffer(fbb)};
    std::vector<flatbuffers::Offset<tflite::Tensor>> tensors;
    for (const GraphTensor& tensor : tensors_) {
        uint32_t buffer = 0;
        if (tensor.isConstant) {
            fbb.ForceVectorAlignment(tensor.data.size(), sizeof(uint8_t), 16);
            const auto data = fbb.CreateVector(tensor.data);
            buffer = static_cast<uint32_t>(buffers.size());
            buffers.push_back(tflite::CreateBuffer(fbb, data));
        }
        flatbuffers::Offset<tflite::QuantizationParameters> quantization;
        if (tensor.quantization.present) {
            const auto scale = fbb.CreateVector(std::vector<float>{tensor.quantization.scale});
            const auto zeroPoint =
                fbb.CreateVector(std::vector<int64_t>{tensor.quantization.zeroPoint});
            quantization = tflite::CreateQuantizationParameters(fbb, 0, 0, scale, zeroPoint);
        }
        const auto shape = fbb.CreateVector(tensor.shape);
        const auto name = fbb.CreateString(tensor.name);
        tensors.push_back(
            tflite::CreateTensor(fbb, shape, fileType(tensor.type), buffer, name, quantization));
    }

    // One operator code per distinct (builtin, custom) pair, in order of first use.
    std::vector<std::pair<int32_t, std::string>> used;
    std::vector<flatbuffers::Offset<tflite::OperatorCode>> codes;
    std::vector<flatbuffers::Offset<tflite::Operator>> operators;
    OptionsWriter optionsWriter(&fbb, tensors_);
    for (const Entry& entry : operators_) {
        const std::pair<int32_t, std::string> key{entry.builtinCode, entry.customCode};
        auto found = std::find(used.begin(), used.end(), key);
        if (found == used.end()) {
            codes.push_back(writeOperatorCode(&fbb, entry.builtinCode, entry.customCode));
            used.push_back(key);
            found = used.end() - 1;
        }
        const auto opcodeIndex = static_cast<uint32_t>(found - used.begin());
        const WrittenOptions options = entry.raw ? WrittenOptions() : optionsWriter.write(entry.op);
        flatbuffers::Offset<flatbuffers::Vector<uint8_t>> custom;
        if (!entry.customOptions.empty()) {
            custom = fbb.CreateVector(entry.customOptions);
        }
        const auto inputs = fbb.CreateVector(entry.op.inputs);
        const auto outputs = fbb.CreateVector(entry.op.outputs);
        operators.push_back(tflite::CreateOperator(fbb, opcodeIndex, inputs, outputs, options.type,
                                                   options.table, custom));
    }

    // Children are written one statement at a time: the order in which a compiler evaluates
    // function arguments differs between targets, and with it the file's layout.
    const auto tensorTable = fbb.CreateVector(tensors);
    const auto graphInputs = fbb.CreateVector(inputs_);
    const auto graphOutputs = fbb.CreateVector(outputs_);
    const auto operatorTable = fbb.CreateVector(operators);
    const auto graphName = fbb.CreateString("main");
    const auto subgraph = tflite::CreateSubGraph(fbb, tensorTable, graphInputs, graphOutputs,
                                                 operatorTable, graphName);
    const auto codeTable = fbb.CreateVector(codes);
    const auto subgraphs =
        fbb.CreateVector(std::vector<flatbuffers::Offset<tflite::SubGraph>>{subgraph});
    const auto description = fbb.CreateString(description_);
    const auto bufferTable = fbb.CreateVector(buffers);
    const auto model =
        tflite::CreateModel(fbb, kSchemaVersion, codeTable, subgraphs, description, bufferTable);
    tflite::FinishModelBuffer(fbb, model);
    return std::vector<uint8_t>(fbb.GetBufferPointer(), fbb.GetBufferPointer() + fbb.GetSize());
}

}  // namespace hostengine
