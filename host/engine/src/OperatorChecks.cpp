#include "OperatorChecks.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "GraphText.h"

namespace hostengine {

int64_t windowOutputSize(int64_t input, int64_t kernel, int64_t stride, int64_t dilation,
                         Padding padding) {
    if (input <= 0 || kernel <= 0 || stride <= 0 || dilation <= 0) {
        return -1;
    }
    if (padding == Padding::Same) {
        return (input + stride - 1) / stride;
    }
    const int64_t effectiveKernel = (kernel - 1) * dilation + 1;
    if (input < effectiveKernel) {
        return -1;
    }
    return (input - effectiveKernel) / stride + 1;
}

bool transposePadding(int64_t input, int64_t kernel, int64_t stride, int64_t output,
                      TransposePadding* padding) {
    if (input <= 0 || kernel <= 0 || stride <= 0 || output <= 0) {
        return false;
    }
    // The output a plain transposed convolution covers; padding trims it, adjustment extends it.
    const int64_t covered = (input - 1) * stride + kernel;
    const int64_t total = std::max<int64_t>(covered - output, 0);
    const int64_t adjustment = output - (covered - total);
    if (adjustment < 0 || adjustment >= stride) {
        return false;
    }
    padding->before = static_cast<uint32_t>(total / 2);
    padding->after = static_cast<uint32_t>(total - total / 2);
    padding->adjustment = static_cast<uint32_t>(adjustment);
    return true;
}

bool broadcastShapes(const std::vector<int32_t>& a, const std::vector<int32_t>& b,
                     std::vector<int32_t>* out) {
    const size_t rank = std::max(a.size(), b.size());
    out->assign(rank, 1);
    for (size_t i = 0; i < rank; ++i) {
        const int32_t da = i < rank - a.size() ? 1 : a[i - (rank - a.size())];
        const int32_t db = i < rank - b.size() ? 1 : b[i - (rank - b.size())];
        if (da != db && da != 1 && db != 1) {
            return false;
        }
        (*out)[i] = da == 1 ? db : da;
    }
    return true;
}

namespace {

// Reads a small constant integer tensor (INT32 or INT64), e.g. sizes, axes or paddings.
bool readIntegers(const GraphTensor& tensor, std::vector<int64_t>* values) {
    if (!tensor.isConstant) {
        return false;
    }
    const size_t count = tensor.elementCount();
    values->resize(count);
    for (size_t i = 0; i < count; ++i) {
        if (tensor.type == ElementType::Int32) {
            int32_t v;
            std::memcpy(&v, tensor.data.data() + 4 * i, sizeof v);
            (*values)[i] = v;
        } else if (tensor.type == ElementType::Int64) {
            std::memcpy(&(*values)[i], tensor.data.data() + 8 * i, sizeof(int64_t));
        } else {
            return false;
        }
    }
    return true;
}

class OperatorCheck {
  public:
    OperatorCheck(const Graph& graph, const GraphOperator& op, size_t index, std::string* error)
        : graph_(graph), op_(op), label_(operatorLabel(op, index)), error_(error) {}

    bool run() {
        switch (op_.kind) {
            case OpKind::Add:
            case OpKind::Mul:
            case OpKind::Sub:
                return checkBinary();
            case OpKind::Relu:
            case OpKind::ReluN1To1:
            case OpKind::Relu6:
            case OpKind::Logistic:
            case OpKind::HardSwish:
                return checkUnary();
            case OpKind::Conv2d:
                return checkConv();
            case OpKind::DepthwiseConv2d:
                return checkDepthwiseConv();
            case OpKind::TransposeConv:
                return checkTransposeConv(2, 1, 3, true);
            case OpKind::Convolution2DTransposeBias:
                return checkTransposeConv(0, 1, 2, false);
            case OpKind::AveragePool2d:
            case OpKind::MaxPool2d:
                return checkPool();
            case OpKind::Mean:
                return checkMean();
            case OpKind::ResizeBilinear:
                return checkResize();
            case OpKind::Concatenation:
                return checkConcatenation();
            case OpKind::Reshape:
                return checkReshape();
            case OpKind::Pad:
                return checkPad();
            case OpKind::Dequantize:
                return checkDequantize();
            case OpKind::Quantize:
                return checkQuantize();
            case OpKind::Cast:
                return checkCast();
            case OpKind::ArgMax:
                return checkArgMax();
            case OpKind::Greater:
            case OpKind::GreaterEqual:
                return checkComparison();
        }
        return fail("is not a known operator");
    }

