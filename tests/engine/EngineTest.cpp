// The stand-ins' CPU engine against a plain reference interpreter, on models the tests write with
// the model writer: every operator family, a whole segmentation network, the refusals of bad
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
#include <variant>

#include "MaskDigest.h"
#include "ModelBuilder.h"
#include "PluginPaths.h"
#include "TestInputs.h"

namespace enginetest {
namespace {

using hostengine::Activation;
using hostengine::Padding;
using E = hostengine::ElementType;
using K = hostengine::OpKind;
using O = hostengine::OpOptions;
using Shape = std::vector<int32_t>;
using Fn = std::function<double(double, double)>;

size_t countOf(const Shape& shape) {
    return std::accumulate(shape.begin(), shape.end(), size_t{1}, std::multiplies<>());
}

// The position along each dimension of element `i` of a tensor of `shape`.
Shape coords(const Shape& shape, size_t i) {
    Shape p(shape.size());
    for (size_t d = shape.size(); d-- > 0; i /= shape[d])
        p[d] = static_cast<int32_t>(i % shape[d]);
    return p;
}

// The reference interpreter: every operator written for clarity rather than speed, in double
// arithmetic after TFLite's documented semantics, on values of every element type as doubles.
// A default Ref is the scalar zero.
struct Ref {
    Shape shape;
    std::vector<double> values = {0.0};
    double& at(int n, int y, int x, int c) {
        return values[((static_cast<size_t>(n) * shape[1] + y) * shape[2] + x) * shape[3] + c];
    }
};

// `shape` filled with the per-channel values of `fill`, or with its one value.
Ref filled(const Shape& shape, const Ref& fill = {}) {
    Ref t{shape, std::vector<double>(countOf(shape))};
    for (size_t i = 0; i < t.values.size(); ++i)
        t.values[i] = fill.values[i % fill.values.size()];
    return t;
}

// The C++ type each element type is stored as; float16 as its bit pattern.
const std::map<E, std::variant<float, uint16_t, int32_t, int64_t, uint8_t, int8_t>> kStored = {
    {E::Float32, float()}, {E::Float16, uint16_t()}, {E::Int32, int32_t()}, {E::Int64, int64_t()},
    {E::Uint8, uint8_t()}, {E::Bool, uint8_t()},     {E::Int8, int8_t()}};

// Finite values only: the tests' float16 weights lie within [-1, 1].
double fromHalf(uint16_t h) {
    const int exponent = h >> 10 & 0x1f;
    return std::ldexp((exponent ? 1024 : 0) + (h & 0x3ff), std::max(exponent, 1) - 25) *
           (h >> 15 ? -1 : 1);
}

// The values of `t` stored as `type` when `bytes` is empty; then `t` read back from `bytes`.
Ref transfer(E type, Ref t, std::vector<uint8_t>& bytes) {
    const bool store = bytes.empty();
    std::visit(
        [&](auto v) {
            bytes.resize(store ? t.values.size() * sizeof(v) : bytes.size());
            t.values.resize(bytes.size() / sizeof(v));
            for (size_t i = 0; i < t.values.size(); ++i) {
                v = static_cast<decltype(v)>(t.values[i]);
                if (store)
                    std::memcpy(&bytes[i * sizeof(v)], &v, sizeof(v));
                std::memcpy(&v, &bytes[i * sizeof(v)], sizeof(v));
                t.values[i] = type == E::Float16 ? fromHalf(static_cast<uint16_t>(v)) : double(v);
            }
        },
        kStored.at(type));
    return t;
}

// One element of each element-wise operator; unary ones ignore `y`.
const std::map<K, Fn> kElementwise = {
    {K::Add, [](double x, double y) { return x + y; }},
    {K::Mul, [](double x, double y) { return x * y; }},
    {K::Greater, [](double x, double y) { return double(x > y); }},
    {K::GreaterEqual, [](double x, double y) { return double(x >= y); }},
    {K::Relu, [](double x, double) { return std::max(x, 0.0); }},
    {K::ReluN1To1, [](double x, double) { return std::clamp(x, -1.0, 1.0); }},
    {K::Relu6, [](double x, double) { return std::clamp(x, 0.0, 6.0); }},
    {K::Logistic, [](double x, double) { return 1.0 / (1.0 + std::exp(-x)); }},
    {K::HardSwish, [](double x, double) { return x * std::clamp(x + 3.0, 0.0, 6.0) / 6.0; }},
};
// A fused activation is the operator of the same name.
const std::map<Activation, K> kFused = {{Activation::Relu, K::Relu},
                                        {Activation::ReluN1To1, K::ReluN1To1},
                                        {Activation::Relu6, K::Relu6}};

// Shapes aligned at the right; a dimension of 1 repeats its one cell. A unary operator is one
// with the scalar zero.
Ref broadcast(const Ref& a, const Ref& b, const Fn& fn) {
    const size_t rank = std::max(a.shape.size(), b.shape.size());
    Shape sa = a.shape, sb = b.shape, shape(rank);
    sa.insert(sa.begin(), rank - sa.size(), 1);
    sb.insert(sb.begin(), rank - sb.size(), 1);
    for (size_t d = 0; d < rank; ++d)
        shape[d] = std::max(sa[d], sb[d]);
    Ref out = filled(shape);
    for (size_t i = 0; i < out.values.size(); ++i) {
        const Shape p = coords(shape, i);
        size_t ia = 0, ib = 0;
        for (size_t d = 0; d < rank; ++d)
            ia = ia * sa[d] + p[d] % sa[d], ib = ib * sb[d] + p[d] % sb[d];
        out.values[i] = fn(a.values[ia], b.values[ib]);
    }
    return out;
}

// Windows of kh x kw taps: tap (ky, kx) of position (y, x) of the side walked lands on
// (y, x) * stride + (ky, kx) * dilation - padding of the other side, SAME padding putting the
// smaller half of the overshoot in front; taps off the other side contribute nothing. A
// convolution walks its output and gathers input cells (filters [O, KH, KW, I] where I divides the
// input channels into groups; depthwise ones [1, KH, KW, C * multiplier], groups of one channel);
// a transposed one walks its input and scatters it; an average pool divides by the taps inside.
Ref window(Ref in, Ref filter, const Ref& bias, const Shape& shape, const O& o, K kind) {
    const bool pool = kind == K::AveragePool2d, transposed = kind == K::Convolution2DTransposeBias;
    const bool depthwise = pool || kind == K::DepthwiseConv2d;
    if (pool)
        filter = filled({1, o.filterH, o.filterW, shape[3]}, {{}, {1.0}});
    const Shape& from = transposed ? in.shape : shape;
    const Shape& to = transposed ? shape : in.shape;
    const int kh = filter.shape[1], kw = filter.shape[2];
    auto pad = [&](int d, int kernel, int stride, int dilation) {
        const int overshoot = (from[d] - 1) * stride + (kernel - 1) * dilation + 1 - to[d];
        return o.padding == Padding::Same ? std::max(overshoot, 0) / 2 : 0;
    };
    const int padY = pad(1, kh, o.strideH, o.dilationH), padX = pad(2, kw, o.strideW, o.dilationW);
    const int groupIn = depthwise ? 1 : filter.shape[3];
    const int groupOut = shape[3] / (in.shape[3] / groupIn);
    Ref out = filled(shape, bias), taps = filled(shape);
    const Shape loops{from[0], from[1], from[2], kh, kw};
    for (size_t i = 0; i < countOf(loops); ++i) {
        const Shape p = coords(loops, i);
        int y = p[1], x = p[2];
        int ty = y * o.strideH + p[3] * o.dilationH - padY,
            tx = x * o.strideW + p[4] * o.dilationW - padX;
        if (ty < 0 || ty >= to[1] || tx < 0 || tx >= to[2])
            continue;
        if (transposed)
            std::swap(y, ty), std::swap(x, tx);
        for (int oc = 0; oc < shape[3]; ++oc)
            for (int ic = 0; ic < groupIn; ++ic, ++taps.at(p[0], y, x, oc))
                out.at(p[0], y, x, oc) +=
                    in.at(p[0], ty, tx, oc / groupOut * groupIn + ic) *
                    (depthwise ? filter.at(0, p[3], p[4], oc) : filter.at(oc, p[3], p[4], ic));
    }
    return pool ? broadcast(out, taps, std::divides<>()) : out;
}

// TFLite's RESIZE_BILINEAR: the source position of each output row and column, clamped into the
// input, blends its neighbours below and to the right.
Ref resizeBilinear(Ref in, const Shape& shape, const O& o) {
    Ref out = filled(shape);
    for (size_t i = 0; i < out.values.size(); ++i) {
        const Shape p = coords(shape, i);
        auto source = [&](int d) {
            const double scale = o.alignCorners && shape[d] > 1
                                     ? (in.shape[d] - 1.0) / (shape[d] - 1)
                                     : double(in.shape[d]) / shape[d];
            return std::clamp(o.halfPixelCenters ? (p[d] + 0.5) * scale - 0.5 : p[d] * scale, 0.0,
                              in.shape[d] - 1.0);
        };
        const double y = source(1), x = source(2), fy = y - int(y), fx = x - int(x);
        for (int dy : {0, 1})
            for (int dx : {0, 1})
                out.values[i] += in.at(p[0], std::min(int(y) + dy, in.shape[1] - 1),
                                       std::min(int(x) + dx, in.shape[2] - 1), p[3]) *
                                 (dy ? fy : 1 - fy) * (dx ? fx : 1 - fx);
    }
    return out;
}

Ref argMax(const Ref& in, int axis, const Shape& shape) {
    axis += axis < 0 ? static_cast<int>(in.shape.size()) : 0;
    const size_t inner = countOf(Shape(in.shape.begin() + axis + 1, in.shape.end()));
    Ref out = filled(shape);
    for (size_t i = 0; i < out.values.size(); ++i)
        for (int k = 1; k < in.shape[axis]; ++k) {
            const size_t first = i / inner * in.shape[axis] * inner + i % inner;
            if (in.values[first + k * inner] >
                in.values[first + static_cast<size_t>(out.values[i]) * inner])
                out.values[i] = k;
        }
    return out;
}

// A model and what it holds, for the reference: graph inputs, seeded weights, operators whose
// results are named after them, and the tensors picked as graph outputs.
struct Net {
    hostengine::ModelBuilder b;
    hostengine::Graph g;

