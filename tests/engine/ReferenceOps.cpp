#include "ReferenceOps.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace enginetest {

using hostengine::Activation;
using hostengine::ElementType;
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

// Output size and leading padding of a window along one axis, as TFLite computes them.
struct Window {
    int outSize;
    int padBefore;
};

Window window(int in, int kernel, int stride, int dilation, Padding padding) {
    const int effective = (kernel - 1) * dilation + 1;
    if (padding == Padding::Valid) {
        return {(in - effective) / stride + 1, 0};
    }
    const int out = (in + stride - 1) / stride;
    const int total = std::max((out - 1) * stride + effective - in, 0);
    return {out, total / 2};
}

}  // namespace

RefTensor conv2d(const RefTensor& input, const RefTensor& filter, const RefTensor& bias,
                 const OpOptions& o) {
    const int batch = input.shape[0];
    const int inH = input.shape[1];
    const int inW = input.shape[2];
    const int inC = input.shape[3];
    const int outC = filter.shape[0];
    const int kH = filter.shape[1];
    const int kW = filter.shape[2];
    const int groupInC = filter.shape[3];
    const int groups = inC / groupInC;
    const int groupOutC = outC / groups;
    const Window wy = window(inH, kH, o.strideH, o.dilationH, o.padding);
    const Window wx = window(inW, kW, o.strideW, o.dilationW, o.padding);
    RefTensor out = makeTensor({batch, wy.outSize, wx.outSize, outC});
    for (int n = 0; n < batch; ++n) {
        for (int oy = 0; oy < wy.outSize; ++oy) {
            for (int ox = 0; ox < wx.outSize; ++ox) {
                for (int oc = 0; oc < outC; ++oc) {
                    const int group = oc / groupOutC;
                    double sum = bias.values.empty() ? 0.0 : bias.values[oc];
                    for (int ky = 0; ky < kH; ++ky) {
                        for (int kx = 0; kx < kW; ++kx) {
                            const int iy = oy * o.strideH + ky * o.dilationH - wy.padBefore;
                            const int ix = ox * o.strideW + kx * o.dilationW - wx.padBefore;
                            if (iy < 0 || iy >= inH || ix < 0 || ix >= inW) {
                                continue;
                            }
                            for (int ic = 0; ic < groupInC; ++ic) {
                                sum += input.values[input.at(n, iy, ix, group * groupInC + ic)] *
                                       filter.values[filter.at(oc, ky, kx, ic)];
                            }
                        }
                    }
                    out.values[out.at(n, oy, ox, oc)] = applyActivation(sum, o.activation);
                }
            }
        }
    }
    return out;
}

RefTensor depthwiseConv2d(const RefTensor& input, const RefTensor& filter, const RefTensor& bias,
                          const OpOptions& o) {
    const int batch = input.shape[0];
    const int inH = input.shape[1];
    const int inW = input.shape[2];
    const int inC = input.shape[3];
    const int kH = filter.shape[1];
    const int kW = filter.shape[2];
    const int outC = filter.shape[3];
    const int multiplier = outC / inC;
    const Window wy = window(inH, kH, o.strideH, o.dilationH, o.padding);
    const Window wx = window(inW, kW, o.strideW, o.dilationW, o.padding);
    RefTensor out = makeTensor({batch, wy.outSize, wx.outSize, outC});
    for (int n = 0; n < batch; ++n) {
        for (int oy = 0; oy < wy.outSize; ++oy) {
            for (int ox = 0; ox < wx.outSize; ++ox) {
                for (int oc = 0; oc < outC; ++oc) {
                    double sum = bias.values.empty() ? 0.0 : bias.values[oc];
                    for (int ky = 0; ky < kH; ++ky) {
                        for (int kx = 0; kx < kW; ++kx) {
                            const int iy = oy * o.strideH + ky * o.dilationH - wy.padBefore;
                            const int ix = ox * o.strideW + kx * o.dilationW - wx.padBefore;
                            if (iy < 0 || iy >= inH || ix < 0 || ix >= inW) {
                                continue;
                            }
                            sum += input.values[input.at(n, iy, ix, oc / multiplier)] *
                                   filter.values[filter.at(0, ky, kx, oc)];
                        }
                    }
                    out.values[out.at(n, oy, ox, oc)] = applyActivation(sum, o.activation);
                }
            }
        }
    }
    return out;
}

