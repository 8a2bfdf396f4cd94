// Reads the main subgraph of a TFLite flatbuffer into a Graph. The flatbuffer is verified as a
// whole before any field is read; everything after that only has to check the model's own
// consistency (indices, sizes, types).
#include <flatbuffers/flatbuffers.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "ModelGraph.h"
#include "OperatorNames.h"
#include "tflite_subset_generated.h"

namespace hostengine {

namespace {

// No camera model comes near this size for one tensor, so a larger one is a corrupt shape; the
// limit also keeps every product of dimensions far from overflowing.
constexpr size_t kMaxTensorBytes = size_t{1} << 28;

bool fail(std::string* error, const std::string& message) {
    *error = message;
    return false;
}

bool convertType(tflite::TensorType type, ElementType* out) {
    switch (type) {
        case tflite::TensorType::FLOAT32:
            *out = ElementType::Float32;
            return true;
        case tflite::TensorType::FLOAT16:
            *out = ElementType::Float16;
            return true;
        case tflite::TensorType::INT32:
            *out = ElementType::Int32;
            return true;
        case tflite::TensorType::UINT8:
            *out = ElementType::Uint8;
            return true;
        case tflite::TensorType::INT64:
            *out = ElementType::Int64;
            return true;
        case tflite::TensorType::BOOL:
            *out = ElementType::Bool;
            return true;
        case tflite::TensorType::INT8:
            *out = ElementType::Int8;
            return true;
        default:
            return false;
    }
}

Activation convertActivation(tflite::ActivationFunctionType type, bool* ok) {
    switch (type) {
        case tflite::ActivationFunctionType::NONE:
            return Activation::None;
        case tflite::ActivationFunctionType::RELU:
            return Activation::Relu;
        case tflite::ActivationFunctionType::RELU_N1_TO_1:
            return Activation::ReluN1To1;
        case tflite::ActivationFunctionType::RELU6:
            return Activation::Relu6;
        default:
            *ok = false;
            return Activation::None;
    }
}

Padding convertPadding(tflite::Padding padding) {
    return padding == tflite::Padding::VALID ? Padding::Valid : Padding::Same;
}

class Reader {
  public:
    Reader(const uint8_t* base, size_t size, Graph* graph, std::string* error)
        : base_(base), size_(size), graph_(graph), error_(error) {}

    bool read() {
        flatbuffers::Verifier verifier(base_, size_);
        if (!tflite::VerifyModelBuffer(verifier)) {
            return fail(error_, "model verification failed: not a valid TFLite flatbuffer");
        }
        model_ = tflite::GetModel(base_);
        const auto* subgraphs = model_->subgraphs();
        if (subgraphs == nullptr || subgraphs->size() == 0) {
            return fail(error_, "model has no subgraph");
        }
        const tflite::SubGraph* main = subgraphs->Get(0);
        if (model_->description() != nullptr) {
            graph_->description = model_->description()->str();
        }
        return readTensors(main) && readIndexList(main->inputs(), "input", &graph_->inputs) &&
               readIndexList(main->outputs(), "output", &graph_->outputs) && readOperators(main);
    }

  private:
    bool readTensors(const tflite::SubGraph* subgraph) {
        const auto* tensors = subgraph->tensors();
        if (tensors == nullptr) {
            return fail(error_, "model's main subgraph has no tensors");
        }
        graph_->tensors.resize(tensors->size());
        for (flatbuffers::uoffset_t i = 0; i < tensors->size(); ++i) {
            if (!readTensor(i, tensors->Get(i), &graph_->tensors[i])) {
                return false;
            }
        }
        return true;
    }

    bool readTensor(size_t index, const tflite::Tensor* source, GraphTensor* tensor) {
        tensor->name = source->name() != nullptr ? source->name()->str() : std::string();
        const std::string label = "tensor " + std::to_string(index) + " '" + tensor->name + "'";
        if (!convertType(source->type(), &tensor->type)) {
            const char* name = tflite::EnumNameTensorType(source->type());
            return fail(error_,
                        label + " has unsupported type " +
                            (*name != '\0' ? std::string(name)
                                           : std::to_string(static_cast<int>(source->type()))));
        }
        size_t bytes = elementSize(tensor->type);
        if (source->shape() != nullptr) {
            for (int32_t dim : *source->shape()) {
                if (dim < 0) {
                    return fail(error_, label + " has a negative dimension");
                }
                bytes *= static_cast<size_t>(dim);
                if (bytes > kMaxTensorBytes) {
                    return fail(error_, label + " is implausibly large");
                }
                tensor->shape.push_back(dim);
            }
        }
        if (!readQuantization(source->quantization(), &tensor->quantization)) {
            return fail(error_, label + " has a zero point out of range");
        }
        return readConstant(label, source->buffer(), bytes, tensor);
    }