    int t(const Shape& shape) { return b.addTensor("t", E::Float32, shape); }
    int in(const Shape& shape, E type = E::Float32, const hostengine::Quantization& q = {}) {
        g.inputs.push_back(b.addTensor("x" + std::to_string(b.tensorCount()), type, shape, q));
        return g.inputs.back();
    }
    // Weights k / 256 for k within [-range, range], exact in float16 as in float32 and made with
    // integer arithmetic only, so that the file's bytes are the same on every machine; when
    // `half`, float16 ones behind a DEQUANTIZE, as converters compress them.
    int w(const Shape& shape, int range = 256, bool half = false) {
        std::mt19937 random(static_cast<uint32_t>(b.tensorCount()));
        std::vector<float> v(countOf(shape));
        for (float& x : v)
            x = std::uniform_int_distribution<>(-range, range)(random) / 256.0f;
        return half ? op(K::Dequantize, {b.addFloat16Constant("w", shape, v)}, shape)
                    : b.addFloatConstant("w", shape, v);
    }
    int op(K kind, const std::vector<int>& inputs, const Shape& out, const O& options = {},
           E type = E::Float32) {
        const int y =
            b.addTensor(hostengine::opKindName(kind) + std::to_string(b.tensorCount()), type, out);
        b.addOperator(kind, inputs, {y}, options);
        g.operators.push_back({kind, inputs, {y}, options});
        return y;
    }
    int out(int tensor) { return g.outputs.push_back(tensor), tensor; }
    std::vector<uint8_t> finish() {
        b.setInputs(g.inputs);
        b.setOutputs(g.outputs);
        return b.finish();
    }

