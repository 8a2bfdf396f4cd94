#include "ReferenceOps.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace enginetest {

using hostengine::Activation;
using hostengine::ElementType;
using hostengine::OpKind;
using hostengine::OpOptions;
using hostengine::Padding;

size_t RefTensor::count() const {
    size_t n = 1;
    for (int32_t d : shape) {
        n *= static_cast<size_t>(d);
    }
    return n;
}

size_t RefTensor::at(int n, int y, int x, int c) const {
    return ((static_cast<size_t>(n) * shape[1] + y) * shape[2] + x) * shape[3] + c;
}

RefTensor makeTensor(const std::vector<int32_t>& shape) {
    RefTensor t;
    t.shape = shape;
    t.values.assign(t.count(), 0.0);
    return t;
}

double applyActivation(double value, Activation activation) {
    switch (activation) {
        case Activation::Relu:
            return std::max(value, 0.0);
        case Activation::ReluN1To1:
            return std::min(std::max(value, -1.0), 1.0);
        case Activation::Relu6:
            return std::min(std::max(value, 0.0), 6.0);
        case Activation::None:
            break;
    }
    return value;
}

namespace {

// One axis of a window sliding over `from` positions: position p with kernel tap k lands on
// p * stride + k * dilation - padBefore of the `to` positions on the other side.
struct Axis {
    int from;
    int to;
    int kernel;
    int stride;
    int dilation;
    int padBefore;
};

// Output positions reading input ones, with the output size and leading padding TFLite computes.
Axis gather(int in, int kernel, int stride, int dilation, Padding padding) {
    const int effective = (kernel - 1) * dilation + 1;
    if (padding == Padding::Valid) {
        return {(in - effective) / stride + 1, in, kernel, stride, dilation, 0};
    }
    const int out = (in + stride - 1) / stride;
    const int total = std::max((out - 1) * stride + effective - in, 0);
    return {out, in, kernel, stride, dilation, total / 2};
}

// Calls tap(n, y, x, ty, tx, ky, kx) for every batch entry n, every position (y, x) and every
// kernel tap (ky, kx) that lands on (ty, tx) inside the other side: padding contributes nothing.
template <typename Tap>
void forEachTap(int batch, const Axis& ay, const Axis& ax, Tap tap) {
    for (int n = 0; n < batch; ++n) {
        for (int y = 0; y < ay.from; ++y) {
            for (int x = 0; x < ax.from; ++x) {
                for (int ky = 0; ky < ay.kernel; ++ky) {
                    for (int kx = 0; kx < ax.kernel; ++kx) {
                        const int ty = y * ay.stride + ky * ay.dilation - ay.padBefore;
                        const int tx = x * ax.stride + kx * ax.dilation - ax.padBefore;
                        if (ty >= 0 && ty < ay.to && tx >= 0 && tx < ax.to) {
                            tap(n, y, x, ty, tx, ky, kx);
                        }
                    }
                }
            }
        }
    }
}

// The bias of each output channel (when there is one) added to the sums, then the activation.
RefTensor biased(RefTensor sums, const RefTensor& bias, Activation activation) {
    const size_t channels = sums.shape.back();
    for (size_t i = 0; i < sums.values.size(); ++i) {
        const double b = bias.values.empty() ? 0.0 : bias.values[i % channels];
        sums.values[i] = applyActivation(sums.values[i] + b, activation);
    }
    return sums;
}

}  // namespace

RefTensor conv2d(const RefTensor& input, const RefTensor& filter, const RefTensor& bias,
                 const OpOptions& o) {
    const int outC = filter.shape[0];
    const int groupInC = filter.shape[3];
    const int groupOutC = outC / (input.shape[3] / groupInC);
    const Axis ay = gather(input.shape[1], filter.shape[1], o.strideH, o.dilationH, o.padding);
    const Axis ax = gather(input.shape[2], filter.shape[2], o.strideW, o.dilationW, o.padding);
    RefTensor out = makeTensor({input.shape[0], ay.from, ax.from, outC});
    forEachTap(input.shape[0], ay, ax, [&](int n, int y, int x, int iy, int ix, int ky, int kx) {
        for (int oc = 0; oc < outC; ++oc) {
            const int firstIn = oc / groupOutC * groupInC;
            for (int ic = 0; ic < groupInC; ++ic) {
                out.values[out.at(n, y, x, oc)] += input.values[input.at(n, iy, ix, firstIn + ic)] *
                                                   filter.values[filter.at(oc, ky, kx, ic)];
            }
        }
    });
    return biased(out, bias, o.activation);
}