  private:
    bool fail(const std::string& message) const {
        *error_ = label_ + " " + message;
        return false;
    }

    bool operands(size_t minInputs, size_t maxInputs, size_t outputs) const {
        if (op_.inputs.size() < minInputs || op_.inputs.size() > maxInputs) {
            return fail("has " + std::to_string(op_.inputs.size()) + " inputs");
        }
        for (size_t i = 0; i < minInputs; ++i) {
            if (op_.inputs[i] < 0) {
                return fail("lacks required input " + std::to_string(i));
            }
        }
        if (op_.outputs.size() != outputs) {
            return fail("has " + std::to_string(op_.outputs.size()) + " outputs");
        }
        return true;
    }

    bool hasInput(size_t i) const { return i < op_.inputs.size() && op_.inputs[i] >= 0; }
    const GraphTensor& input(size_t i) const { return graph_.tensors[op_.inputs[i]]; }
    const GraphTensor& output(size_t i = 0) const { return graph_.tensors[op_.outputs[i]]; }

    bool isFloat(const GraphTensor& t) const { return t.type == ElementType::Float32; }

    bool allFloat() const {
        for (size_t i = 0; i < op_.inputs.size(); ++i) {
            if (hasInput(i) && !isFloat(input(i))) {
                return fail("input " + std::to_string(i) + " has type " +
                            elementTypeName(input(i).type) + ", only FLOAT32 is supported");
            }
        }
        if (!isFloat(output())) {
            return fail("output has type " + std::string(elementTypeName(output().type)) +
                        ", only FLOAT32 is supported");
        }
        return true;
    }

    bool expectOutputShape(const std::vector<int32_t>& expected) const {
        if (output().shape != expected) {
            return fail("declares output shape " + shapeText(output().shape) + " but computes " +
                        shapeText(expected));
        }
        return true;
    }

    bool rank(const GraphTensor& t, size_t r, const char* what) const {
        if (t.shape.size() != r) {
            return fail(std::string(what) + " has shape " + shapeText(t.shape) + ", expected " +
                        std::to_string(r) + " dimensions");
        }
        return true;
    }

    bool constant(size_t i, const char* what) const {
        if (!input(i).isConstant) {
            return fail(std::string("needs a constant ") + what);
        }
        return true;
    }

    bool checkBias(size_t i, int32_t channels) const {
        if (!hasInput(i)) {
            return true;
        }
        if (!constant(i, "bias") || !isFloat(input(i))) {
            return fail("needs a FLOAT32 constant bias");
        }
        if (input(i).shape != std::vector<int32_t>{channels}) {
            return fail("has bias shape " + shapeText(input(i).shape) + ", expected [" +
                        std::to_string(channels) + "]");
        }
        return true;
    }

    bool checkBinary() const {
        if (!operands(2, 2, 1) || !allFloat()) {
            return false;
        }
        std::vector<int32_t> shape;
        if (!broadcastShapes(input(0).shape, input(1).shape, &shape)) {
            return fail("has inputs " + shapeText(input(0).shape) + " and " +
                        shapeText(input(1).shape) + " that do not broadcast");
        }
        return expectOutputShape(shape);
    }

    bool checkUnary() const {
        return operands(1, 1, 1) && allFloat() && expectOutputShape(input(0).shape);
    }

    // Spatial output size of a window operator, or a failure naming the axis.
    bool windowOutput(int32_t in, int32_t kernel, int32_t stride, int32_t dilation,
                      const char* axis, int32_t* out) const {
        const int64_t size = windowOutputSize(in, kernel, stride, dilation, op_.options.padding);
        if (size < 0) {
            return fail(std::string("has a window that does not fit its input along ") + axis);
        }
        *out = static_cast<int32_t>(size);
        return true;
    }

    bool checkConv() const {
        if (!operands(2, 3, 1) || !allFloat() || !constant(1, "filter")) {
            return false;
        }
        const auto& in = input(0).shape;
        const auto& filter = input(1).shape;
        if (!rank(input(0), 4, "input") || !rank(input(1), 4, "filter")) {
            return false;
        }
        // The filter's input depth divides the input's channels into groups; every group gets
        // the same share of output channels.
        if (filter[0] <= 0 || filter[3] <= 0 || in[3] < filter[3] || in[3] % filter[3] != 0 ||
            filter[0] % (in[3] / filter[3]) != 0) {
            return fail("has filter " + shapeText(filter) + " that does not fit input " +
                        shapeText(in));
        }
        return checkConvOutput(in, filter, filter[0]);
    }

