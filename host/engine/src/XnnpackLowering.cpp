#include "XnnpackLowering.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "GraphText.h"
#include "OperatorChecks.h"

namespace hostengine {

uint8_t* StaticDataStore::allocate(size_t size) {
    blocks_.push_back(std::make_unique<uint8_t[]>(size + XNN_EXTRA_BYTES));
    return blocks_.back().get();
}

const void* StaticDataStore::copy(const void* data, size_t size) {
    uint8_t* block = allocate(size);
    std::memcpy(block, data, size);
    return block;
}

const void* StaticDataStore::zeros(size_t size) {
    return allocate(size);
}

namespace {

constexpr float kNoMin = -std::numeric_limits<float>::infinity();
constexpr float kNoMax = std::numeric_limits<float>::infinity();

void activationRange(Activation activation, float* min, float* max) {
    switch (activation) {
        case Activation::None:
            *min = kNoMin;
            *max = kNoMax;
            return;
        case Activation::Relu:
            *min = 0.0f;
            *max = kNoMax;
            return;
        case Activation::ReluN1To1:
            *min = -1.0f;
            *max = 1.0f;
            return;
        case Activation::Relu6:
            *min = 0.0f;
            *max = 6.0f;
            return;
    }
}

std::vector<size_t> dimsOf(const std::vector<int32_t>& shape) {
    return std::vector<size_t>(shape.begin(), shape.end());
}

class Lowering {
  public:
    Lowering(const Graph& graph, const Stage& stage, const std::vector<int>& externals,
             StaticDataStore* store, xnn_subgraph_t subgraph, std::string* error)
        : graph_(graph),
          stage_(stage),
          externals_(externals),
          store_(store),
          subgraph_(subgraph),
          error_(error),
          values_(graph.tensors.size(), XNN_INVALID_VALUE_ID) {}

    bool run() {
        for (size_t index : stage_.operators) {
            index_ = index;
            if (!lower(graph_.operators[index])) {
                return false;
            }
        }
        return true;
    }

  private:
    bool fail(const GraphOperator& op, const std::string& message) {
        *error_ = operatorLabel(op, index_) + ": " + message;
        return false;
    }

    bool check(xnn_status status, const char* call) {
        if (status != xnn_status_success) {
            return fail(graph_.operators[index_],
                        std::string(call) + " failed: " + xnnStatusText(status));
        }
        return true;
    }

    bool writtenInStage(int tensor) const {
        for (size_t index : stage_.operators) {
            const auto& outputs = graph_.operators[index].outputs;
            if (std::find(outputs.begin(), outputs.end(), tensor) != outputs.end()) {
                return true;
            }
        }
        return false;
    }

    // The XNNPACK value of a graph tensor, defined on first use.
    bool value(int tensor, uint32_t* id) {
        if (values_[tensor] != XNN_INVALID_VALUE_ID) {
            *id = values_[tensor];
            return true;
        }
        const GraphTensor& t = graph_.tensors[tensor];
        const std::vector<size_t> dims = dimsOf(t.shape);
        const void* data = t.isConstant ? store_->copy(t.data.data(), t.data.size()) : nullptr;
        uint32_t externalId = XNN_INVALID_VALUE_ID;
        uint32_t flags = 0;
        const auto external = std::find(externals_.begin(), externals_.end(), tensor);
        if (external != externals_.end()) {
            externalId = static_cast<uint32_t>(external - externals_.begin());
            flags = writtenInStage(tensor) ? XNN_VALUE_FLAG_EXTERNAL_OUTPUT
                                           : XNN_VALUE_FLAG_EXTERNAL_INPUT;
        }
        xnn_status status = xnn_status_invalid_parameter;
        if (t.type == ElementType::Float32) {
            status = xnn_define_tensor_value(subgraph_, xnn_datatype_fp32, dims.size(), dims.data(),
                                             data, externalId, flags, id);
        } else if (t.type == ElementType::Float16) {
            status = xnn_define_tensor_value(subgraph_, xnn_datatype_fp16, dims.size(), dims.data(),
                                             data, externalId, flags, id);
        } else if ((t.type == ElementType::Uint8 || t.type == ElementType::Int8) &&
                   t.quantization.present) {
            const xnn_datatype type =
                t.type == ElementType::Uint8 ? xnn_datatype_quint8 : xnn_datatype_qint8;
            status = xnn_define_quantized_tensor_value(subgraph_, type, t.quantization.zeroPoint,
                                                       t.quantization.scale, dims.size(),
                                                       dims.data(), data, externalId, flags, id);
        } else {
            return fail(graph_.operators[index_], tensorLabel(graph_, tensor) + " of type " +
                                                      elementTypeName(t.type) +
                                                      " cannot be handed to XNNPACK");
        }
        if (!check(status, "xnn_define_tensor_value")) {
            return false;
        }
        values_[tensor] = *id;
        return true;
    }