    // The reference values of every tensor, from those of the graph inputs in `values`.
    void reference(std::map<int, Ref>& values) const {
        for (int i = 0; i < static_cast<int>(b.tensorCount()); ++i) {
            hostengine::GraphTensor t = b.tensor(i);
            if (t.isConstant)
                values[i] = transfer(t.type, {t.shape, {}}, t.data);
        }
        for (const hostengine::GraphOperator& op : g.operators) {
            auto in = [&](size_t k) {
                return k < op.inputs.size() && op.inputs[k] >= 0 ? values.at(op.inputs[k]) : Ref();
            };
            const hostengine::GraphTensor& out = b.tensor(op.outputs[0]);
            const hostengine::Quantization& q = b.tensor(op.inputs[0]).quantization;
            const O& o = op.options;
            const K k = op.kind;
            Ref r;
            if (k == K::Conv2d || k == K::DepthwiseConv2d || k == K::Convolution2DTransposeBias ||
                k == K::AveragePool2d)
                r = window(in(0), in(1), in(2), out.shape, o, k);
            else if (k == K::ResizeBilinear)
                r = resizeBilinear(in(0), out.shape, o);
            else if (k == K::Reshape)
                r = {out.shape, in(0).values};
            // CAST: nonzero-ness into BOOL, truncation into the other types.
            else if (k == K::Dequantize || k == K::Cast)
                r = broadcast(in(0), {}, [&](double v, double) {
                    return k == K::Dequantize    ? (q.present ? (v - q.zeroPoint) * q.scale : v)
                           : out.type == E::Bool ? v != 0.0
                                                 : std::trunc(v);
                });
            else if (k == K::ArgMax)
                r = argMax(in(0), static_cast<int>(in(1).values[0]), out.shape);
            else
                r = broadcast(in(0), in(1), kElementwise.at(k));
            values[op.outputs[0]] = kFused.count(o.activation)
                                        ? broadcast(r, {}, kElementwise.at(kFused.at(o.activation)))
                                        : r;
        }
    }
};

std::vector<uint8_t> model(const std::function<void(Net&)>& build) {
    Net n;
    return build(n), n.finish();
}

// Vendor APIs hand over model bytes with no alignment promise: the engine reads them unaligned.
std::unique_ptr<hostengine::Engine> engineFrom(
    const std::vector<uint8_t>& model, int threads, std::string* error,
    hostengine::KernelForm widest = hostengine::KernelForm::Avx512) {
    const std::string shifted = '\0' + std::string(model.begin(), model.end());
    return hostengine::Engine::fromBytes(shifted.data() + 1, model.size(), {threads, false, widest},
                                         error);
}

// Runs `engine` on random inputs (floats within [-8, 8], uint8 0..255, other integers -7..7, as
// stored: the reference reads back what it stored) and expects the outputs of `n`'s types and
// shapes, each value within 1e-5 + 1e-4 * |expected| of the reference: integers and booleans
// exactly. `*outputs` receives the output bytes.
void expectMatchesReference(hostengine::Engine& engine, const Net& n, uint32_t seed,
                            std::vector<std::vector<uint8_t>>* outputs) {
    std::mt19937 random(seed);
    std::map<int, Ref> values;
    std::string error;
    for (size_t i = 0; i < n.g.inputs.size(); ++i) {
        const hostengine::GraphTensor& t = n.b.tensor(n.g.inputs[i]);
        const bool u8 = t.type == E::Uint8;
        Ref input = filled(t.shape);
        for (double& v : input.values)
            v = std::uniform_real_distribution<>(u8 ? 0 : -8, u8 ? 256 : 8)(random);
        std::vector<uint8_t> bytes;
        values[n.g.inputs[i]] = transfer(t.type, input, bytes);
        ASSERT_TRUE(engine.setInput(i, bytes.data(), bytes.size(), &error)) << error;
    }
    ASSERT_TRUE(engine.invoke(&error)) << error;
    n.reference(values);
    ASSERT_EQ(engine.outputCount(), n.g.outputs.size());
    for (size_t i = 0; i < n.g.outputs.size(); ++i) {
        const Ref& expected = values.at(n.g.outputs[i]);
        const hostengine::TensorInfo& info = engine.output(i);
        ASSERT_EQ(info.type, n.b.tensor(n.g.outputs[i]).type) << info.name;
        ASSERT_EQ(info.shape, expected.shape) << info.name;
        std::vector<uint8_t> bytes(info.byteSize);
        ASSERT_TRUE(engine.getOutput(i, bytes.data(), bytes.size(), &error)) << error;
        const Ref actual = transfer(info.type, {info.shape, {}}, bytes);
        ASSERT_EQ(actual.values.size(), expected.values.size()) << info.name;
        for (size_t k = 0; k < actual.values.size(); ++k)
            ASSERT_NEAR(actual.values[k], expected.values[k],
                        1e-5 + 1e-4 * std::fabs(expected.values[k]))
                << info.name << " element " << k;
        outputs->push_back(bytes);
    }
}

// The operator families of the prepared model and the engine's own kernels (CAST, ARG_MAX and the
// comparisons), each on its own inputs, and MediaPipe's selfie segmentation in small, all in one
// model: any thread count, read from bytes or from a file, invoked again with fresh inputs.
// Options are in OpOptions' field order: padding, strideW, strideH, filterW, filterH, dilationW,
// dilationH, depthMultiplier, activation, axis, alignCorners, halfPixelCenters; widths and heights
// differ so that swapping them shows.
TEST(Engine, EveryOperatorFamilyAndASegmentationNetMatchTheReference) {
    const Padding same = Padding::Same;
    const O halfPixel{same, 1, 1, 1, 1, 1, 1, 1, Activation::None, 0, false, true};
    Net n;
    auto row = [&n](K kind, const std::vector<int>& inputs, const Shape& out, const O& o = {},
                    E type = E::Float32) { n.out(n.op(kind, inputs, out, o, type)); };
    auto ints = [&n](const Shape& shape, const std::vector<int32_t>& values) {
        return n.b.addInt32Constant("c", shape, values);
    };
    // Grouped: two groups of two input channels.
    row(K::Conv2d, {n.in({1, 7, 9, 4}), n.w({6, 3, 3, 2}), -1}, {1, 7, 5, 6},
        O{same, 2, 1, 1, 1, 3, 2, 1, Activation::ReluN1To1});
    row(K::DepthwiseConv2d, {n.in({1, 6, 7, 3}), n.w({1, 3, 3, 6}), n.w({6})}, {1, 4, 3, 6},
        O{Padding::Valid, 2, 1, 1, 1, 1, 1, 2, Activation::Relu6});
    row(K::Convolution2DTransposeBias, {n.in({1, 3, 4, 2}), n.w({3, 4, 4, 2}), n.w({3})},
        {1, 6, 8, 3}, O{same, 2, 2});
    row(K::Add, {n.in({1, 4, 5, 3}), n.in({1, 1, 1, 3})}, {1, 4, 5, 3},
        O{same, 1, 1, 1, 1, 1, 1, 1, Activation::Relu});
    row(K::Mul, {n.in({1, 4, 5, 3}), n.w({3})}, {1, 4, 5, 3});
    row(K::HardSwish, {n.in({1, 5, 7, 6})}, {1, 5, 7, 6});
    row(K::Logistic, {n.in({1, 5, 7, 6})}, {1, 5, 7, 6});
    row(K::Relu, {n.in({3, 17})}, {3, 17});
    row(K::AveragePool2d, {n.in({1, 7, 8, 3})}, {1, 4, 4, 3}, O{same, 2, 2, 3, 2});
    row(K::ResizeBilinear, {n.in({1, 4, 5, 3}), ints({2}, {9, 7})}, {1, 9, 7, 3}, halfPixel);
    row(K::ResizeBilinear, {n.in({2, 3, 4, 2}), ints({2}, {7, 9})}, {2, 7, 9, 2},
        O{same, 1, 1, 1, 1, 1, 1, 1, Activation::None, 0, true});
    // One-channel maps take the planar resize: aligned corners over a batch, and legacy sampling.
    row(K::ResizeBilinear, {n.in({2, 5, 4, 1}), ints({2}, {9, 11})}, {2, 9, 11, 1},
        O{same, 1, 1, 1, 1, 1, 1, 1, Activation::None, 0, true});
    row(K::ResizeBilinear, {n.in({1, 6, 7, 1}), ints({2}, {4, 10})}, {1, 4, 10, 1});
    // 8-bit three-channel frames dequantized and resized run as one kernel, in bands of rows.
    // The upscale's rows are wide enough for every vector form's resampling; the downscale's
    // inputs lie too far apart for it.
    const Shape frameUp{2, 40, 19, 3}, frameDown{1, 4, 3, 3};
    row(K::ResizeBilinear,
        {n.op(K::Dequantize, {n.in({2, 9, 12, 3}, E::Uint8, {true, false, 0.02f, 7})},
              {2, 9, 12, 3}),
         ints({2}, {40, 19})},
        frameUp, halfPixel);
    row(K::ResizeBilinear,
        {n.op(K::Dequantize, {n.in({1, 6, 12, 3}, E::Int8, {true, false, 0.1f, -4})},
              {1, 6, 12, 3}),
         ints({2}, {4, 3})},
        frameDown, O{same, 1, 1, 1, 1, 1, 1, 1, Activation::None, 0, true});
    row(K::Reshape, {n.in({1, 4, 6, 2}), ints({2}, {1, 48})}, {1, 48});
    row(K::Dequantize, {n.in({2, 9}, E::Int8, {true, false, 0.05f, -3})}, {2, 9});
    row(K::Cast, {n.in({5, 7})}, {5, 7}, {}, E::Int32);
    row(K::Cast, {n.in({30}, E::Int32)}, {30}, {}, E::Bool);
    row(K::ArgMax, {n.in({2, 7, 3, 2}), ints({}, {-3})}, {2, 3, 2}, {}, E::Int64);
    row(K::Greater, {n.in({1, 4, 5, 3}), n.in({3})}, {1, 4, 5, 3}, {}, E::Bool);
    row(K::GreaterEqual, {n.in({6, 1}, E::Int32), n.in({1, 6, 5}, E::Int32)}, {1, 6, 5}, {},
        E::Bool);

    // The network, between the engine's own kernels at both edges: a uint8 image through CAST, a
    // stem, a strided block, an upsampling decoder with a skip connection and a
    // transposed-convolution head, each layer with float16 weights and a small float32 bias;
    // probabilities, GREATER + CAST labels (one pass) and GREATER_EQUAL truth values come out. No
    // probability of the inputs lies within 3e-3 of 0.5, far beyond rounding on any architecture,
    // so the labels compare exactly.
    const Shape s1{1, 32, 24, 3}, s2{1, 16, 12, 8}, mask{1, 32, 24, 1};
    const int image = n.op(K::Cast, {n.in(s1, E::Uint8)}, s1);
    const int scaled = n.op(K::Mul, {image, n.b.addFloatConstant("scale", {1}, {1.0f / 255})}, s1);
    const int conv =
        n.op(K::Conv2d, {scaled, n.w({8, 3, 3, 3}, 256, true), n.w({8}, 32)}, s2, O{same, 2, 2});
    const int stem = n.op(K::HardSwish, {conv}, s2);
    const int dw = n.op(K::DepthwiseConv2d, {stem, n.w({1, 3, 3, 8}, 256, true), n.w({8}, 32)},
                        {1, 8, 6, 8}, O{same, 2, 2, 1, 1, 1, 1, 1, Activation::Relu});
    const int up = n.op(K::ResizeBilinear, {dw, ints({2}, {16, 12})}, s2, halfPixel);
    const int sum = n.op(K::Add, {up, stem}, s2);
    const int logits = n.op(K::Convolution2DTransposeBias,
                            {sum, n.w({1, 2, 2, 8}, 256, true), n.w({1}, 32)}, mask, O{same, 2, 2});
    const int probability = n.out(n.op(K::Logistic, {logits}, mask));
    const int half = n.b.addFloatConstant("half", {}, {0.5f});
    row(K::Cast, {n.op(K::Greater, {probability, half}, mask, {}, E::Bool)}, mask, {}, E::Int32);
    row(K::GreaterEqual, {probability, half}, mask, {}, E::Bool);
    // Resized one-channel maps thresholded into labels run as one kernel, in bands of rows.
    const O alignCorners{same, 1, 1, 1, 1, 1, 1, 1, Activation::None, 0, true};
    // The wide map doubles small integers, so its values are exact multiples of 0.25 and some
    // are exactly the threshold.
    const Shape tall{2, 40, 9, 1}, wide{1, 7, 73, 1};
    const int tallMap =
        n.op(K::ResizeBilinear, {n.in({2, 5, 6, 1}), ints({2}, {40, 9})}, tall, halfPixel);
    row(K::Cast, {n.op(K::Greater, {tallMap, half}, tall, {}, E::Bool)}, tall, {}, E::Int32);
    const int wideMap =
        n.op(K::ResizeBilinear,
             {n.op(K::Cast, {n.in({1, 4, 37, 1}, E::Int32)}, {1, 4, 37, 1}), ints({2}, {7, 73})},
             wide, alignCorners);
    row(K::Cast, {n.op(K::GreaterEqual, {wideMap, half}, wide, {}, E::Bool)}, wide, {}, E::Uint8);

    n.b.setDescription("every operator family and a segmentation net");
    const std::vector<uint8_t> bytes = n.finish();
    const std::string path = testsupport::writeTempFile("net.tflite", bytes);
    // Every kernel form the processor has gives the portable form's bytes.
    using hostengine::KernelForm;
    for (int threads : {2, 1, 0}) {
        std::map<uint32_t, std::vector<std::vector<uint8_t>>> portable;
        for (KernelForm form : {KernelForm::Portable, KernelForm::Avx2, KernelForm::Avx512}) {
            SCOPED_TRACE("threads " + std::to_string(threads) + ", form " +
                         std::to_string(static_cast<int>(form)));
            std::string error;
            auto engine = threads ? engineFrom(bytes, threads, &error, form)
                                  : hostengine::Engine::fromFile(path, {0, false, form}, &error);
            ASSERT_NE(engine, nullptr) << error;
            for (uint32_t seed : {3, 4}) {
                std::vector<std::vector<uint8_t>> outputs;
                expectMatchesReference(*engine, n, seed, &outputs);
                if (form == KernelForm::Portable)
                    portable[seed] = outputs;
                else
                    EXPECT_TRUE(outputs == portable[seed]) << "seed " << seed;
            }
        }
    }
    // Compilers evaluate function arguments in a different order on x86 and ARM; the writer must
    // not leave the order of the objects it writes to that. The model has every kind of object the
    // writer nests: shapes and names, float32, float16 and int32 constants, quantization, builtin
    // options, a custom operator with options, many operator codes, a description.
    EXPECT_EQ(portability::digestOf(bytes), "0x8d222ae00288a731")
        << "the model file differs from the recorded one";
}

// Bad models: the refusals name what is wrong, and nothing crashes the reader.
TEST(Engine, BadModelsAreRefusedWithTheReason) {
    std::string error;
    const std::pair<std::vector<uint8_t>, std::string> models[] = {
        {{}, "model is empty"},
        {std::vector<uint8_t>(4096, 0x5a),
         "model verification failed: not a valid TFLite flatbuffer"},
        // TANH: an operator neither XNNPACK here nor the engine runs.
        {model([](Net& n) { n.b.addBuiltinOperator(28, {n.in({4})}, {n.out(n.t({4}))}); }),
         "unsupported operator TANH (operator 0)"},
        {model([](Net& n) {
             n.b.addCustomOperator("MaxPoolingWithArgmax2D", {n.in({4})}, {n.out(n.t({4}))});
         }),
         "unsupported operator custom 'MaxPoolingWithArgmax2D' (operator 0)"},
        {model([](Net& n) {
             n.out(n.op(K::Add, {n.in({4}), n.b.addTensor("orphan", E::Float32, {4})}, {4}));
         }),
         "ADD (operator 0) reads tensor 1 'orphan' before anything writes it"},
        {model([](Net& n) { n.out(n.op(K::Relu, {n.in({4}, E::Int32)}, {4}, {}, E::Int32)); }),
         "RELU (operator 0) input 0 has type INT32, only FLOAT32 is supported"},
        {model([](Net& n) {
             n.out(n.op(K::Conv2d, {n.in({1, 8, 8, 3}), n.w({4, 3, 3, 3}), -1}, {1, 8, 8, 4},
                        O{Padding::Same, 2, 2}));
         }),
         "CONV_2D (operator 0) declares output shape [1,8,8,4] but computes [1,4,4,4]"},
        // 1048576 output pixels x 961 taps x 8 bytes: 7.5 GiB of XNNPACK indirection table.
        {model([](Net& n) {
             n.out(n.op(K::Conv2d, {n.in({1, 1024, 1024, 1}), n.w({1, 31, 31, 1}), -1},
                        {1, 1024, 1024, 1}));
         }),
         "CONV_2D (operator 0) takes the model's window working memory beyond 256 MiB"},
    };
    for (const auto& [bytes, message] : models) {
        SCOPED_TRACE(message);
        EXPECT_EQ(engineFrom(bytes, 0, &error), nullptr);
        EXPECT_EQ(error, message);
    }
    // Each input the fuzzer kept, and every seventh prefix of a well-formed model, must end as a
    // clean refusal or a working engine, never a crash (the sanitizer build also catches misaligned
    // loads: engineFrom hands the bytes over unaligned).
    std::map<std::string, std::vector<uint8_t>> inputs;
    const std::string dir = testsupport::sourceDir() + "/fuzz/regressions/model_reader";
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        inputs[entry.path()] = testsupport::readFileBytes(entry.path());
    ASSERT_GT(inputs.size(), 0u);
    const std::vector<uint8_t>& valid = models[2].first;
    for (size_t length = 1; length < valid.size(); length += 7)
        inputs["prefix " + std::to_string(length)] = {valid.begin(), valid.begin() + length};
    for (const auto& [name, bytes] : inputs) {
        error.clear();
        auto engine = engineFrom(bytes, 1, &error);
        EXPECT_TRUE(engine ? engine->invoke(&error) : !error.empty()) << name << ": " << error;
    }
}

}  // namespace
}  // namespace enginetest
