#include "WorkingMemory.h"

#include <initializer_list>
#include <limits>

#include "GraphText.h"

namespace hostengine {

namespace {

constexpr uint64_t kSaturated = std::numeric_limits<uint64_t>::max();

// Products of model-declared sizes can exceed 64 bits; anything that large is simply too much.
uint64_t saturatingProduct(std::initializer_list<uint64_t> factors) {
    uint64_t product = 1;
    for (const uint64_t factor : factors) {
        if (factor != 0 && product > kSaturated / factor) {
            return kSaturated;
        }
        product *= factor;
    }
    return product;
}

uint64_t positive(int64_t value) {
    return value > 0 ? static_cast<uint64_t>(value) : 0;
}

// XNNPACK's per-stride-position parameters of a transposed convolution, generously rounded up.
constexpr uint64_t kSubconvolutionBytes = 128;

// One pointer per output pixel and kernel tap, batch included.
uint64_t indirectionBytes(const std::vector<int32_t>& output, int64_t kernelH, int64_t kernelW) {
    return saturatingProduct({positive(output[0]), positive(output[1]), positive(output[2]),
                              positive(kernelH), positive(kernelW), sizeof(void*)});
}

}  // namespace

uint64_t windowWorkingBytes(const Graph& graph, const GraphOperator& op) {
    const auto& output = graph.tensors[op.outputs[0]].shape;
    const OpOptions& o = op.options;
    switch (op.kind) {
        case OpKind::Conv2d:
        case OpKind::DepthwiseConv2d: {
            const auto& filter = graph.tensors[op.inputs[1]].shape;
            return indirectionBytes(output, filter[1], filter[2]);
        }
        case OpKind::TransposeConv:
        case OpKind::Convolution2DTransposeBias: {
            const auto& filter = graph.tensors[op.inputs[1]].shape;
            const uint64_t table = indirectionBytes(output, filter[1], filter[2]);
            const uint64_t subconvolutions =
                saturatingProduct({positive(o.strideH), positive(o.strideW), kSubconvolutionBytes});
            return table > kSaturated - subconvolutions ? kSaturated : table + subconvolutions;
        }
        case OpKind::AveragePool2d:
        case OpKind::MaxPool2d:
            return indirectionBytes(output, o.filterH, o.filterW);
        default:
            return 0;
    }
}

bool checkWindowWorkingMemory(const Graph& graph, const std::vector<size_t>& order,
                              std::string* error) {
    uint64_t total = 0;
    for (const size_t index : order) {
        const GraphOperator& op = graph.operators[index];
        const uint64_t bytes = windowWorkingBytes(graph, op);
        total = bytes > kSaturated - total ? kSaturated : total + bytes;
        if (total > kMaxWindowWorkingBytes) {
            *error = operatorLabel(op, index) + " takes the model's window working memory beyond " +
                     std::to_string(kMaxWindowWorkingBytes >> 20) + " MiB";
            return false;
        }
    }
    return true;
}

}  // namespace hostengine