RefTensor depthwiseConv2d(const RefTensor& input, const RefTensor& filter, const RefTensor& bias,
                          const OpOptions& o) {
    const int outC = filter.shape[3];
    const int multiplier = outC / input.shape[3];
    const Axis ay = gather(input.shape[1], filter.shape[1], o.strideH, o.dilationH, o.padding);
    const Axis ax = gather(input.shape[2], filter.shape[2], o.strideW, o.dilationW, o.padding);
    RefTensor out = makeTensor({input.shape[0], ay.from, ax.from, outC});
    forEachTap(input.shape[0], ay, ax, [&](int n, int y, int x, int iy, int ix, int ky, int kx) {
        for (int oc = 0; oc < outC; ++oc) {
            out.values[out.at(n, y, x, oc)] += input.values[input.at(n, iy, ix, oc / multiplier)] *
                                               filter.values[filter.at(0, ky, kx, oc)];
        }
    });
    return biased(out, bias, o.activation);
}

RefTensor transposeConv2d(const RefTensor& input, const RefTensor& filter, const RefTensor& bias,
                          const std::vector<int32_t>& outShape, const OpOptions& o) {
    const int inH = input.shape[1];
    const int inW = input.shape[2];
    const int kH = filter.shape[1];
    const int kW = filter.shape[2];
    // Each input cell scatters its window into the output; the model's output drops in front half
    // of what the full scatter overshoots.
    const int padTop = std::max((inH - 1) * o.strideH + kH - outShape[1], 0) / 2;
    const int padLeft = std::max((inW - 1) * o.strideW + kW - outShape[2], 0) / 2;
    const Axis ay{inH, outShape[1], kH, o.strideH, 1, padTop};
    const Axis ax{inW, outShape[2], kW, o.strideW, 1, padLeft};
    RefTensor out = makeTensor(outShape);
    forEachTap(outShape[0], ay, ax, [&](int n, int iy, int ix, int y, int x, int ky, int kx) {
        for (int oc = 0; oc < filter.shape[0]; ++oc) {
            for (int ic = 0; ic < input.shape[3]; ++ic) {
                out.values[out.at(n, y, x, oc)] += input.values[input.at(n, iy, ix, ic)] *
                                                   filter.values[filter.at(oc, ky, kx, ic)];
            }
        }
    });
    return biased(out, bias, o.activation);
}

RefTensor pool2d(const RefTensor& input, bool average, const OpOptions& o) {
    const int channels = input.shape[3];
    const Axis ay = gather(input.shape[1], o.filterH, o.strideH, 1, o.padding);
    const Axis ax = gather(input.shape[2], o.filterW, o.strideW, 1, o.padding);
    RefTensor sums = makeTensor({input.shape[0], ay.from, ax.from, channels});
    RefTensor best = sums;
    best.values.assign(best.count(), -std::numeric_limits<double>::infinity());
    // Padding is excluded: averages divide by the cells inside the input.
    std::vector<int> cells(sums.count() / channels, 0);
    forEachTap(input.shape[0], ay, ax, [&](int n, int y, int x, int iy, int ix, int, int) {
        ++cells[sums.at(n, y, x, 0) / channels];
        for (int c = 0; c < channels; ++c) {
            const double v = input.values[input.at(n, iy, ix, c)];
            sums.values[sums.at(n, y, x, c)] += v;
            best.values[best.at(n, y, x, c)] = std::max(best.values[best.at(n, y, x, c)], v);
        }
    });
    for (size_t i = 0; i < sums.values.size(); ++i) {
        const double result = average ? sums.values[i] / cells[i / channels] : best.values[i];
        sums.values[i] = applyActivation(result, o.activation);
    }
    return sums;
}

RefTensor meanHeightWidth(const RefTensor& input, bool keepDims) {
    const int batch = input.shape[0];
    const int h = input.shape[1];
    const int w = input.shape[2];
    const int channels = input.shape[3];
    RefTensor out = makeTensor(keepDims ? std::vector<int32_t>{batch, 1, 1, channels}
                                        : std::vector<int32_t>{batch, channels});
    for (int n = 0; n < batch; ++n) {
        for (int c = 0; c < channels; ++c) {
            double sum = 0.0;
            for (int y = 0; y < h; ++y) {
                for (int x = 0; x < w; ++x) {
                    sum += input.values[input.at(n, y, x, c)];
                }
            }
            out.values[static_cast<size_t>(n) * channels + c] = sum / (h * w);
        }
    }
    return out;
}