    static bool readQuantization(const tflite::QuantizationParameters* source, Quantization* out) {
        if (source == nullptr || source->scale() == nullptr || source->scale()->size() == 0) {
            return true;  // min/max only, or nothing: a float tensor
        }
        out->present = true;
        out->perChannel = source->scale()->size() > 1;
        out->scale = source->scale()->Get(0);
        const auto* zeroPoints = source->zero_point();
        if (zeroPoints != nullptr && zeroPoints->size() > 0) {
            // The verifier checks a vector's length word, not the alignment its 64-bit elements
            // need, so the first element is copied out rather than loaded in place.
            int64_t zeroPoint = 0;
            std::memcpy(&zeroPoint, zeroPoints->data(), sizeof(zeroPoint));
            zeroPoint = flatbuffers::EndianScalar(zeroPoint);
            if (zeroPoint < std::numeric_limits<int32_t>::min() ||
                zeroPoint > std::numeric_limits<int32_t>::max()) {
                return false;
            }
            out->zeroPoint = static_cast<int32_t>(zeroPoint);
        }
        return true;
    }

    bool readConstant(const std::string& label, uint32_t bufferIndex, size_t bytes,
                      GraphTensor* tensor) {
        const auto* buffers = model_->buffers();
        if (bufferIndex == 0) {
            return true;  // buffer 0 is the format's empty sentinel: not a constant
        }
        if (buffers == nullptr || bufferIndex >= buffers->size()) {
            return fail(error_, label + " refers to buffer " + std::to_string(bufferIndex) +
                                    " which does not exist");
        }
        const tflite::Buffer* buffer = buffers->Get(bufferIndex);
        const uint8_t* data = nullptr;
        size_t size = 0;
        if (buffer->data() != nullptr) {
            data = buffer->data()->data();
            size = buffer->data()->size();
        } else if (buffer->offset() > 1) {
            // Large models keep buffers after the flatbuffer, addressed from the file's start.
            if (buffer->offset() > size_ || buffer->size() > size_ - buffer->offset()) {
                return fail(error_, label + " has buffer data outside the model");
            }
            data = base_ + buffer->offset();
            size = static_cast<size_t>(buffer->size());
        }
        if (size == 0) {
            return true;
        }
        if (size != bytes) {
            return fail(error_, label + " holds " + std::to_string(size) +
                                    " bytes of data but its shape and type need " +
                                    std::to_string(bytes));
        }
        tensor->isConstant = true;
        tensor->data.assign(data, data + size);
        return true;
    }

    bool checkIndex(int32_t index, const std::string& what) const {
        if (index < 0 || static_cast<size_t>(index) >= graph_->tensors.size()) {
            return fail(error_, what + " refers to tensor " + std::to_string(index) +
                                    " which does not exist");
        }
        return true;
    }

    bool readIndexList(const flatbuffers::Vector<int32_t>* list, const std::string& what,
                       std::vector<int>* out) {
        if (list == nullptr) {
            return true;
        }
        for (int32_t index : *list) {
            if (!checkIndex(index, "subgraph " + what)) {
                return false;
            }
            out->push_back(index);
        }
        return true;
    }

    bool readOperators(const tflite::SubGraph* subgraph) {
        const auto* operators = subgraph->operators();
        if (operators == nullptr) {
            return true;
        }
        for (flatbuffers::uoffset_t i = 0; i < operators->size(); ++i) {
            GraphOperator op;
            if (!readOperator(i, operators->Get(i), &op)) {
                return false;
            }
            graph_->operators.push_back(std::move(op));
        }
        return true;
    }

    bool readOperator(size_t index, const tflite::Operator* source, GraphOperator* op) {
        const std::string label = "operator " + std::to_string(index);
        const auto* codes = model_->operator_codes();
        if (codes == nullptr || source->opcode_index() >= codes->size()) {
            return fail(error_, label + " has an operator code index out of range");
        }
        const tflite::OperatorCode* code = codes->Get(source->opcode_index());
        // Files from before the 32-bit code field keep the code only in the old byte field.
        const int32_t builtin = std::max<int32_t>(static_cast<int32_t>(code->builtin_code()),
                                                  code->deprecated_builtin_code());
        if (builtin == static_cast<int32_t>(tflite::BuiltinOperator::CUSTOM)) {
            const std::string custom =
                code->custom_code() != nullptr ? code->custom_code()->str() : std::string();
            if (custom != kTransposeConvBiasCustomCode) {
                return fail(error_, "unsupported operator custom '" + custom + "' (" + label + ")");
            }
            op->kind = OpKind::Convolution2DTransposeBias;
        } else if (!opKindFromBuiltin(builtin, &op->kind)) {
            const char* name = builtinOperatorName(builtin);
            return fail(
                error_,
                std::string("unsupported operator ") +
                    (name != nullptr ? name : "with builtin code " + std::to_string(builtin)) +
                    " (" + label + ")");
        }
        const std::string opLabel = std::string(opKindName(op->kind)) + " (" + label + ")";
        if (source->inputs() != nullptr) {
            for (int32_t input : *source->inputs()) {
                if (input != -1 && !checkIndex(input, opLabel)) {
                    return false;
                }
                op->inputs.push_back(input);
            }
        }
        if (source->outputs() != nullptr) {
            for (int32_t output : *source->outputs()) {
                if (!checkIndex(output, opLabel)) {
                    return false;
                }
                op->outputs.push_back(output);
            }
        }
        if (!readOptions(source, op)) {
            return fail(error_, opLabel + " has options the engine cannot honour");
        }
        return true;
    }