    bool internalFloatValue(const std::vector<int32_t>& shape, uint32_t* id) {
        const std::vector<size_t> dims = dimsOf(shape);
        return check(xnn_define_tensor_value(subgraph_, xnn_datatype_fp32, dims.size(), dims.data(),
                                             nullptr, XNN_INVALID_VALUE_ID, 0, id),
                     "xnn_define_tensor_value");
    }

    // The operator's bias input, or zeros when the model omits it.
    bool biasValue(const GraphOperator& op, size_t position, int32_t channels, uint32_t* id) {
        if (position < op.inputs.size() && op.inputs[position] >= 0) {
            return value(op.inputs[position], id);
        }
        const size_t dims[1] = {static_cast<size_t>(channels)};
        const void* zeros = store_->zeros(sizeof(float) * dims[0]);
        return check(xnn_define_tensor_value(subgraph_, xnn_datatype_fp32, 1, dims, zeros,
                                             XNN_INVALID_VALUE_ID, 0, id),
                     "xnn_define_tensor_value");
    }

    const GraphTensor& tensor(int index) const { return graph_.tensors[index]; }

    bool lower(const GraphOperator& op) {
        switch (op.kind) {
            case OpKind::Add:
            case OpKind::Mul:
            case OpKind::Sub:
                return lowerBinary(op);
            case OpKind::Relu:
                return lowerClamp(op, 0.0f, kNoMax);
            case OpKind::ReluN1To1:
                return lowerClamp(op, -1.0f, 1.0f);
            case OpKind::Relu6:
                return lowerClamp(op, 0.0f, 6.0f);
            case OpKind::Logistic:
            case OpKind::HardSwish:
            case OpKind::Dequantize:
            case OpKind::Quantize:
                return lowerUnary(op);
            case OpKind::Conv2d:
                return lowerConv(op);
            case OpKind::DepthwiseConv2d:
                return lowerDepthwiseConv(op);
            case OpKind::TransposeConv:
                return lowerTransposeConv(op, 2, 1, 3);
            case OpKind::Convolution2DTransposeBias:
                return lowerTransposeConv(op, 0, 1, 2);
            case OpKind::AveragePool2d:
            case OpKind::MaxPool2d:
                return lowerPool(op);
            case OpKind::Mean:
                return lowerMean(op);
            case OpKind::ResizeBilinear:
                return lowerResize(op);
            case OpKind::Concatenation:
                return lowerConcatenation(op);
            case OpKind::Reshape:
                return lowerReshape(op);
            case OpKind::Pad:
                return lowerPad(op);
            case OpKind::Cast:
            case OpKind::ArgMax:
            case OpKind::Greater:
            case OpKind::GreaterEqual:
                break;
        }
        return fail(op, "is not an XNNPACK operator");
    }

    bool lowerBinary(const GraphOperator& op) {
        uint32_t a = 0;
        uint32_t b = 0;
        uint32_t out = 0;
        if (!value(op.inputs[0], &a) || !value(op.inputs[1], &b) || !value(op.outputs[0], &out)) {
            return false;
        }
        float min = 0;
        float max = 0;
        activationRange(op.options.activation, &min, &max);
        switch (op.kind) {
            case OpKind::Add:
                return check(xnn_define_add2(subgraph_, min, max, a, b, out, 0), "xnn_define_add2");
            case OpKind::Mul:
                return check(xnn_define_multiply2(subgraph_, min, max, a, b, out, 0),
                             "xnn_define_multiply2");
            default:
                return check(xnn_define_subtract(subgraph_, min, max, a, b, out, 0),
                             "xnn_define_subtract");
        }
    }

    bool lowerClamp(const GraphOperator& op, float min, float max) {
        uint32_t in = 0;
        uint32_t out = 0;
        return value(op.inputs[0], &in) && value(op.outputs[0], &out) &&
               check(xnn_define_clamp(subgraph_, min, max, in, out, 0), "xnn_define_clamp");
    }

