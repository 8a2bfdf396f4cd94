#include "EdgeKernels.h"

#include <algorithm>
#include <functional>

#include "ElementAccess.h"
#include "Partition.h"

namespace hostengine {

namespace {

using elements::convertValue;
using elements::dispatch;
using elements::load;
using elements::store;

// Element-wise loops over buffers that do not overlap, in blocks of a fixed length so that the
// compiler vectorises them at every optimisation level: the edge operators run on whole frames
// (a threshold and a cast per label of a 456x342 map).
template <typename Body>
void forEachElement(size_t count, Body body) {
    constexpr size_t kBlock = 16;
    size_t i = 0;
    for (; i + kBlock <= count; i += kBlock) {
        for (size_t k = 0; k < kBlock; ++k) {
            body(i + k);
        }
    }
    for (; i < count; ++i) {
        body(i);
    }
}

template <typename To, typename From>
void castElements(const uint8_t* __restrict src, uint8_t* __restrict dst, size_t count) {
    forEachElement(
        count, [src, dst](size_t i) { store<To>(dst, i, convertValue<To>(load<From>(src, i))); });
}

template <typename To, typename T, typename Compare>
void compareWithScalar(const uint8_t* __restrict src, T threshold, uint8_t* __restrict dst,
                       size_t count, Compare compare) {
    forEachElement(count, [src, threshold, dst, compare](size_t i) {
        store<To>(dst, i, convertValue<To>(compare(load<T>(src, i), threshold)));
    });
}

void runCast(const GraphTensor& in, const GraphTensor& out, const uint8_t* src, uint8_t* dst) {
    const size_t count = in.elementCount();
    dispatch(in.type, [&](auto fromTag) {
        using From = typename decltype(fromTag)::type;
        dispatch(out.type, [&](auto toTag) {
            using To = typename decltype(toTag)::type;
            castElements<To, From>(src, dst, count);
        });
    });
}

void runArgMax(const GraphTensor& in, const GraphTensor& axisTensor, const GraphTensor& out,
               const uint8_t* src, uint8_t* dst) {
    int64_t axis = axisTensor.type == ElementType::Int32 ? load<int32_t>(axisTensor.data.data(), 0)
                                                         : load<int64_t>(axisTensor.data.data(), 0);
    const int64_t rank = static_cast<int64_t>(in.shape.size());
    axis = axis < 0 ? axis + rank : axis;
    size_t outer = 1;
    size_t inner = 1;
    for (int64_t d = 0; d < axis; ++d) {
        outer *= static_cast<size_t>(in.shape[d]);
    }
    for (int64_t d = axis + 1; d < rank; ++d) {
        inner *= static_cast<size_t>(in.shape[d]);
    }
    const size_t extent = static_cast<size_t>(in.shape[axis]);
    dispatch(in.type, [&](auto tag) {
        using T = typename decltype(tag)::type;
        for (size_t o = 0; o < outer; ++o) {
            for (size_t i = 0; i < inner; ++i) {
                const size_t base = o * extent * inner + i;
                size_t best = 0;
                T bestValue = load<T>(src, base);
                for (size_t k = 1; k < extent; ++k) {
                    const T candidate = load<T>(src, base + k * inner);
                    if (candidate > bestValue) {  // ties keep the first index, as TFLite does
                        best = k;
                        bestValue = candidate;
                    }
                }
                if (out.type == ElementType::Int32) {
                    store<int32_t>(dst, o * inner + i, static_cast<int32_t>(best));
                } else {
                    store<int64_t>(dst, o * inner + i, static_cast<int64_t>(best));
                }
            }
        }
    });
}

// Element strides of `shape` seen through an output of rank `rank` under numpy broadcasting:
// dimensions the input lacks or has as 1 get stride 0.
std::vector<size_t> broadcastStrides(const std::vector<int32_t>& shape,
                                     const std::vector<int32_t>& outShape) {
    const size_t rank = outShape.size();
    std::vector<size_t> strides(rank, 0);
    size_t stride = 1;
    for (size_t k = 0; k < shape.size(); ++k) {
        const size_t d = shape.size() - 1 - k;
        const size_t outD = rank - 1 - k;
        strides[outD] = shape[d] == 1 ? 0 : stride;
        stride *= static_cast<size_t>(shape[d]);
    }
    return strides;
}

// Thresholding a whole map against one value is the common case; it gets a plain loop.
bool isThreshold(const GraphTensor& a, const GraphTensor& b, size_t count) {
    return a.elementCount() == count && b.elementCount() == 1;
}

// Each truth value is written as an element of `outType`, as CAST would turn a BOOL into it.
void runThreshold(const GraphOperator& op, const GraphTensor& a, ElementType outType,
                  const uint8_t* srcA, const uint8_t* srcB, uint8_t* dst) {
    const size_t count = a.elementCount();
    dispatch(a.type, [&](auto tag) {
        using T = typename decltype(tag)::type;
        const T threshold = load<T>(srcB, 0);
        dispatch(outType, [&](auto toTag) {
            using To = typename decltype(toTag)::type;
            if (op.kind == OpKind::GreaterEqual) {
                compareWithScalar<To>(srcA, threshold, dst, count, std::greater_equal<T>());
            } else {
                compareWithScalar<To>(srcA, threshold, dst, count, std::greater<T>());
            }
        });
    });
}

void runComparison(const GraphOperator& op, const GraphTensor& a, const GraphTensor& b,
                   const GraphTensor& out, const uint8_t* srcA, const uint8_t* srcB, uint8_t* dst) {
    const size_t count = out.elementCount();
    const bool orEqual = op.kind == OpKind::GreaterEqual;
    if (isThreshold(a, b, count)) {
        runThreshold(op, a, ElementType::Bool, srcA, srcB, dst);
        return;
    }
    const std::vector<size_t> stridesA = broadcastStrides(a.shape, out.shape);
    const std::vector<size_t> stridesB = broadcastStrides(b.shape, out.shape);
    const size_t rank = out.shape.size();
    dispatch(a.type, [&](auto tag) {
        using T = typename decltype(tag)::type;
        std::vector<size_t> position(rank, 0);
        size_t offsetA = 0;
        size_t offsetB = 0;
        for (size_t i = 0; i < count; ++i) {
            const T x = load<T>(srcA, offsetA);
            const T y = load<T>(srcB, offsetB);
            store<bool>(dst, i, orEqual ? x >= y : x > y);
            // Advance the output position like an odometer, moving both input offsets along.
            for (size_t d = rank; d-- > 0;) {
                offsetA += stridesA[d];
                offsetB += stridesB[d];
                if (++position[d] < static_cast<size_t>(out.shape[d])) {
                    break;
                }
                offsetA -= stridesA[d] * position[d];
                offsetB -= stridesB[d] * position[d];
                position[d] = 0;
            }
        }
    });
}

}  // namespace

bool castFusesWithThreshold(const Graph& graph, const GraphOperator& comparison,
                            const GraphOperator& cast) {
    if ((comparison.kind != OpKind::Greater && comparison.kind != OpKind::GreaterEqual) ||
        cast.kind != OpKind::Cast || cast.inputs[0] != comparison.outputs[0]) {
        return false;
    }
    const int truth = comparison.outputs[0];
    return readOnlyOnce(graph, truth) &&
           isThreshold(graph.tensors[comparison.inputs[0]], graph.tensors[comparison.inputs[1]],
                       graph.tensors[truth].elementCount());
}

void runThresholdCast(const Graph& graph, const GraphOperator& comparison,
                      const GraphOperator& cast, const std::vector<uint8_t*>& data) {
    runThreshold(comparison, graph.tensors[comparison.inputs[0]],
                 graph.tensors[cast.outputs[0]].type, data[comparison.inputs[0]],
                 data[comparison.inputs[1]], data[cast.outputs[0]]);
}

void runEdgeKernel(const Graph& graph, const GraphOperator& op, const std::vector<uint8_t*>& data) {
    const GraphTensor& in = graph.tensors[op.inputs[0]];
    const GraphTensor& out = graph.tensors[op.outputs[0]];
    switch (op.kind) {
        case OpKind::Cast:
            runCast(in, out, data[op.inputs[0]], data[op.outputs[0]]);
            return;
        case OpKind::ArgMax:
            runArgMax(in, graph.tensors[op.inputs[1]], out, data[op.inputs[0]],
                      data[op.outputs[0]]);
            return;
        case OpKind::Greater:
        case OpKind::GreaterEqual:
            runComparison(op, in, graph.tensors[op.inputs[1]], out, data[op.inputs[0]],
                          data[op.inputs[1]], data[op.outputs[0]]);
            return;
        default:
            return;
    }
}

}  // namespace hostengine