namespace {

// Source coordinate of an output row or column, with the two neighbours and the weight of the
// second, as TFLite's RESIZE_BILINEAR samples.
struct Sample {
    int low;
    int high;
    double fraction;
};

Sample sample(int outIndex, int inSize, int outSize, const OpOptions& o) {
    const double scale = (o.alignCorners && outSize > 1)
                             ? static_cast<double>(inSize - 1) / (outSize - 1)
                             : static_cast<double>(inSize) / outSize;
    const double position = o.halfPixelCenters ? (outIndex + 0.5) * scale - 0.5 : outIndex * scale;
    const double clamped = std::max(position, 0.0);
    const int low = std::min(static_cast<int>(std::floor(clamped)), inSize - 1);
    const int high = std::min(low + 1, inSize - 1);
    return {low, high, clamped - low};
}

}  // namespace

RefTensor resizeBilinear(const RefTensor& input, int height, int width, const OpOptions& o) {
    const int batch = input.shape[0];
    const int channels = input.shape[3];
    RefTensor out = makeTensor({batch, height, width, channels});
    for (int n = 0; n < batch; ++n) {
        for (int oy = 0; oy < height; ++oy) {
            const Sample sy = sample(oy, input.shape[1], height, o);
            for (int ox = 0; ox < width; ++ox) {
                const Sample sx = sample(ox, input.shape[2], width, o);
                for (int c = 0; c < channels; ++c) {
                    const double topLeft = input.values[input.at(n, sy.low, sx.low, c)];
                    const double topRight = input.values[input.at(n, sy.low, sx.high, c)];
                    const double bottomLeft = input.values[input.at(n, sy.high, sx.low, c)];
                    const double bottomRight = input.values[input.at(n, sy.high, sx.high, c)];
                    const double top = topLeft + (topRight - topLeft) * sx.fraction;
                    const double bottom = bottomLeft + (bottomRight - bottomLeft) * sx.fraction;
                    out.values[out.at(n, oy, ox, c)] = top + (bottom - top) * sy.fraction;
                }
            }
        }
    }
    return out;
}

namespace {

// Flat index into `t` of the broadcast position `index` in an output of shape `outShape`.
size_t broadcastIndex(const RefTensor& t, const std::vector<int32_t>& outShape, size_t index) {
    std::vector<size_t> position(outShape.size());
    for (size_t d = outShape.size(); d-- > 0;) {
        position[d] = index % outShape[d];
        index /= outShape[d];
    }
    size_t flat = 0;
    const size_t offset = outShape.size() - t.shape.size();
    for (size_t d = 0; d < t.shape.size(); ++d) {
        const size_t p = t.shape[d] == 1 ? 0 : position[d + offset];
        flat = flat * t.shape[d] + p;
    }
    return flat;
}

}  // namespace

namespace {

// One element of an element-wise operator (unary ones ignore `y`). Any other kind has no such
// value: NaN fails every comparison made with it.
double elementwise(OpKind op, double x, double y) {
    switch (op) {
        case OpKind::Add:
            return x + y;
        case OpKind::Mul:
            return x * y;
        case OpKind::Sub:
            return x - y;
        case OpKind::Greater:
            return x > y ? 1.0 : 0.0;
        case OpKind::GreaterEqual:
            return x >= y ? 1.0 : 0.0;
        case OpKind::Relu:
            return applyActivation(x, Activation::Relu);
        case OpKind::ReluN1To1:
            return applyActivation(x, Activation::ReluN1To1);
        case OpKind::Relu6:
            return applyActivation(x, Activation::Relu6);
        case OpKind::Logistic:
            return 1.0 / (1.0 + std::exp(-x));
        case OpKind::HardSwish:
            return x * std::min(std::max(x + 3.0, 0.0), 6.0) / 6.0;
        default:
            return std::numeric_limits<double>::quiet_NaN();
    }
}

}  // namespace