    // False only for option values the engine cannot honour (e.g. a TANH fused activation).
    static bool readOptions(const tflite::Operator* source, GraphOperator* op) {
        OpOptions& o = op->options;
        bool ok = true;
        if (const auto* conv = source->builtin_options_as_Conv2DOptions()) {
            o.padding = convertPadding(conv->padding());
            o.strideW = conv->stride_w();
            o.strideH = conv->stride_h();
            o.dilationW = conv->dilation_w_factor();
            o.dilationH = conv->dilation_h_factor();
            o.activation = convertActivation(conv->fused_activation_function(), &ok);
        } else if (const auto* dw = source->builtin_options_as_DepthwiseConv2DOptions()) {
            o.padding = convertPadding(dw->padding());
            o.strideW = dw->stride_w();
            o.strideH = dw->stride_h();
            o.depthMultiplier = dw->depth_multiplier();
            o.dilationW = dw->dilation_w_factor();
            o.dilationH = dw->dilation_h_factor();
            o.activation = convertActivation(dw->fused_activation_function(), &ok);
        } else if (const auto* pool = source->builtin_options_as_Pool2DOptions()) {
            o.padding = convertPadding(pool->padding());
            o.strideW = pool->stride_w();
            o.strideH = pool->stride_h();
            o.filterW = pool->filter_width();
            o.filterH = pool->filter_height();
            o.activation = convertActivation(pool->fused_activation_function(), &ok);
        } else if (const auto* concat = source->builtin_options_as_ConcatenationOptions()) {
            o.axis = concat->axis();
            o.activation = convertActivation(concat->fused_activation_function(), &ok);
        } else if (const auto* add = source->builtin_options_as_AddOptions()) {
            o.activation = convertActivation(add->fused_activation_function(), &ok);
        } else if (const auto* mul = source->builtin_options_as_MulOptions()) {
            o.activation = convertActivation(mul->fused_activation_function(), &ok);
        } else if (const auto* sub = source->builtin_options_as_SubOptions()) {
            o.activation = convertActivation(sub->fused_activation_function(), &ok);
        } else if (const auto* resize = source->builtin_options_as_ResizeBilinearOptions()) {
            o.alignCorners = resize->align_corners();
            o.halfPixelCenters = resize->half_pixel_centers();
        } else if (const auto* reducer = source->builtin_options_as_ReducerOptions()) {
            o.keepDims = reducer->keep_dims();
        } else if (const auto* argMax = source->builtin_options_as_ArgMaxOptions()) {
            // Informational only: like TFLite, the kernels go by the output tensor's type.
            convertType(argMax->output_type(), &o.outputType);
        } else if (const auto* cast = source->builtin_options_as_CastOptions()) {
            convertType(cast->out_data_type(), &o.outputType);
        } else if (const auto* tconv = source->builtin_options_as_TransposeConvOptions()) {
            o.padding = convertPadding(tconv->padding());
            o.strideW = tconv->stride_w();
            o.strideH = tconv->stride_h();
            o.activation = convertActivation(tconv->fused_activation_function(), &ok);
        }
        if (op->kind == OpKind::Convolution2DTransposeBias) {
            ok = ok && readTransposeConvBiasOptions(source->custom_options(), &o);
        }
        return ok;
    }

    // MediaPipe stores this operator's parameters as a raw C struct of three 32-bit integers:
    // padding (1 same, 2 valid), stride width, stride height.
    static bool readTransposeConvBiasOptions(const flatbuffers::Vector<uint8_t>* raw,
                                             OpOptions* o) {
        int32_t fields[3];
        if (raw == nullptr || raw->size() < sizeof fields) {
            return false;
        }
        std::memcpy(fields, raw->data(), sizeof fields);
        if (fields[0] != 1 && fields[0] != 2) {
            return false;
        }
        o->padding = fields[0] == 2 ? Padding::Valid : Padding::Same;
        o->strideW = fields[1];
        o->strideH = fields[2];
        return true;
    }

    const uint8_t* base_;
    size_t size_;
    Graph* graph_;
    std::string* error_;
    const tflite::Model* model_ = nullptr;
};

}  // namespace

bool readModel(const void* data, size_t size, Graph* graph, std::string* error) {
    if (data == nullptr || size == 0) {
        return fail(error, "model is empty");
    }
    // Flatbuffers reads scalars in place, so the bytes must sit at an aligned address; the
    // vendor APIs hand over buffers with no alignment promise.
    std::vector<uint8_t> aligned;
    const auto* bytes = static_cast<const uint8_t*>(data);
    if (reinterpret_cast<uintptr_t>(bytes) % 16 != 0) {
        aligned.assign(bytes, bytes + size);
        bytes = aligned.data();
    }
    Graph result;
    if (!Reader(bytes, size, &result, error).read()) {
        return false;
    }
    *graph = std::move(result);
    return true;
}

}  // namespace hostengine