    bool checkDepthwiseConv() const {
        if (!operands(2, 3, 1) || !allFloat() || !constant(1, "filter")) {
            return false;
        }
        if (!rank(input(0), 4, "input") || !rank(input(1), 4, "filter")) {
            return false;
        }
        const auto& in = input(0).shape;
        const auto& filter = input(1).shape;
        if (filter[0] != 1 || in[3] <= 0 || filter[3] % in[3] != 0) {
            return fail("has filter " + shapeText(filter) + " that does not fit input " +
                        shapeText(in));
        }
        return checkConvOutput(in, filter, filter[3]);
    }

    // The bias and output shape of a (depthwise) convolution with `channels` output channels.
    bool checkConvOutput(const std::vector<int32_t>& in, const std::vector<int32_t>& filter,
                         int32_t channels) const {
        const OpOptions& o = op_.options;
        int32_t oh = 0;
        int32_t ow = 0;
        return windowOutput(in[1], filter[1], o.strideH, o.dilationH, "height", &oh) &&
               windowOutput(in[2], filter[2], o.strideW, o.dilationW, "width", &ow) &&
               checkBias(2, channels) && expectOutputShape({in[0], oh, ow, channels});
    }

    // TRANSPOSE_CONV: (output shape, filter, input[, bias]); the custom operator: (input, filter,
    // bias). Both take filters laid out [output channels, height, width, input channels].
    bool checkTransposeConv(size_t inputIndex, size_t filterIndex, size_t biasIndex,
                            bool hasShapeInput) const {
        if (!operands(3, hasShapeInput ? 4 : 3, 1) || !constant(filterIndex, "filter")) {
            return false;
        }
        const GraphTensor& in = input(inputIndex);
        const GraphTensor& filter = input(filterIndex);
        if (!isFloat(in) || !isFloat(filter) || !isFloat(output())) {
            return fail("supports FLOAT32 data only");
        }
        if (!rank(in, 4, "input") || !rank(filter, 4, "filter") || !rank(output(), 4, "output")) {
            return false;
        }
        if (filter.shape[3] != in.shape[3]) {
            return fail("has filter " + shapeText(filter.shape) + " that does not fit input " +
                        shapeText(in.shape));
        }
        if (hasShapeInput) {
            std::vector<int64_t> declared;
            if (!readIntegers(input(0), &declared) || declared.size() != 4) {
                return fail("needs a constant output shape of 4 integers");
            }
            for (size_t i = 0; i < 4; ++i) {
                if (declared[i] != output().shape[i]) {
                    return fail("has an output shape input that differs from its output tensor");
                }
            }
        }
        const auto& out = output().shape;
        TransposePadding padding;
        if (!transposePadding(in.shape[1], filter.shape[1], op_.options.strideH, out[1],
                              &padding) ||
            !transposePadding(in.shape[2], filter.shape[2], op_.options.strideW, out[2],
                              &padding)) {
            return fail("declares output shape " + shapeText(out) +
                        " that its input, filter and strides cannot produce");
        }
        return checkBias(biasIndex, filter.shape[0]) &&
               expectOutputShape({in.shape[0], out[1], out[2], filter.shape[0]});
    }

    bool checkPool() const {
        if (!operands(1, 1, 1) || !allFloat() || !rank(input(0), 4, "input")) {
            return false;
        }
        const auto& in = input(0).shape;
        const OpOptions& o = op_.options;
        // A window beyond its input pools nothing more, and XNNPACK would size its per-pixel
        // indirection table by the window: refuse it rather than run out of memory.
        if (o.filterH > in[1] || o.filterW > in[2]) {
            return fail("pooling window " + std::to_string(o.filterH) + "x" +
                        std::to_string(o.filterW) + " is larger than its " + std::to_string(in[1]) +
                        "x" + std::to_string(in[2]) + " input");
        }
        int32_t oh = 0;
        int32_t ow = 0;
        return windowOutput(in[1], o.filterH, o.strideH, 1, "height", &oh) &&
               windowOutput(in[2], o.filterW, o.strideW, 1, "width", &ow) &&
               expectOutputShape({in[0], oh, ow, in[3]});
    }