RefTensor binary(const RefTensor& a, const RefTensor& b, OpKind op, Activation activation) {
    const size_t rank = std::max(a.shape.size(), b.shape.size());
    std::vector<int32_t> shape(rank, 1);
    for (size_t i = 0; i < rank; ++i) {
        const int32_t da = i + a.shape.size() < rank ? 1 : a.shape[i + a.shape.size() - rank];
        const int32_t db = i + b.shape.size() < rank ? 1 : b.shape[i + b.shape.size() - rank];
        shape[i] = std::max(da, db);
    }
    RefTensor out = makeTensor(shape);
    for (size_t i = 0; i < out.values.size(); ++i) {
        const double x = a.values[broadcastIndex(a, shape, i)];
        const double y = b.values[broadcastIndex(b, shape, i)];
        out.values[i] = applyActivation(elementwise(op, x, y), activation);
    }
    return out;
}

RefTensor unary(const RefTensor& input, OpKind op) {
    RefTensor out = input;
    for (double& v : out.values) {
        v = elementwise(op, v, 0.0);
    }
    return out;
}

RefTensor concatenate(const std::vector<RefTensor>& inputs, int axis, Activation activation) {
    std::vector<int32_t> shape = inputs[0].shape;
    const int rank = static_cast<int>(shape.size());
    axis = axis < 0 ? axis + rank : axis;
    shape[axis] = 0;
    for (const RefTensor& t : inputs) {
        shape[axis] += t.shape[axis];
    }
    // Rows before the axis stay rows; each input contributes its slab to every row in turn.
    size_t outer = 1;
    for (int d = 0; d < axis; ++d) {
        outer *= shape[d];
    }
    RefTensor out;
    out.shape = shape;
    for (size_t row = 0; row < outer; ++row) {
        for (const RefTensor& t : inputs) {
            const size_t slab = t.count() / outer;
            for (size_t i = 0; i < slab; ++i) {
                out.values.push_back(applyActivation(t.values[row * slab + i], activation));
            }
        }
    }
    return out;
}

RefTensor pad(const RefTensor& input, const std::vector<int64_t>& paddings) {
    const size_t rank = input.shape.size();
    std::vector<int32_t> shape(rank);
    for (size_t d = 0; d < rank; ++d) {
        shape[d] = input.shape[d] + static_cast<int32_t>(paddings[2 * d] + paddings[2 * d + 1]);
    }
    RefTensor out = makeTensor(shape);
    for (size_t i = 0; i < input.values.size(); ++i) {
        size_t rest = i;
        size_t flat = 0;
        size_t scale = 1;
        for (size_t d = rank; d-- > 0;) {
            const size_t p = rest % input.shape[d];
            rest /= input.shape[d];
            flat += (p + static_cast<size_t>(paddings[2 * d])) * scale;
            scale *= shape[d];
        }
        out.values[flat] = input.values[i];
    }
    return out;
}

RefTensor argMax(const RefTensor& input, int axis) {
    const int rank = static_cast<int>(input.shape.size());
    axis = axis < 0 ? axis + rank : axis;
    std::vector<int32_t> shape = input.shape;
    shape.erase(shape.begin() + axis);
    size_t inner = 1;
    for (int d = axis + 1; d < rank; ++d) {
        inner *= input.shape[d];
    }
    const size_t extent = input.shape[axis];
    RefTensor out = makeTensor(shape);
    for (size_t i = 0; i < out.values.size(); ++i) {
        const size_t o = i / inner;
        const size_t in = i % inner;
        size_t best = 0;
        for (size_t k = 1; k < extent; ++k) {
            if (input.values[(o * extent + k) * inner + in] >
                input.values[(o * extent + best) * inner + in]) {
                best = k;
            }
        }
        out.values[i] = static_cast<double>(best);
    }
    return out;
}

RefTensor cast(const RefTensor& input, ElementType to) {
    RefTensor out = input;
    for (double& v : out.values) {
        if (to == ElementType::Bool) {
            v = v != 0.0 ? 1.0 : 0.0;
        } else if (to != ElementType::Float32) {
            v = std::trunc(v);
        } else {
            v = static_cast<float>(v);
        }
    }
    return out;
}

RefTensor dequantize(const RefTensor& input, float scale, int32_t zeroPoint) {
    RefTensor out = input;
    for (double& v : out.values) {
        v = (v - zeroPoint) * scale;
    }
    return out;
}

RefTensor quantize(const RefTensor& input, float scale, int32_t zeroPoint, ElementType to) {
    const double low = to == ElementType::Uint8 ? 0.0 : -128.0;
    const double high = to == ElementType::Uint8 ? 255.0 : 127.0;
    RefTensor out = input;
    for (double& v : out.values) {
        v = std::min(std::max(std::nearbyint(v / scale) + zeroPoint, low), high);
    }
    return out;
}

}  // namespace enginetest