    bool lowerUnary(const GraphOperator& op) {
        uint32_t in = 0;
        uint32_t out = 0;
        if (!value(op.inputs[0], &in) || !value(op.outputs[0], &out)) {
            return false;
        }
        switch (op.kind) {
            case OpKind::Logistic:
                return check(xnn_define_sigmoid(subgraph_, in, out, 0), "xnn_define_sigmoid");
            case OpKind::HardSwish:
                return check(xnn_define_hardswish(subgraph_, in, out, 0), "xnn_define_hardswish");
            default:  // DEQUANTIZE and QUANTIZE are conversions between the value types
                return check(xnn_define_convert(subgraph_, in, out, 0), "xnn_define_convert");
        }
    }

    static uint32_t samePaddingFlag(const GraphOperator& op) {
        return op.options.padding == Padding::Same ? XNN_FLAG_TENSORFLOW_SAME_PADDING : 0;
    }

    bool lowerConv(const GraphOperator& op) {
        const auto& in = tensor(op.inputs[0]).shape;
        const auto& filter = tensor(op.inputs[1]).shape;  // [O, KH, KW, I / groups]
        const uint32_t groups = static_cast<uint32_t>(in[3] / filter[3]);
        uint32_t input = 0;
        uint32_t weights = 0;
        uint32_t bias = 0;
        uint32_t output = 0;
        if (!value(op.inputs[0], &input) || !value(op.inputs[1], &weights) ||
            !biasValue(op, 2, filter[0], &bias) || !value(op.outputs[0], &output)) {
            return false;
        }
        float min = 0;
        float max = 0;
        activationRange(op.options.activation, &min, &max);
        const OpOptions& o = op.options;
        return check(xnn_define_convolution_2d(subgraph_, 0, 0, 0, 0, filter[1], filter[2],
                                               o.strideH, o.strideW, o.dilationH, o.dilationW,
                                               groups, filter[3], filter[0] / groups, min, max,
                                               input, weights, bias, output, samePaddingFlag(op)),
                     "xnn_define_convolution_2d");
    }

    bool lowerDepthwiseConv(const GraphOperator& op) {
        const auto& in = tensor(op.inputs[0]).shape;
        const auto& filter = tensor(op.inputs[1]).shape;  // [1, KH, KW, C * multiplier]
        uint32_t input = 0;
        uint32_t weights = 0;
        uint32_t bias = 0;
        uint32_t output = 0;
        if (!value(op.inputs[0], &input) || !value(op.inputs[1], &weights) ||
            !biasValue(op, 2, filter[3], &bias) || !value(op.outputs[0], &output)) {
            return false;
        }
        float min = 0;
        float max = 0;
        activationRange(op.options.activation, &min, &max);
        const OpOptions& o = op.options;
        // The filter's shape is authoritative; some converters leave depth_multiplier at 0.
        const uint32_t multiplier = static_cast<uint32_t>(filter[3] / in[3]);
        return check(xnn_define_depthwise_convolution_2d(
                         subgraph_, 0, 0, 0, 0, filter[1], filter[2], o.strideH, o.strideW,
                         o.dilationH, o.dilationW, multiplier, in[3], min, max, input, weights,
                         bias, output, samePaddingFlag(op)),
                     "xnn_define_depthwise_convolution_2d");
    }

    bool lowerTransposeConv(const GraphOperator& op, size_t inputIndex, size_t filterIndex,
                            size_t biasIndex) {
        const auto& in = tensor(op.inputs[inputIndex]).shape;
        const auto& filter = tensor(op.inputs[filterIndex]).shape;  // [O, KH, KW, I]
        const auto& out = tensor(op.outputs[0]).shape;
        TransposePadding vertical;
        TransposePadding horizontal;
        transposePadding(in[1], filter[1], op.options.strideH, out[1], &vertical);
        transposePadding(in[2], filter[2], op.options.strideW, out[2], &horizontal);
        uint32_t input = 0;
        uint32_t weights = 0;
        uint32_t bias = 0;
        uint32_t output = 0;
        if (!value(op.inputs[inputIndex], &input) || !value(op.inputs[filterIndex], &weights) ||
            !biasValue(op, biasIndex, filter[0], &bias) || !value(op.outputs[0], &output)) {
            return false;
        }
        float min = 0;
        float max = 0;
        activationRange(op.options.activation, &min, &max);
        return check(xnn_define_deconvolution_2d(
                         subgraph_, vertical.before, horizontal.after, vertical.after,
                         horizontal.before, vertical.adjustment, horizontal.adjustment, filter[1],
                         filter[2], op.options.strideH, op.options.strideW, 1, 1, 1, filter[3],
                         filter[0], min, max, input, weights, bias, output, 0),
                     "xnn_define_deconvolution_2d");
    }