    bool checkMean() const {
        if (!operands(2, 2, 1) || !isFloat(input(0)) || !isFloat(output())) {
            return fail("supports FLOAT32 data only");
        }
        if (!rank(input(0), 4, "input")) {
            return false;
        }
        std::vector<int64_t> axes;
        if (!readIntegers(input(1), &axes)) {
            return fail("needs constant integer axes");
        }
        for (int64_t& axis : axes) {
            axis = axis < 0 ? axis + 4 : axis;
        }
        std::sort(axes.begin(), axes.end());
        if (axes != std::vector<int64_t>{1, 2}) {
            return fail("reduces axes other than height and width, which is not supported");
        }
        const auto& in = input(0).shape;
        return op_.options.keepDims ? expectOutputShape({in[0], 1, 1, in[3]})
                                    : expectOutputShape({in[0], in[3]});
    }

    bool checkResize() const {
        if (!operands(2, 2, 1) || !isFloat(input(0)) || !isFloat(output())) {
            return fail("supports FLOAT32 data only");
        }
        if (!rank(input(0), 4, "input")) {
            return false;
        }
        if (op_.options.alignCorners && op_.options.halfPixelCenters) {
            return fail("asks for both aligned corners and half-pixel centers");
        }
        std::vector<int64_t> size;
        if (!readIntegers(input(1), &size) || size.size() != 2 || size[0] <= 0 || size[1] <= 0 ||
            size[0] > INT32_MAX || size[1] > INT32_MAX) {
            return fail("needs a constant size of 2 positive integers");
        }
        const auto& in = input(0).shape;
        return expectOutputShape(
            {in[0], static_cast<int32_t>(size[0]), static_cast<int32_t>(size[1]), in[3]});
    }

    bool checkConcatenation() const {
        if (!operands(1, SIZE_MAX, 1) || !allFloat()) {
            return false;
        }
        for (size_t i = 0; i < op_.inputs.size(); ++i) {
            if (!hasInput(i)) {
                return fail("lacks input " + std::to_string(i));
            }
        }
        std::vector<int32_t> shape = input(0).shape;
        const int rankOf = static_cast<int>(shape.size());
        const int axis = op_.options.axis < 0 ? op_.options.axis + rankOf : op_.options.axis;
        if (axis < 0 || axis >= rankOf) {
            return fail("has axis " + std::to_string(op_.options.axis) + " outside its rank");
        }
        int64_t extent = shape[axis];
        for (size_t i = 1; i < op_.inputs.size(); ++i) {
            const auto& other = input(i).shape;
            bool fits = other.size() == shape.size();
            for (int d = 0; fits && d < rankOf; ++d) {
                fits = d == axis || other[d] == shape[d];
            }
            if (!fits) {
                return fail("has input " + shapeText(other) + " that does not fit " +
                            shapeText(input(0).shape));
            }
            extent += other[axis];
        }
        if (extent > INT32_MAX) {
            return fail("concatenates beyond the largest dimension");
        }
        shape[axis] = static_cast<int32_t>(extent);
        return expectOutputShape(shape);
    }

    bool checkReshape() const {
        if (!operands(1, 2, 1) || !isFloat(input(0)) || !isFloat(output())) {
            return fail("supports FLOAT32 data only");
        }
        // The output tensor's shape is what the engine reshapes to; a shape computed at run time
        // could not be honoured.
        if (hasInput(1) && !input(1).isConstant) {
            return fail("needs a constant shape");
        }
        if (input(0).elementCount() != output().elementCount()) {
            return fail("changes the element count from " + shapeText(input(0).shape) + " to " +
                        shapeText(output().shape));
        }
        return true;
    }

    bool checkPad() const {
        if (!operands(2, 2, 1) || !isFloat(input(0)) || !isFloat(output())) {
            return fail("supports FLOAT32 data only");
        }
        std::vector<int64_t> paddings;
        const auto& in = input(0).shape;
        if (!readIntegers(input(1), &paddings) || paddings.size() != 2 * in.size()) {
            return fail("needs constant paddings of shape [" + std::to_string(in.size()) + ",2]");
        }
        std::vector<int32_t> shape = in;
        for (size_t d = 0; d < in.size(); ++d) {
            const int64_t before = paddings[2 * d];
            const int64_t after = paddings[2 * d + 1];
            if (before < 0 || after < 0 || before > INT32_MAX || after > INT32_MAX ||
                before + after > INT32_MAX - in[d]) {
                return fail("has invalid paddings");
            }
            shape[d] += static_cast<int32_t>(before + after);
        }
        return expectOutputShape(shape);
    }

