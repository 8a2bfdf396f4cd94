// A synthetic stack of convolutions in the style of a mobile segmentation network, written twice:
// as a TFLite model for the engine and as an XNNPACK subgraph defined by hand, with the same
// shapes, weights and activations.
#pragma once

#include <xnnpack.h>

#include <cstdint>
#include <vector>

namespace enginebench {

// One layer: a convolution (or a depthwise one) with bias and a clamp activation, or a
// hard-swish.
struct Layer {
    enum Kind { Conv, Depthwise, HardSwish } kind;
    int kernel = 1;
    int stride = 1;
    int outChannels = 0;
};

struct ConvStack {
    int height = 0;
    int width = 0;
    int channels = 0;
    std::vector<Layer> layers;
    std::vector<std::vector<float>> weights;  // per layer, filter then bias; empty for hard-swish

    static ConvStack standard();
    std::vector<uint8_t> tfliteModel() const;
    // Defines the stack in `subgraph`: external value 0 is the input, 1 the output.
    bool defineSubgraph(xnn_subgraph_t subgraph) const;
    size_t inputElements() const { return static_cast<size_t>(height) * width * channels; }
    size_t outputElements() const;
};

}  // namespace enginebench