    bool lowerPool(const GraphOperator& op) {
        const OpOptions& o = op.options;
        float min = 0;
        float max = 0;
        activationRange(o.activation, &min, &max);
        if (o.filterH == 1 && o.filterW == 1 && o.strideH == 1 && o.strideW == 1) {
            // A 1x1 window with stride 1 copies its input; XNNPACK refuses such pooling.
            return lowerClamp(op, min, max);
        }
        const auto& in = tensor(op.inputs[0]).shape;
        uint32_t input = 0;
        uint32_t output = 0;
        if (!value(op.inputs[0], &input) || !value(op.outputs[0], &output)) {
            return false;
        }
        if (op.kind == OpKind::MaxPool2d) {
            return check(xnn_define_max_pooling_2d(subgraph_, 0, 0, 0, 0, o.filterH, o.filterW,
                                                   o.strideH, o.strideW, 1, 1, min, max, input,
                                                   output, samePaddingFlag(op)),
                         "xnn_define_max_pooling_2d");
        }
        if (o.padding == Padding::Valid && o.filterH == in[1] && o.filterW == in[2]) {
            // One window over the whole image, as in squeeze-and-excitation blocks.
            return check(
                xnn_define_global_average_pooling_2d(subgraph_, min, max, input, output, 0),
                "xnn_define_global_average_pooling_2d");
        }
        return check(
            xnn_define_average_pooling_2d(subgraph_, 0, 0, 0, 0, o.filterH, o.filterW, o.strideH,
                                          o.strideW, min, max, input, output, samePaddingFlag(op)),
            "xnn_define_average_pooling_2d");
    }

    bool lowerMean(const GraphOperator& op) {
        uint32_t input = 0;
        uint32_t output = 0;
        if (!value(op.inputs[0], &input) || !value(op.outputs[0], &output)) {
            return false;
        }
        if (op.options.keepDims) {
            return check(
                xnn_define_global_average_pooling_2d(subgraph_, kNoMin, kNoMax, input, output, 0),
                "xnn_define_global_average_pooling_2d");
        }
        // XNNPACK pools into [N, 1, 1, C]; a reshape drops the two unit dimensions.
        const auto& in = tensor(op.inputs[0]).shape;
        uint32_t pooled = 0;
        const auto& out = tensor(op.outputs[0]).shape;
        const std::vector<size_t> dims = dimsOf(out);
        return internalFloatValue({in[0], 1, 1, in[3]}, &pooled) &&
               check(xnn_define_global_average_pooling_2d(subgraph_, kNoMin, kNoMax, input, pooled,
                                                          0),
                     "xnn_define_global_average_pooling_2d") &&
               check(xnn_define_static_reshape(subgraph_, dims.size(), dims.data(), pooled, output,
                                               0),
                     "xnn_define_static_reshape");
    }

    bool lowerResize(const GraphOperator& op) {
        uint32_t input = 0;
        uint32_t output = 0;
        if (!value(op.inputs[0], &input) || !value(op.outputs[0], &output)) {
            return false;
        }
        const auto& out = tensor(op.outputs[0]).shape;
        // XNNPACK's default sampling is half-pixel centers; the other two TFLite modes map to
        // flags.
        uint32_t flags = 0;
        if (op.options.alignCorners) {
            flags = XNN_FLAG_ALIGN_CORNERS;
        } else if (!op.options.halfPixelCenters) {
            flags = XNN_FLAG_TENSORFLOW_LEGACY_MODE;
        }
        return check(
            xnn_define_static_resize_bilinear_2d(subgraph_, out[1], out[2], input, output, flags),
            "xnn_define_static_resize_bilinear_2d");
    }

