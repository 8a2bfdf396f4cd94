#include "ModelPreparation.h"

#include <algorithm>

#include "ModelBuilder.h"

namespace modelprep {

using hostengine::ElementType;
using hostengine::Graph;
using hostengine::GraphOperator;
using hostengine::GraphTensor;
using hostengine::ModelBuilder;
using hostengine::OpKind;
using hostengine::OpOptions;

namespace {

std::string describe(const GraphTensor& tensor) {
    std::string text = std::string(hostengine::elementTypeName(tensor.type)) + " [";
    for (size_t i = 0; i < tensor.shape.size(); ++i) {
        text += (i == 0 ? "" : ",") + std::to_string(tensor.shape[i]);
    }
    return text + "]";
}

bool checkSource(const hostengine::Graph& source, std::string* error) {
    if (source.inputs.size() != 1 || source.outputs.size() != 1) {
        *error = "source model has " + std::to_string(source.inputs.size()) + " inputs and " +
                 std::to_string(source.outputs.size()) + " outputs, expected 1 and 1";
        return false;
    }
    const GraphTensor& in = source.tensors[source.inputs[0]];
    const GraphTensor& out = source.tensors[source.outputs[0]];
    const bool inputFits = in.type == ElementType::Float32 && in.shape.size() == 4 &&
                           in.shape[0] == 1 && in.shape[3] == 3;
    const bool outputFits = out.type == ElementType::Float32 && out.shape.size() == 4 &&
                            out.shape[0] == 1 && out.shape[3] == 1;
    if (!inputFits || !outputFits) {
        *error = "source model must take FLOAT32 [1,H,W,3] and give FLOAT32 [1,H,W,1]; it takes " +
                 describe(in) + " and gives " + describe(out);
        return false;
    }
    return true;
}

// Weights of a 1x1 convolution that only reorders channels: output c takes input 2 - c.
std::vector<float> channelSwapWeights() {
    std::vector<float> weights(9, 0.0f);
    for (int out = 0; out < 3; ++out) {
        weights[out * 3 + (2 - out)] = 1.0f;
    }
    return weights;
}

OpOptions halfPixelResize() {
    OpOptions o;
    o.halfPixelCenters = true;
    return o;
}

size_t readerCount(const Graph& graph, int tensor) {
    size_t count = 0;
    for (const GraphOperator& op : graph.operators) {
        count += static_cast<size_t>(std::count(op.inputs.begin(), op.inputs.end(), tensor));
    }
    return count;
}

// The constant holding `conv`'s filter, read directly or through a DEQUANTIZE, when nothing else
// reads it on the way; -1 when the filter is computed or shared.
int privateFilterConstant(const Graph& graph, const GraphOperator& conv) {
    const int filter = conv.inputs[1];
    if (readerCount(graph, filter) != 1) {
        return -1;
    }
    if (graph.tensors[filter].isConstant) {
        return filter;
    }
    for (const GraphOperator& op : graph.operators) {
        if (op.kind == OpKind::Dequantize && op.outputs[0] == filter &&
            graph.tensors[op.inputs[0]].isConstant && readerCount(graph, op.inputs[0]) == 1) {
            return op.inputs[0];
        }
    }
    return -1;
}

// When the source's input feeds one ungrouped convolution and nothing else, reorders that
// convolution's filter taps from RGB to BGR, so that it takes the frame's byte order as it is.
bool foldBgrIntoFirstConvolution(Graph* source) {
    const int input = source->inputs[0];
    if (readerCount(*source, input) != 1) {
        return false;
    }
    const auto reader =
        std::find_if(source->operators.begin(), source->operators.end(), [input](const auto& op) {
            return std::find(op.inputs.begin(), op.inputs.end(), input) != op.inputs.end();
        });
    if (reader->kind != OpKind::Conv2d || reader->inputs[0] != input) {
        return false;
    }
    const int constant = privateFilterConstant(*source, *reader);
    if (constant < 0) {
        return false;
    }
    GraphTensor& filter = source->tensors[constant];
    if (filter.shape.size() != 4 || filter.shape[3] != 3) {
        return false;
    }
    const size_t element = hostengine::elementSize(filter.type);
    for (size_t tap = 0; tap + 3 * element <= filter.data.size(); tap += 3 * element) {
        std::swap_ranges(filter.data.begin() + tap, filter.data.begin() + tap + element,
                         filter.data.begin() + tap + 2 * element);
    }
    return true;
}

}  // namespace

bool prepareModel(const hostengine::Graph& original, ElementType labelType,
                  std::vector<uint8_t>* prepared, std::string* error) {
    if (labelType != ElementType::Int32 && labelType != ElementType::Uint8) {
        *error = std::string("labels must be INT32 or UINT8, not ") +
                 hostengine::elementTypeName(labelType);
        return false;
    }
    if (!checkSource(original, error)) {
        return false;
    }
    Graph source = original;
    const bool bgrFolded = foldBgrIntoFirstConvolution(&source);
    ModelBuilder b;
    const int offset = b.appendTensors(source);
    const int sourceInput = offset + source.inputs[0];
    const int sourceOutput = offset + source.outputs[0];
    const GraphTensor& sourceIn = source.tensors[source.inputs[0]];
    const std::vector<int32_t> frameShape{1, kFrameHeight, kFrameWidth, 3};

    // uint8 q with scale 1/255 dequantizes to q / 255, i.e. [0, 1].
    hostengine::Quantization unitScale;
    unitScale.present = true;
    unitScale.scale = 1.0f / 255.0f;
    const int frame = b.addTensor("frame_bgr", ElementType::Uint8, frameShape, unitScale);
    const int unit = b.addTensor("frame_bgr_unit", ElementType::Float32, frameShape);
    b.addOperator(OpKind::Dequantize, {frame}, {unit});

    const int sourceSize =
        b.addInt32Constant("source_size", {2}, {sourceIn.shape[1], sourceIn.shape[2]});
    if (bgrFolded) {
        b.addOperator(OpKind::ResizeBilinear, {unit, sourceSize}, {sourceInput}, halfPixelResize());
    } else {
        const int small = b.addTensor("source_size_bgr", ElementType::Float32, sourceIn.shape);
        b.addOperator(OpKind::ResizeBilinear, {unit, sourceSize}, {small}, halfPixelResize());
        b.addOperator(OpKind::Conv2d,
                      {small, b.addFloatConstant("bgr_to_rgb", {3, 1, 1, 3}, channelSwapWeights()),
                       b.addFloatConstant("bgr_to_rgb_bias", {3}, {0.0f, 0.0f, 0.0f})},
                      {sourceInput});
    }

    for (const hostengine::GraphOperator& op : source.operators) {
        std::vector<int> inputs;
        for (int t : op.inputs) {
            inputs.push_back(t < 0 ? t : offset + t);
        }
        std::vector<int> outputs;
        for (int t : op.outputs) {
            outputs.push_back(offset + t);
        }
        b.addOperator(op.kind, inputs, outputs, op.options);
    }

    const std::vector<int32_t> labelShape{1, kFrameHeight, kFrameWidth, 1};
    const int probability = b.addTensor("probability_frame", ElementType::Float32, labelShape);
    const int frameSize = b.addInt32Constant("frame_size", {2}, {kFrameHeight, kFrameWidth});
    b.addOperator(OpKind::ResizeBilinear, {sourceOutput, frameSize}, {probability},
                  halfPixelResize());
    const int person = b.addTensor("person", ElementType::Bool, labelShape);
    b.addOperator(OpKind::Greater,
                  {probability, b.addFloatConstant("threshold", {}, {kPersonThreshold})}, {person});
    const int labels = b.addTensor("labels", labelType, labelShape);
    b.addOperator(OpKind::Cast, {person}, {labels});

    b.setInputs({frame});
    b.setOutputs({labels});
    b.setDescription("person segmentation for 342x456 RGB24 frames, prepared from: " +
                     source.description);
    *prepared = b.finish();
    return true;
}

}  // namespace modelprep