RefTensor transposeConv2d(const RefTensor& input, const RefTensor& filter, const RefTensor& bias,
                          const std::vector<int32_t>& outShape, const OpOptions& o) {
    const int inH = input.shape[1];
    const int inW = input.shape[2];
    const int inC = input.shape[3];
    const int outC = filter.shape[0];
    const int kH = filter.shape[1];
    const int kW = filter.shape[2];
    // The rows the model's output drops in front: half of what the full scatter overshoots.
    const int padTop = std::max((inH - 1) * o.strideH + kH - outShape[1], 0) / 2;
    const int padLeft = std::max((inW - 1) * o.strideW + kW - outShape[2], 0) / 2;
    RefTensor out = makeTensor(outShape);
    for (int n = 0; n < outShape[0]; ++n) {
        for (int iy = 0; iy < inH; ++iy) {
            for (int ix = 0; ix < inW; ++ix) {
                for (int ky = 0; ky < kH; ++ky) {
                    for (int kx = 0; kx < kW; ++kx) {
                        const int oy = iy * o.strideH + ky - padTop;
                        const int ox = ix * o.strideW + kx - padLeft;
                        if (oy < 0 || oy >= outShape[1] || ox < 0 || ox >= outShape[2]) {
                            continue;
                        }
                        for (int oc = 0; oc < outC; ++oc) {
                            for (int ic = 0; ic < inC; ++ic) {
                                out.values[out.at(n, oy, ox, oc)] +=
                                    input.values[input.at(n, iy, ix, ic)] *
                                    filter.values[filter.at(oc, ky, kx, ic)];
                            }
                        }
                    }
                }
            }
        }
    }
    for (size_t i = 0; i < out.values.size(); ++i) {
        const double b = bias.values.empty() ? 0.0 : bias.values[i % outC];
        out.values[i] = applyActivation(out.values[i] + b, o.activation);
    }
    return out;
}

RefTensor pool2d(const RefTensor& input, bool average, const OpOptions& o) {
    const int batch = input.shape[0];
    const int inH = input.shape[1];
    const int inW = input.shape[2];
    const int channels = input.shape[3];
    const Window wy = window(inH, o.filterH, o.strideH, 1, o.padding);
    const Window wx = window(inW, o.filterW, o.strideW, 1, o.padding);
    RefTensor out = makeTensor({batch, wy.outSize, wx.outSize, channels});
    for (int n = 0; n < batch; ++n) {
        for (int oy = 0; oy < wy.outSize; ++oy) {
            for (int ox = 0; ox < wx.outSize; ++ox) {
                for (int c = 0; c < channels; ++c) {
                    // Padding is excluded: averages divide by the cells inside the input.
                    double sum = 0.0;
                    double best = -std::numeric_limits<double>::infinity();
                    int cells = 0;
                    for (int ky = 0; ky < o.filterH; ++ky) {
                        for (int kx = 0; kx < o.filterW; ++kx) {
                            const int iy = oy * o.strideH + ky - wy.padBefore;
                            const int ix = ox * o.strideW + kx - wx.padBefore;
                            if (iy < 0 || iy >= inH || ix < 0 || ix >= inW) {
                                continue;
                            }
                            const double v = input.values[input.at(n, iy, ix, c)];
                            sum += v;
                            best = std::max(best, v);
                            ++cells;
                        }
                    }
                    const double result = average ? sum / cells : best;
                    out.values[out.at(n, oy, ox, c)] = applyActivation(result, o.activation);
                }
            }
        }
    }
    return out;
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

RefTensor binary(const RefTensor& a, const RefTensor& b, BinaryOp op, Activation activation) {
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
        double r = 0.0;
        switch (op) {
            case BinaryOp::Add:
                r = x + y;
                break;
            case BinaryOp::Mul:
                r = x * y;
                break;
            case BinaryOp::Sub:
                r = x - y;
                break;
            case BinaryOp::Greater:
                r = x > y ? 1.0 : 0.0;
                break;
            case BinaryOp::GreaterEqual:
                r = x >= y ? 1.0 : 0.0;
                break;
        }
        out.values[i] = applyActivation(r, activation);
    }
    return out;
}

RefTensor unary(const RefTensor& input, UnaryOp op) {
    RefTensor out = input;
    for (double& v : out.values) {
        switch (op) {
            case UnaryOp::Relu:
                v = applyActivation(v, Activation::Relu);
                break;
            case UnaryOp::ReluN1To1:
                v = applyActivation(v, Activation::ReluN1To1);
                break;
            case UnaryOp::Relu6:
                v = applyActivation(v, Activation::Relu6);
                break;
            case UnaryOp::Logistic:
                v = 1.0 / (1.0 + std::exp(-v));
                break;
            case UnaryOp::HardSwish:
                v = v * std::min(std::max(v + 3.0, 0.0), 6.0) / 6.0;
                break;
        }
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

double halfToDouble(uint16_t half) {
    const int sign = (half >> 15) ? -1 : 1;
    const int exponent = (half >> 10) & 0x1f;
    const int mantissa = half & 0x3ff;
    if (exponent == 0) {
        return sign * std::ldexp(mantissa, -24);
    }
    if (exponent == 31) {
        return mantissa == 0 ? sign * std::numeric_limits<double>::infinity()
                             : std::numeric_limits<double>::quiet_NaN();
    }
    return sign * std::ldexp(1024 + mantissa, exponent - 25);
}

}  // namespace enginetest
