#include "ConvStack.h"

#include <random>

#include "ModelBuilder.h"

namespace enginebench {

namespace {

struct Dims {
    int height;
    int width;
    int channels;
};

Dims outputOf(const Dims& in, const Layer& layer) {
    const int h = (in.height + layer.stride - 1) / layer.stride;
    const int w = (in.width + layer.stride - 1) / layer.stride;
    switch (layer.kind) {
        case Layer::Conv:
            return {h, w, layer.outChannels};
        case Layer::Depthwise:
            return {h, w, in.channels};
        case Layer::HardSwish:
            break;
    }
    return in;
}

std::vector<float> randomValues(size_t count, std::mt19937& random) {
    std::uniform_real_distribution<float> distribution(-0.5f, 0.5f);
    std::vector<float> values(count);
    for (float& v : values) {
        v = distribution(random);
    }
    return values;
}

}  // namespace

ConvStack ConvStack::standard() {
    ConvStack stack;
    stack.height = 256;
    stack.width = 256;
    stack.channels = 3;
    stack.layers = {
        {Layer::Conv, 3, 2, 16}, {Layer::HardSwish},      {Layer::Depthwise, 3, 2, 0},
        {Layer::Conv, 1, 1, 32}, {Layer::HardSwish},      {Layer::Depthwise, 3, 2, 0},
        {Layer::Conv, 1, 1, 64}, {Layer::HardSwish},      {Layer::Depthwise, 3, 1, 0},
        {Layer::Conv, 1, 1, 64}, {Layer::Conv, 3, 1, 16},
    };
    std::mt19937 random(42);
    Dims dims{stack.height, stack.width, stack.channels};
    for (const Layer& layer : stack.layers) {
        const Dims out = outputOf(dims, layer);
        if (layer.kind == Layer::Conv) {
            stack.weights.push_back(randomValues(
                static_cast<size_t>(out.channels) * layer.kernel * layer.kernel * dims.channels +
                    out.channels,
                random));
        } else if (layer.kind == Layer::Depthwise) {
            stack.weights.push_back(randomValues(
                static_cast<size_t>(layer.kernel) * layer.kernel * dims.channels + dims.channels,
                random));
        } else {
            stack.weights.emplace_back();
        }
        dims = out;
    }
    return stack;
}

size_t ConvStack::outputElements() const {
    Dims dims{height, width, channels};
    for (const Layer& layer : layers) {
        dims = outputOf(dims, layer);
    }
    return static_cast<size_t>(dims.height) * dims.width * dims.channels;
}

std::vector<uint8_t> ConvStack::tfliteModel() const {
    using hostengine::ElementType;
    using hostengine::OpKind;
    hostengine::ModelBuilder b;
    Dims dims{height, width, channels};
    int current = b.addTensor("input", ElementType::Float32, {1, height, width, channels});
    const int input = current;
    for (size_t i = 0; i < layers.size(); ++i) {
        const Layer& layer = layers[i];
        const Dims out = outputOf(dims, layer);
        const int next =
            b.addTensor("layer", ElementType::Float32, {1, out.height, out.width, out.channels});
        if (layer.kind == Layer::HardSwish) {
            b.addOperator(OpKind::HardSwish, {current}, {next});
        } else {
            const bool depthwise = layer.kind == Layer::Depthwise;
            const std::vector<float>& all = weights[i];
            const std::vector<float> filter(all.begin(), all.end() - out.channels);
            const std::vector<float> bias(all.end() - out.channels, all.end());
            const std::vector<int32_t> filterShape =
                depthwise
                    ? std::vector<int32_t>{1, layer.kernel, layer.kernel, out.channels}
                    : std::vector<int32_t>{out.channels, layer.kernel, layer.kernel, dims.channels};
            hostengine::OpOptions o;
            o.strideH = o.strideW = layer.stride;
            o.activation = hostengine::Activation::Relu6;
            b.addOperator(depthwise ? OpKind::DepthwiseConv2d : OpKind::Conv2d,
                          {current, b.addFloatConstant("w", filterShape, filter),
                           b.addFloatConstant("b", {out.channels}, bias)},
                          {next}, o);
        }
        current = next;
        dims = out;
    }
    b.setInputs({input});
    b.setOutputs({current});
    return b.finish();
}

bool ConvStack::defineSubgraph(xnn_subgraph_t subgraph) const {
    Dims dims{height, width, channels};
    auto define = [&](const Dims& d, const float* data, uint32_t externalId, uint32_t flags,
                      uint32_t* id) {
        const size_t shape[4] = {1, static_cast<size_t>(d.height), static_cast<size_t>(d.width),
                                 static_cast<size_t>(d.channels)};
        return xnn_define_tensor_value(subgraph, xnn_datatype_fp32, 4, shape, data, externalId,
                                       flags, id) == xnn_status_success;
    };
    auto defineVector = [&](const float* data, size_t count, uint32_t* id) {
        const size_t shape[1] = {count};
        return xnn_define_tensor_value(subgraph, xnn_datatype_fp32, 1, shape, data,
                                       XNN_INVALID_VALUE_ID, 0, id) == xnn_status_success;
    };
    uint32_t current = 0;
    if (!define(dims, nullptr, 0, XNN_VALUE_FLAG_EXTERNAL_INPUT, &current)) {
        return false;
    }
    for (size_t i = 0; i < layers.size(); ++i) {
        const Layer& layer = layers[i];
        const Dims out = outputOf(dims, layer);
        const bool last = i + 1 == layers.size();
        uint32_t next = 0;
        if (!define(out, nullptr, last ? 1 : XNN_INVALID_VALUE_ID,
                    last ? XNN_VALUE_FLAG_EXTERNAL_OUTPUT : 0, &next)) {
            return false;
        }
        xnn_status status = xnn_status_success;
        if (layer.kind == Layer::HardSwish) {
            status = xnn_define_hardswish(subgraph, current, next, 0);
        } else {
            const std::vector<float>& all = weights[i];
            const size_t filterCount = all.size() - out.channels;
            uint32_t filter = 0;
            uint32_t bias = 0;
            const bool depthwise = layer.kind == Layer::Depthwise;
            const size_t k = static_cast<size_t>(layer.kernel);
            const size_t outC = static_cast<size_t>(out.channels);
            // XNNPACK's filter layouts: [1, KH, KW, C] depthwise, [O, KH, KW, I] otherwise.
            const size_t depthwiseShape[4] = {1, k, k, outC};
            const size_t denseShape[4] = {outC, k, k, static_cast<size_t>(dims.channels)};
            const size_t* shape = depthwise ? depthwiseShape : denseShape;
            if (xnn_define_tensor_value(subgraph, xnn_datatype_fp32, 4, shape, all.data(),
                                        XNN_INVALID_VALUE_ID, 0, &filter) != xnn_status_success ||
                !defineVector(all.data() + filterCount, out.channels, &bias)) {
                return false;
            }
            status = depthwise ? xnn_define_depthwise_convolution_2d(
                                     subgraph, 0, 0, 0, 0, layer.kernel, layer.kernel, layer.stride,
                                     layer.stride, 1, 1, 1, dims.channels, 0.0f, 6.0f, current,
                                     filter, bias, next, XNN_FLAG_TENSORFLOW_SAME_PADDING)
                               : xnn_define_convolution_2d(
                                     subgraph, 0, 0, 0, 0, layer.kernel, layer.kernel, layer.stride,
                                     layer.stride, 1, 1, 1, dims.channels, out.channels, 0.0f, 6.0f,
                                     current, filter, bias, next, XNN_FLAG_TENSORFLOW_SAME_PADDING);
        }
        if (status != xnn_status_success) {
            return false;
        }
        current = next;
        dims = out;
    }
    return true;
}

}  // namespace enginebench
