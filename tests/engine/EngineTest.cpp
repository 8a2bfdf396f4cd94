// The stand-ins' CPU engine against a plain reference interpreter, on models the tests write with
// the model writer: every operator family alone, a whole segmentation network, the refusals of bad
// models, and the models the fuzzer once broke the reader with.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <type_traits>

#include "HostEngine.h"
#include "ModelBuilder.h"
#include "ModelGraph.h"
#include "PluginPaths.h"
#include "TestInputs.h"

namespace enginetest {
namespace {

using hostengine::Activation;
using hostengine::ElementType;
using hostengine::Engine;
using hostengine::ModelBuilder;
using hostengine::OpKind;
using hostengine::OpOptions;
using hostengine::Padding;
using Shape = std::vector<int32_t>;

size_t countOf(const Shape& shape) {
    return std::accumulate(shape.begin(), shape.end(), size_t{1}, std::multiplies<>());
}

// The reference interpreter: every operator written for clarity rather than speed (nested loops
// over NHWC indices, double arithmetic, TFLite's documented semantics), on tensors as a shape and
// values as doubles (integers and booleans included), so that every engine result has an
// independent expectation.
struct RefTensor {
    Shape shape;
    std::vector<double> values;
};

// Calls fn(T()) with the C++ type of one stored element; float16 comes as its bit pattern.
template <typename Fn>
void withStorageType(ElementType type, Fn&& fn) {
    switch (type) {
        case ElementType::Float32:
            return fn(float());
        case ElementType::Float16:
            return fn(uint16_t());
        case ElementType::Int32:
            return fn(int32_t());
        case ElementType::Int64:
            return fn(int64_t());
        case ElementType::Uint8:
        case ElementType::Bool:
            return fn(uint8_t());
        case ElementType::Int8:
            return fn(int8_t());
        case ElementType::None:
            return;
    }
}

double halfToDouble(uint16_t half) {
    const int exponent = (half >> 10) & 0x1f;
    const int mantissa = half & 0x3ff;
    const double magnitude = exponent == 31 ? (mantissa ? NAN : INFINITY)
                                            : std::ldexp(exponent ? 1024 + mantissa : mantissa,
                                                         std::max(exponent, 1) - 25);
    return (half >> 15) ? -magnitude : magnitude;
}

RefTensor zeros(const Shape& shape) {
    return {shape, std::vector<double>(countOf(shape), 0.0)};
}

size_t at(const RefTensor& t, int n, int y, int x, int c) {
    return ((static_cast<size_t>(n) * t.shape[1] + y) * t.shape[2] + x) * t.shape[3] + c;
}

// One element of each element-wise operator; unary ones ignore `y`.
const std::map<OpKind, std::function<double(double, double)>> kElementwise = {
    {OpKind::Add, [](double x, double y) { return x + y; }},
    {OpKind::Mul, [](double x, double y) { return x * y; }},
    {OpKind::Greater, [](double x, double y) { return double(x > y); }},
    {OpKind::GreaterEqual, [](double x, double y) { return double(x >= y); }},
    {OpKind::Relu, [](double x, double) { return std::max(x, 0.0); }},
    {OpKind::ReluN1To1, [](double x, double) { return std::clamp(x, -1.0, 1.0); }},
    {OpKind::Relu6, [](double x, double) { return std::clamp(x, 0.0, 6.0); }},
    {OpKind::Logistic, [](double x, double) { return 1.0 / (1.0 + std::exp(-x)); }},
    {OpKind::HardSwish, [](double x, double) { return x * std::clamp(x + 3.0, 0.0, 6.0) / 6.0; }},
};

// A fused activation is the operator of the same name.
double activate(double v, Activation a) {
    return a == Activation::None    ? v
           : a == Activation::Relu  ? kElementwise.at(OpKind::Relu)(v, 0.0)
           : a == Activation::Relu6 ? kElementwise.at(OpKind::Relu6)(v, 0.0)
                                    : kElementwise.at(OpKind::ReluN1To1)(v, 0.0);
}

// Whatever `fn` makes of each value alone.
template <typename Fn>
RefTensor map(RefTensor t, Fn fn) {
    for (double& v : t.values)
        v = fn(v);
    return t;
}

// One axis of a window sliding over `from` positions: position p with kernel tap k lands on
// p * stride + k * dilation - padBefore of the `to` positions on the other side.
struct Axis {
    int from, to, kernel, stride, dilation, padBefore;
};

// Output positions reading input ones, with the output size and leading padding TFLite computes.
Axis gather(int in, int kernel, int stride, int dilation, Padding padding) {
    const int effective = (kernel - 1) * dilation + 1;
    if (padding == Padding::Valid)
        return {(in - effective) / stride + 1, in, kernel, stride, dilation, 0};
    const int out = (in + stride - 1) / stride;
    const int total = std::max((out - 1) * stride + effective - in, 0);
    return {out, in, kernel, stride, dilation, total / 2};
}

// tap(n, y, x, ty, tx, ky, kx) for every kernel tap (ky, kx) of every position (y, x) that lands
// on (ty, tx) inside the other side: padding contributes nothing.
template <typename Tap>
void forEachTap(int batch, const Axis& ay, const Axis& ax, Tap tap) {
    for (int n = 0; n < batch; ++n)
        for (int y = 0; y < ay.from; ++y)
            for (int x = 0; x < ax.from; ++x)
                for (int ky = 0; ky < ay.kernel; ++ky)
                    for (int kx = 0; kx < ax.kernel; ++kx) {
                        const int ty = y * ay.stride + ky * ay.dilation - ay.padBefore;
                        const int tx = x * ax.stride + kx * ax.dilation - ax.padBefore;
                        if (ty >= 0 && ty < ay.to && tx >= 0 && tx < ax.to)
                            tap(n, y, x, ty, tx, ky, kx);
                    }
}

RefTensor biased(RefTensor sums, const RefTensor& bias, Activation activation) {
    for (size_t i = 0; i < sums.values.size(); ++i) {
        const double b = bias.values.empty() ? 0.0 : bias.values[i % sums.shape.back()];
        sums.values[i] = activate(sums.values[i] + b, activation);
    }
    return sums;
}

// Filters [O, KH, KW, I] where I divides the input channels into groups; a depthwise filter
// [1, KH, KW, C * multiplier] is the same with groups of one input channel.
RefTensor conv(const RefTensor& in, const RefTensor& filter, const RefTensor& bias,
               const OpOptions& o, bool depthwise) {
    const int outC = depthwise ? filter.shape[3] : filter.shape[0];
    const int groupIn = depthwise ? 1 : filter.shape[3];
    const int groupOut = outC / (in.shape[3] / groupIn);
    const Axis ay = gather(in.shape[1], filter.shape[1], o.strideH, o.dilationH, o.padding);
    const Axis ax = gather(in.shape[2], filter.shape[2], o.strideW, o.dilationW, o.padding);
    RefTensor out = zeros({in.shape[0], ay.from, ax.from, outC});
    forEachTap(in.shape[0], ay, ax, [&](int n, int y, int x, int iy, int ix, int ky, int kx) {
        for (int oc = 0; oc < outC; ++oc)
            for (int ic = 0; ic < groupIn; ++ic)
                out.values[at(out, n, y, x, oc)] +=
                    in.values[at(in, n, iy, ix, oc / groupOut * groupIn + ic)] *
                    filter
                        .values[depthwise ? at(filter, 0, ky, kx, oc) : at(filter, oc, ky, kx, ic)];
    });
    return biased(out, bias, o.activation);
}

// Each input cell scatters its window into the output; the output drops in front half of what
// the full scatter overshoots.
RefTensor transposeConv(const RefTensor& in, const RefTensor& filter, const RefTensor& bias,
                        const Shape& outShape, const OpOptions& o) {
    const int kH = filter.shape[1];
    const int kW = filter.shape[2];
    const int padTop = std::max((in.shape[1] - 1) * o.strideH + kH - outShape[1], 0) / 2;
    const int padLeft = std::max((in.shape[2] - 1) * o.strideW + kW - outShape[2], 0) / 2;
    RefTensor out = zeros(outShape);
    forEachTap(outShape[0], {in.shape[1], outShape[1], kH, o.strideH, 1, padTop},
               {in.shape[2], outShape[2], kW, o.strideW, 1, padLeft},
               [&](int n, int iy, int ix, int y, int x, int ky, int kx) {
                   for (int oc = 0; oc < filter.shape[0]; ++oc)
                       for (int ic = 0; ic < in.shape[3]; ++ic)
                           out.values[at(out, n, y, x, oc)] +=
                               in.values[at(in, n, iy, ix, ic)] *
                               filter.values[at(filter, oc, ky, kx, ic)];
               });
    return biased(out, bias, o.activation);
}

// Averages divide by the cells inside the input: padding is excluded.
RefTensor averagePool(const RefTensor& in, const OpOptions& o) {
    const Axis ay = gather(in.shape[1], o.filterH, o.strideH, 1, o.padding);
    const Axis ax = gather(in.shape[2], o.filterW, o.strideW, 1, o.padding);
    RefTensor sums = zeros({in.shape[0], ay.from, ax.from, in.shape[3]});
    RefTensor cells = sums;
    forEachTap(in.shape[0], ay, ax, [&](int n, int y, int x, int iy, int ix, int, int) {
        for (int c = 0; c < in.shape[3]; ++c) {
            sums.values[at(sums, n, y, x, c)] += in.values[at(in, n, iy, ix, c)];
            ++cells.values[at(cells, n, y, x, c)];
        }
    });
    for (size_t i = 0; i < sums.values.size(); ++i)
        sums.values[i] = activate(sums.values[i] / cells.values[i], o.activation);
    return sums;
}

// TFLite's RESIZE_BILINEAR: the source position of each output row and column, clamped into the
// input, blends its neighbours below and to the right.
RefTensor resizeBilinear(const RefTensor& in, const Shape& outShape, const OpOptions& o) {
    auto source = [&](int index, int inSize, int outSize) {
        const double scale = o.alignCorners && outSize > 1 ? (inSize - 1.0) / (outSize - 1)
                                                           : double(inSize) / outSize;
        const double position = o.halfPixelCenters ? (index + 0.5) * scale - 0.5 : index * scale;
        return std::clamp(position, 0.0, inSize - 1.0);
    };
    RefTensor out = zeros(outShape);
    for (int n = 0; n < outShape[0]; ++n)
        for (int oy = 0; oy < outShape[1]; ++oy)
            for (int ox = 0; ox < outShape[2]; ++ox)
                for (int c = 0; c < outShape[3]; ++c) {
                    const double y = source(oy, in.shape[1], outShape[1]);
                    const double x = source(ox, in.shape[2], outShape[2]);
                    auto v = [&](int dy, int dx) {
                        return in.values[at(in, n, std::min(int(y) + dy, in.shape[1] - 1),
                                            std::min(int(x) + dx, in.shape[2] - 1), c)];
                    };
                    const double fy = y - int(y);
                    const double fx = x - int(x);
                    out.values[at(out, n, oy, ox, c)] =
                        (v(0, 0) * (1 - fx) + v(0, 1) * fx) * (1 - fy) +
                        (v(1, 0) * (1 - fx) + v(1, 1) * fx) * fy;
                }
    return out;
}

// Flat index into `t` of the position `index` of a broadcast result of shape `outShape`.
size_t broadcastIndex(const RefTensor& t, const Shape& outShape, size_t index) {
    std::vector<size_t> position(outShape.size());
    for (size_t d = outShape.size(); d-- > 0; index /= outShape[d])
        position[d] = index % outShape[d];
    size_t flat = 0;
    const size_t offset = outShape.size() - t.shape.size();
    for (size_t d = 0; d < t.shape.size(); ++d)
        flat = flat * t.shape[d] + (t.shape[d] == 1 ? 0 : position[d + offset]);
    return flat;
}

RefTensor broadcast(const RefTensor& a, const RefTensor& b, OpKind op, Activation activation) {
    const size_t rank = std::max(a.shape.size(), b.shape.size());
    Shape shape(rank, 1);
    for (const RefTensor* t : {&a, &b})
        for (size_t d = 0; d < t->shape.size(); ++d)
            shape[rank - t->shape.size() + d] =
                std::max(shape[rank - t->shape.size() + d], t->shape[d]);
    RefTensor out = zeros(shape);
    for (size_t i = 0; i < out.values.size(); ++i)
        out.values[i] = activate(kElementwise.at(op)(a.values[broadcastIndex(a, shape, i)],
                                                     b.values[broadcastIndex(b, shape, i)]),
                                 activation);
    return out;
}

RefTensor argMax(const RefTensor& in, int axis, const Shape& outShape) {
    axis = axis < 0 ? axis + static_cast<int>(in.shape.size()) : axis;
    size_t inner = 1;
    for (size_t d = axis + 1; d < in.shape.size(); ++d)
        inner *= in.shape[d];
    RefTensor out = zeros(outShape);
    for (size_t i = 0; i < out.values.size(); ++i) {
        auto v = [&](int k) {
            return in.values[(i / inner * in.shape[axis] + k) * inner + i % inner];
        };
        for (int k = 1; k < in.shape[axis]; ++k)
            out.values[i] = v(k) > v(static_cast<int>(out.values[i])) ? k : out.values[i];
    }
    return out;
}

RefTensor apply(const hostengine::Graph& graph, const hostengine::GraphOperator& op,
                const std::map<int, RefTensor>& values) {
    auto in = [&](size_t k) {
        return k < op.inputs.size() && op.inputs[k] >= 0 ? values.at(op.inputs[k]) : RefTensor();
    };
    const hostengine::GraphTensor& out = graph.tensors[op.outputs.at(0)];
    const hostengine::Quantization& q = graph.tensors[op.inputs.at(0)].quantization;
    switch (op.kind) {
        case OpKind::Add:
        case OpKind::Mul:
        case OpKind::Greater:
        case OpKind::GreaterEqual:
            return broadcast(in(0), in(1), op.kind, op.options.activation);
        case OpKind::Conv2d:
        case OpKind::DepthwiseConv2d:
            return conv(in(0), in(1), in(2), op.options, op.kind == OpKind::DepthwiseConv2d);
        case OpKind::Convolution2DTransposeBias:
            return transposeConv(in(0), in(1), in(2), out.shape, op.options);
        case OpKind::AveragePool2d:
            return averagePool(in(0), op.options);
        case OpKind::ResizeBilinear:
            return resizeBilinear(in(0), out.shape, op.options);
        case OpKind::Reshape:
            return RefTensor{out.shape, in(0).values};
        case OpKind::Dequantize:
            return map(in(0),
                       [&](double v) { return q.present ? (v - q.zeroPoint) * q.scale : v; });
        case OpKind::Cast:
            // Truncation towards zero into integers, nonzero-ness into BOOL.
            return map(in(0), [&](double v) {
                return out.type == ElementType::Bool      ? (v != 0.0)
                       : out.type == ElementType::Float32 ? static_cast<float>(v)
                                                          : std::trunc(v);
            });
        case OpKind::ArgMax:
            return argMax(in(0), static_cast<int>(in(1).values[0]), out.shape);
        default:
            return map(in(0), [&](double v) { return kElementwise.at(op.kind)(v, 0.0); });
    }
}

RefTensor fromBytes(ElementType type, const Shape& shape, const std::vector<uint8_t>& bytes) {
    RefTensor t{shape, {}};
    withStorageType(type, [&](auto zero) {
        using T = decltype(zero);
        t.values.resize(bytes.size() / sizeof(T));
        for (size_t i = 0; i < t.values.size(); ++i) {
            T v;
            std::memcpy(&v, bytes.data() + i * sizeof(T), sizeof(T));
            if constexpr (std::is_same<T, uint16_t>::value)
                t.values[i] = halfToDouble(v);
            else
                t.values[i] = static_cast<double>(v);
        }
    });
    return t;
}

std::vector<uint8_t> toBytes(const RefTensor& tensor, ElementType type) {
    std::vector<uint8_t> bytes;
    withStorageType(type, [&](auto zero) {
        using T = decltype(zero);
        bytes.resize(tensor.values.size() * sizeof(T));
        for (size_t i = 0; i < tensor.values.size(); ++i) {
            const T v = static_cast<T>(tensor.values[i]);
            std::memcpy(bytes.data() + i * sizeof(T), &v, sizeof(T));
        }
    });
    return bytes;
}

std::vector<RefTensor> runReference(const hostengine::Graph& graph,
                                    const std::vector<RefTensor>& inputs) {
    std::map<int, RefTensor> values;
    for (size_t i = 0; i < graph.tensors.size(); ++i) {
        const hostengine::GraphTensor& t = graph.tensors[i];
        if (t.isConstant)
            values[static_cast<int>(i)] = fromBytes(t.type, t.shape, t.data);
    }
    for (size_t i = 0; i < graph.inputs.size(); ++i)
        values[graph.inputs[i]] = inputs.at(i);
    for (const hostengine::GraphOperator& op : graph.operators)
        values[op.outputs.at(0)] = apply(graph, op, values);
    std::vector<RefTensor> outputs;
    for (int index : graph.outputs)
        outputs.push_back(values.at(index));
    return outputs;
}

std::vector<float> randomFloats(const Shape& shape, uint32_t seed, double range = 1.0) {
    std::mt19937 random(seed);
    std::vector<float> values(countOf(shape));
    for (float& v : values)
        v = static_cast<float>(std::uniform_real_distribution<>(-range, range)(random));
    return values;
}

// Vendor APIs hand over model bytes with no alignment promise: the engine reads them unaligned.
std::unique_ptr<Engine> engineFrom(const std::vector<uint8_t>& model, int threads,
                                   std::string* error) {
    std::vector<uint8_t> shifted(model.size() + 1);
    std::copy(model.begin(), model.end(), shifted.begin() + 1);
    hostengine::EngineOptions options;
    options.threads = threads;
    return Engine::fromBytes(shifted.data() + 1, model.size(), options, error);
}

// Runs `engine` on random inputs (floats in [-range, range], uint8 0..255, other integers in the
// float range) and expects every output within absolute + relative * |expected| of the reference.
void expectMatchesReference(Engine& engine, const std::vector<uint8_t>& model, uint32_t seed,
                            double range, double absolute, double relative) {
    hostengine::Graph graph;
    std::string error;
    ASSERT_TRUE(hostengine::readModel(model.data(), model.size(), &graph, &error)) << error;
    std::mt19937 random(seed);
    std::vector<RefTensor> inputs;
    for (size_t i = 0; i < graph.inputs.size(); ++i) {
        const hostengine::GraphTensor& tensor = graph.tensors[graph.inputs[i]];
        const int low = tensor.type == ElementType::Uint8 ? 0 : -static_cast<int>(range);
        RefTensor t{tensor.shape, std::vector<double>(countOf(tensor.shape))};
        for (double& v : t.values)
            v = tensor.type == ElementType::Float32
                    ? static_cast<float>(std::uniform_real_distribution<>(-range, range)(random))
                    : std::uniform_int_distribution<>(low, low ? -low : 255)(random);
        const std::vector<uint8_t> bytes = toBytes(t, engine.input(i).type);
        ASSERT_TRUE(engine.setInput(i, bytes.data(), bytes.size(), &error)) << error;
        inputs.push_back(t);
    }
    ASSERT_TRUE(engine.invoke(&error)) << error;
    const std::vector<RefTensor> expected = runReference(graph, inputs);
    ASSERT_EQ(engine.outputCount(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        std::vector<uint8_t> bytes(engine.output(i).byteSize);
        ASSERT_TRUE(engine.getOutput(i, bytes.data(), bytes.size(), &error)) << error;
        const RefTensor actual = fromBytes(engine.output(i).type, engine.output(i).shape, bytes);
        ASSERT_EQ(actual.shape, expected[i].shape);
        ASSERT_EQ(actual.values.size(), expected[i].values.size());
        for (size_t k = 0; k < actual.values.size(); ++k) {
            const double e = expected[i].values[k];
            ASSERT_LE(std::fabs(actual.values[k] - e), absolute + relative * std::fabs(e))
                << "output " << i << " element " << k << ": engine " << actual.values[k]
                << ", reference " << e;
        }
    }
}

// One input of an operator under test: a model input, random float32 weights, int32 constants,
// or omitted.
struct In {
    enum Kind { Input, Weights, Ints, Omitted } kind;
    Shape shape;
    ElementType type = ElementType::Float32;
    hostengine::Quantization quantization = {};
    std::vector<int32_t> ints = {};
};

In x(const Shape& shape, ElementType type = ElementType::Float32) {
    return {In::Input, shape, type};
}
In w(const Shape& shape) {
    return {In::Weights, shape};
}
In ints(const Shape& shape, const std::vector<int32_t>& values) {
    return {In::Ints, shape, ElementType::Int32, {}, values};
}

// One operator from `inputs` to one output.
struct OpCase {
    OpKind op;
    std::vector<In> inputs;
    Shape out;
    OpOptions options;
    ElementType outType;
};

OpCase row(OpKind op, const std::vector<In>& inputs, const Shape& out,
           const OpOptions& options = OpOptions(), ElementType outType = ElementType::Float32) {
    return {op, inputs, out, options, outType};
}

int op(ModelBuilder& b, OpKind kind, const std::vector<int>& inputs, const Shape& out,
       const OpOptions& options = OpOptions(), ElementType type = ElementType::Float32) {
    const int y = b.addTensor("t" + std::to_string(b.tensorCount()), type, out);
    b.addOperator(kind, inputs, {y}, options);
    return y;
}

std::vector<uint8_t> model(const OpCase& c) {
    ModelBuilder b;
    std::vector<int> inputs;
    std::vector<int> graphInputs;
    for (const In& in : c.inputs) {
        const auto seed = static_cast<uint32_t>(b.tensorCount());
        if (in.kind == In::Input)
            graphInputs.push_back(b.addTensor("x", in.type, in.shape, in.quantization));
        inputs.push_back(in.kind == In::Input ? graphInputs.back()
                         : in.kind == In::Weights
                             ? b.addFloatConstant("w", in.shape, randomFloats(in.shape, seed))
                         : in.kind == In::Ints ? b.addInt32Constant("c", in.shape, in.ints)
                                               : -1);
    }
    b.setInputs(graphInputs);
    b.setOutputs({op(b, c.op, inputs, c.out, c.options, c.outType)});
    return b.finish();
}

// The operator families of the prepared model, and the engine's own kernels (CAST, ARG_MAX and
// the comparisons). Float results must agree within 1e-4 absolute + 1e-4 relative, integers and
// booleans exactly. Options are in OpOptions' field order: padding, strideW,
// strideH, filterW, filterH, dilationW, dilationH, depthMultiplier, activation, axis,
// alignCorners, halfPixelCenters, keepDims; widths and heights differ so that swapping them shows.
TEST(Engine, EveryOperatorFamilyMatchesTheReference) {
    using E = ElementType;
    using K = OpKind;
    using O = OpOptions;
    const Padding same = Padding::Same;
    const Padding valid = Padding::Valid;
    const Activation no = Activation::None;
    const Activation relu = Activation::Relu;
    const Activation relu6 = Activation::Relu6;
    const In omitted{In::Omitted, {}};
    const OpCase cases[] = {
        // Grouped: two groups of two input channels.
        row(K::Conv2d, {x({1, 7, 9, 4}), w({6, 3, 3, 2}), omitted}, {1, 7, 5, 6},
            O{same, 2, 1, 1, 1, 3, 2, 1, Activation::ReluN1To1}),
        row(K::DepthwiseConv2d, {x({1, 6, 7, 3}), w({1, 3, 3, 6}), w({6})}, {1, 4, 3, 6},
            O{valid, 2, 1, 1, 1, 1, 1, 2, relu6}),
        row(K::Convolution2DTransposeBias, {x({1, 3, 4, 2}), w({3, 4, 4, 2}), w({3})}, {1, 6, 8, 3},
            O{same, 2, 2}),
        row(K::Add, {x({1, 4, 5, 3}), x({1, 1, 1, 3})}, {1, 4, 5, 3},
            O{same, 1, 1, 1, 1, 1, 1, 1, relu}),
        row(K::Mul, {x({1, 4, 5, 3}), w({3})}, {1, 4, 5, 3}),
        row(K::HardSwish, {x({1, 5, 7, 6})}, {1, 5, 7, 6}),
        row(K::Logistic, {x({1, 5, 7, 6})}, {1, 5, 7, 6}),
        row(K::Relu, {x({3, 17})}, {3, 17}),
        row(K::AveragePool2d, {x({1, 7, 8, 3})}, {1, 4, 4, 3}, O{same, 2, 2, 3, 2}),
        row(K::ResizeBilinear, {x({1, 4, 5, 3}), ints({2}, {9, 7})}, {1, 9, 7, 3},
            O{same, 1, 1, 1, 1, 1, 1, 1, no, 0, false, true}),
        row(K::ResizeBilinear, {x({2, 3, 4, 2}), ints({2}, {7, 9})}, {2, 7, 9, 2},
            O{same, 1, 1, 1, 1, 1, 1, 1, no, 0, true}),
        row(K::Reshape, {x({1, 4, 6, 2}), ints({2}, {1, 48})}, {1, 48}),
        row(K::Dequantize,
            {{In::Input, {2, 9}, E::Int8, hostengine::Quantization{true, false, 0.05f, -3}}},
            {2, 9}),
        row(K::Cast, {x({5, 7})}, {5, 7}, {}, E::Int32),
        row(K::Cast, {x({30}, E::Int32)}, {30}, {}, E::Bool),
        row(K::ArgMax, {x({2, 7, 3, 2}), ints({}, {-3})}, {2, 3, 2}, {}, E::Int64),
        row(K::Greater, {x({1, 4, 5, 3}), x({3})}, {1, 4, 5, 3}, {}, E::Bool),
        row(K::GreaterEqual, {x({6, 1}, E::Int32), x({1, 6, 5}, E::Int32)}, {1, 6, 5}, {}, E::Bool),
    };
    for (const OpCase& c : cases) {
        SCOPED_TRACE(std::string(hostengine::opKindName(c.op)) + " row " +
                     std::to_string(&c - cases));
        const std::vector<uint8_t> bytes = model(c);
        std::string error;
        const auto engine = engineFrom(bytes, 2, &error);
        ASSERT_NE(engine, nullptr) << error;
        const double tolerance = c.outType == E::Float32 ? 1e-4 : 0.0;
        expectMatchesReference(*engine, bytes, 7, 8.0, tolerance, tolerance);
    }
}

// A layer with float16 weights behind a DEQUANTIZE, as converters compress them, and a small
// float32 bias.
int layer(ModelBuilder& b, OpKind kind, int input, const Shape& weights, const Shape& out,
          const OpOptions& options) {
    const auto seed = static_cast<uint32_t>(b.tensorCount());
    const int half = b.addFloat16Constant("fp16", weights, randomFloats(weights, seed));
    const int bias = b.addFloatConstant("b", {out[3]}, randomFloats({out[3]}, seed, 0.1));
    return op(b, kind, {input, op(b, OpKind::Dequantize, {half}, weights), bias}, out, options);
}

// MediaPipe's selfie segmentation in small, between the engine's own kernels at both edges: a
// uint8 image through CAST, a stem, a strided block, an upsampling decoder with a skip connection
// and a transposed-convolution head; probabilities and GREATER + CAST labels come out.
std::vector<uint8_t> segmentationNet() {
    using K = OpKind;
    using O = OpOptions;
    ModelBuilder b;
    const Shape s1{1, 32, 24, 3};
    const Shape s2{1, 16, 12, 8};
    const Shape mask{1, 32, 24, 1};
    const int image = b.addTensor("image", ElementType::Uint8, s1);
    const int scale = b.addFloatConstant("scale", {1}, {1.0f / 255});
    const int scaled = op(b, K::Mul, {op(b, K::Cast, {image}, s1), scale}, s1);
    const int conv = layer(b, K::Conv2d, scaled, {8, 3, 3, 3}, s2, O{Padding::Same, 2, 2});
    const int stem = op(b, K::HardSwish, {conv}, s2);
    const int dw = layer(b, K::DepthwiseConv2d, stem, {1, 3, 3, 8}, {1, 8, 6, 8},
                         O{Padding::Same, 2, 2, 1, 1, 1, 1, 1, Activation::Relu});
    const int size = b.addInt32Constant("size", {2}, {16, 12});
    const int up = op(b, K::ResizeBilinear, {dw, size}, s2,
                      O{Padding::Same, 1, 1, 1, 1, 1, 1, 1, Activation::None, 0, false, true});
    const int merged = op(b, K::Add, {up, stem}, s2);
    const int logits =
        layer(b, K::Convolution2DTransposeBias, merged, {1, 2, 2, 8}, mask, O{Padding::Same, 2, 2});
    const int probability = op(b, K::Logistic, {logits}, mask);
    const int half = b.addFloatConstant("half", {}, {0.5f});
    const int person = op(b, K::Greater, {probability, half}, mask, {}, ElementType::Bool);
    b.setInputs({image});
    b.setOutputs({probability, op(b, K::Cast, {person}, mask, {}, ElementType::Int32)});
    return b.finish();
}

// Any thread count, read from bytes or from a file, invoked again with fresh inputs. No
// probability of these two inputs lies within 2e-4 of 0.5, far beyond rounding on any
// architecture, so the labels compare exactly.
TEST(Engine, SegmentationNetMatchesTheReference) {
    const std::vector<uint8_t> bytes = segmentationNet();
    const std::string path = testsupport::writeTempFile("net.tflite", bytes);
    for (int threads : {1, 0}) {
        std::string error;
        auto engine =
            threads == 0 ? Engine::fromFile(path, {}, &error) : engineFrom(bytes, threads, &error);
        ASSERT_NE(engine, nullptr) << error;
        SCOPED_TRACE("threads " + std::to_string(threads));
        expectMatchesReference(*engine, bytes, 3, 0.0, 1e-5, 1e-4);
        expectMatchesReference(*engine, bytes, 4, 0.0, 1e-5, 1e-4);
    }
}

// A model of input x and output y (both float [4]) with the operators `build` adds.
std::vector<uint8_t> raw(const std::function<void(ModelBuilder&, int, int)>& build) {
    ModelBuilder b;
    const int x = b.addTensor("x", ElementType::Float32, {4});
    const int y = b.addTensor("y", ElementType::Float32, {4});
    build(b, x, y);
    b.setInputs({x});
    b.setOutputs({y});
    return b.finish();
}

TEST(Engine, RefusalsNameWhatIsWrong) {
    using K = OpKind;
    const std::vector<uint8_t> relu = model(row(K::Relu, {x({1, 4, 4, 2})}, {1, 4, 4, 2}));
    std::string error;
    const std::pair<std::vector<uint8_t>, std::string> models[] = {
        {{}, "model is empty"},
        {std::vector<uint8_t>(4096, 0x5a),
         "model verification failed: not a valid TFLite flatbuffer"},
        // TANH: an operator neither XNNPACK here nor the engine runs.
        {raw([](ModelBuilder& b, int in, int out) { b.addBuiltinOperator(28, {in}, {out}); }),
         "unsupported operator TANH (operator 0)"},
        {raw([](ModelBuilder& b, int in, int out) {
             b.addCustomOperator("MaxPoolingWithArgmax2D", {in}, {out});
         }),
         "unsupported operator custom 'MaxPoolingWithArgmax2D' (operator 0)"},
        {raw([](ModelBuilder& b, int in, int out) {
             b.addOperator(K::Add, {in, b.addTensor("orphan", ElementType::Float32, {4})}, {out});
         }),
         "ADD (operator 0) reads tensor 2 'orphan' before anything writes it"},
        {model(row(K::Relu, {x({4}, ElementType::Int32)}, {4}, {}, ElementType::Int32)),
         "RELU (operator 0) input 0 has type INT32, only FLOAT32 is supported"},
        {model(row(K::Conv2d, {x({1, 8, 8, 3}), w({4, 3, 3, 3}), w({4})}, {1, 8, 8, 4},
                   OpOptions{Padding::Same, 2, 2})),
         "CONV_2D (operator 0) declares output shape [1,8,8,4] but computes [1,4,4,4]"},
        // 1048576 output pixels x 961 taps x 8 bytes: 7.5 GiB of XNNPACK indirection table.
        {model(row(K::Conv2d, {x({1, 1024, 1024, 1}), w({1, 31, 31, 1}), {In::Omitted, {}}},
                   {1, 1024, 1024, 1})),
         "CONV_2D (operator 0) takes the model's window working memory beyond 256 MiB"},
    };
    for (const auto& [bytes, message] : models) {
        SCOPED_TRACE(message);
        EXPECT_EQ(engineFrom(bytes, 0, &error), nullptr);
        EXPECT_EQ(error, message);
    }
    for (size_t length = 1; length < relu.size(); length += 7) {
        error.clear();
        EXPECT_EQ(engineFrom({relu.begin(), relu.begin() + length}, 0, &error), nullptr);
        EXPECT_NE(error, "") << length;
    }
}

// Each kept input must end as a clean refusal or a working engine, never a crash (the sanitizer
// build also catches misaligned loads: engineFrom hands the bytes over unaligned).
TEST(Engine, FuzzRegressionsReadWithoutACrash) {
    const std::string dir = testsupport::sourceDir() + "/fuzz/regressions/model_reader";
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        std::string error;
        auto engine = engineFrom(testsupport::readFileBytes(entry.path()), 1, &error);
        EXPECT_TRUE(engine ? engine->invoke(&error) : !error.empty())
            << entry.path() << ": " << error;
        ++count;
    }
    EXPECT_GT(count, 0);
}

}  // namespace
}  // namespace enginetest
