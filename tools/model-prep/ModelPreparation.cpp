#include "ModelPreparation.h"

#include "ModelBuilder.h"

namespace modelprep {

using hostengine::ElementType;
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

}  // namespace

bool prepareModel(const hostengine::Graph& source, std::vector<uint8_t>* prepared,
                  std::string* error) {
    if (!checkSource(source, error)) {
        return false;
    }
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

    const int rgb = b.addTensor("frame_rgb", ElementType::Float32, frameShape);
    b.addOperator(OpKind::Conv2d,
                  {unit, b.addFloatConstant("bgr_to_rgb", {3, 1, 1, 3}, channelSwapWeights()),
                   b.addFloatConstant("bgr_to_rgb_bias", {3}, {0.0f, 0.0f, 0.0f})},
                  {rgb});

    const int sourceSize =
        b.addInt32Constant("source_size", {2}, {sourceIn.shape[1], sourceIn.shape[2]});
    b.addOperator(OpKind::ResizeBilinear, {rgb, sourceSize}, {sourceInput}, halfPixelResize());

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

    const int frameProbability =
        b.addTensor("probability_frame", ElementType::Float32, {1, kFrameHeight, kFrameWidth, 1});
    const int frameSize = b.addInt32Constant("frame_size", {2}, {kFrameHeight, kFrameWidth});
    b.addOperator(OpKind::ResizeBilinear, {sourceOutput, frameSize}, {frameProbability},
                  halfPixelResize());
    const std::vector<int32_t> labelShape{1, kFrameHeight, kFrameWidth};
    const int probability = b.addTensor("probability", ElementType::Float32, labelShape);
    b.addOperator(OpKind::Reshape,
                  {frameProbability, b.addInt32Constant("label_shape", {3}, labelShape)},
                  {probability});
    const int person = b.addTensor("person", ElementType::Bool, labelShape);
    b.addOperator(OpKind::Greater,
                  {probability, b.addFloatConstant("threshold", {}, {kPersonThreshold})}, {person});
    const int labels = b.addTensor("labels", ElementType::Int32, labelShape);
    b.addOperator(OpKind::Cast, {person}, {labels});

    b.setInputs({frame});
    b.setOutputs({labels});
    b.setDescription("person segmentation for 342x456 RGB24 frames, prepared from: " +
                     source.description);
    *prepared = b.finish();
    return true;
}

}  // namespace modelprep