    // This XNNPACK has no concatenation node. Each input is zero-padded into its place in the
    // output shape and the padded tensors are summed, which reproduces the concatenation exactly
    // (x + 0 == x) inside the one XNNPACK runtime.
    bool lowerConcatenation(const GraphOperator& op) {
        float min = 0;
        float max = 0;
        activationRange(op.options.activation, &min, &max);
        if (op.inputs.size() == 1) {
            return lowerClamp(op, min, max);
        }
        const auto& outShape = tensor(op.outputs[0]).shape;
        const size_t rank = outShape.size();
        const size_t axis = static_cast<size_t>(
            op.options.axis < 0 ? op.options.axis + static_cast<int>(rank) : op.options.axis);
        uint32_t output = 0;
        if (!value(op.outputs[0], &output)) {
            return false;
        }
        uint32_t sum = XNN_INVALID_VALUE_ID;
        size_t offset = 0;
        for (size_t i = 0; i < op.inputs.size(); ++i) {
            const size_t extent = static_cast<size_t>(tensor(op.inputs[i]).shape[axis]);
            std::vector<size_t> pre(rank, 0);
            std::vector<size_t> post(rank, 0);
            pre[axis] = offset;
            post[axis] = static_cast<size_t>(outShape[axis]) - offset - extent;
            offset += extent;
            uint32_t input = 0;
            uint32_t padded = 0;
            if (!value(op.inputs[i], &input) || !internalFloatValue(outShape, &padded) ||
                !check(xnn_define_static_constant_pad(subgraph_, pre.data(), post.data(), 0.0f,
                                                      input, padded, 0),
                       "xnn_define_static_constant_pad")) {
                return false;
            }
            if (sum == XNN_INVALID_VALUE_ID) {
                sum = padded;
                continue;
            }
            const bool last = i + 1 == op.inputs.size();
            uint32_t next = output;
            if (!last && !internalFloatValue(outShape, &next)) {
                return false;
            }
            if (!check(xnn_define_add2(subgraph_, last ? min : kNoMin, last ? max : kNoMax, sum,
                                       padded, next, 0),
                       "xnn_define_add2")) {
                return false;
            }
            sum = next;
        }
        return true;
    }

    bool lowerReshape(const GraphOperator& op) {
        uint32_t input = 0;
        uint32_t output = 0;
        const std::vector<size_t> dims = dimsOf(tensor(op.outputs[0]).shape);
        return value(op.inputs[0], &input) && value(op.outputs[0], &output) &&
               check(
                   xnn_define_static_reshape(subgraph_, dims.size(), dims.data(), input, output, 0),
                   "xnn_define_static_reshape");
    }

    bool lowerPad(const GraphOperator& op) {
        const auto& in = tensor(op.inputs[0]).shape;
        const auto& out = tensor(op.outputs[0]).shape;
        const GraphTensor& paddings = tensor(op.inputs[1]);
        std::vector<size_t> pre(in.size());
        std::vector<size_t> post(in.size());
        for (size_t d = 0; d < in.size(); ++d) {
            int64_t before = 0;
            if (paddings.type == ElementType::Int32) {
                int32_t v;
                std::memcpy(&v, paddings.data.data() + 8 * d, sizeof v);
                before = v;
            } else {
                std::memcpy(&before, paddings.data.data() + 16 * d, sizeof before);
            }
            pre[d] = static_cast<size_t>(before);
            post[d] = static_cast<size_t>(out[d] - in[d]) - pre[d];
        }
        uint32_t input = 0;
        uint32_t output = 0;
        return value(op.inputs[0], &input) && value(op.outputs[0], &output) &&
               check(xnn_define_static_constant_pad(subgraph_, pre.data(), post.data(), 0.0f, input,
                                                    output, 0),
                     "xnn_define_static_constant_pad");
    }

    const Graph& graph_;
    const Stage& stage_;
    const std::vector<int>& externals_;
    StaticDataStore* store_;
    xnn_subgraph_t subgraph_;
    std::string* error_;
    std::vector<uint32_t> values_;  // XNNPACK value of each graph tensor, once defined
    size_t index_ = 0;              // the operator being lowered, for messages
};

}  // namespace

bool buildSubgraph(const Graph& graph, const Stage& stage, const std::vector<int>& externals,
                   StaticDataStore* store, SubgraphPtr* subgraph, std::string* error) {
    xnn_subgraph_t raw = nullptr;
    const xnn_status status = xnn_create_subgraph(static_cast<uint32_t>(externals.size()), 0, &raw);
    if (status != xnn_status_success) {
        *error = std::string("xnn_create_subgraph failed: ") + xnnStatusText(status);
        return false;
    }
    SubgraphPtr owned(raw);
    if (!Lowering(graph, stage, externals, store, raw, error).run()) {
        return false;
    }
    *subgraph = std::move(owned);
    return true;
}

}  // namespace hostengine