    bool isPerTensorQuantized8(const GraphTensor& t) const {
        return (t.type == ElementType::Uint8 || t.type == ElementType::Int8) &&
               t.quantization.present && !t.quantization.perChannel && t.quantization.scale > 0;
    }

    bool checkDequantize() const {
        if (!operands(1, 1, 1)) {
            return false;
        }
        const GraphTensor& in = input(0);
        if (!(isPerTensorQuantized8(in) || in.type == ElementType::Float16) || !isFloat(output())) {
            return fail("converts " + std::string(elementTypeName(in.type)) + " to " +
                        elementTypeName(output().type) +
                        "; supported: quantized UINT8/INT8 or FLOAT16 to FLOAT32");
        }
        return expectOutputShape(in.shape);
    }

    bool checkQuantize() const {
        if (!operands(1, 1, 1)) {
            return false;
        }
        if (!isFloat(input(0)) || !isPerTensorQuantized8(output())) {
            return fail("supports FLOAT32 to per-tensor quantized UINT8/INT8 only");
        }
        return expectOutputShape(input(0).shape);
    }

    bool checkCast() const {
        if (!operands(1, 1, 1)) {
            return false;
        }
        if (input(0).type == ElementType::Float16 || output().type == ElementType::Float16) {
            return fail("does not convert FLOAT16");
        }
        return expectOutputShape(input(0).shape);
    }

    bool checkArgMax() const {
        if (!operands(2, 2, 1)) {
            return false;
        }
        const GraphTensor& in = input(0);
        if (in.type == ElementType::Float16 || in.type == ElementType::Bool) {
            return fail("does not search " + std::string(elementTypeName(in.type)) + " data");
        }
        if (output().type != ElementType::Int32 && output().type != ElementType::Int64) {
            return fail("must output INT32 or INT64");
        }
        std::vector<int64_t> axis;
        if (!readIntegers(input(1), &axis) || axis.size() != 1) {
            return fail("needs one constant axis");
        }
        const int64_t rankOf = static_cast<int64_t>(in.shape.size());
        const int64_t a = axis[0] < 0 ? axis[0] + rankOf : axis[0];
        if (a < 0 || a >= rankOf || in.shape[a] == 0) {
            return fail("has axis " + std::to_string(axis[0]) + " outside its input");
        }
        std::vector<int32_t> shape = in.shape;
        shape.erase(shape.begin() + a);
        return expectOutputShape(shape);
    }

    bool checkComparison() const {
        if (!operands(2, 2, 1)) {
            return false;
        }
        if (input(0).type != input(1).type || input(0).type == ElementType::Float16 ||
            input(0).type == ElementType::Bool) {
            return fail("compares " + std::string(elementTypeName(input(0).type)) + " with " +
                        elementTypeName(input(1).type));
        }
        if (output().type != ElementType::Bool) {
            return fail("must output BOOL");
        }
        std::vector<int32_t> shape;
        if (!broadcastShapes(input(0).shape, input(1).shape, &shape)) {
            return fail("has inputs that do not broadcast");
        }
        return expectOutputShape(shape);
    }

    const Graph& graph_;
    const GraphOperator& op_;
    std::string label_;
    std::string* error_;
};

}  // namespace

bool checkGraph(const Graph& graph, const std::vector<size_t>& order, std::string* error) {
    // Which tensors hold data by the time each operator runs.
    std::vector<bool> written(graph.tensors.size(), false);
    for (size_t i = 0; i < graph.tensors.size(); ++i) {
        written[i] = graph.tensors[i].isConstant;
    }
    for (int input : graph.inputs) {
        if (graph.tensors[input].isConstant) {
            *error = "graph input " + tensorLabel(graph, input) + " is a constant";
            return false;
        }
        written[input] = true;
    }
    for (size_t index : order) {
        const GraphOperator& op = graph.operators[index];
        for (int input : op.inputs) {
            if (input >= 0 && !written[input]) {
                *error = operatorLabel(op, index) + " reads " + tensorLabel(graph, input) +
                         " before anything writes it";
                return false;
            }
        }
        for (int output : op.outputs) {
            if (written[output]) {
                *error = operatorLabel(op, index) + " writes " + tensorLabel(graph, output) +
                         ", which already holds data";
                return false;
            }
            written[output] = true;
        }
        if (!OperatorCheck(graph, op, index, error).run()) {
            return false;
        }
    }
    for (int output : graph.outputs) {
        if (!written[output]) {
            *error = "graph output " + tensorLabel(graph, output) + " is never written";
            return false;
        }
    }
    return true;
}

}  // namespace hostengine
