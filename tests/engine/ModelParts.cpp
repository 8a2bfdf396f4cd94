#include "ModelParts.h"

#include "ModelRunner.h"

namespace enginetest {

namespace {

size_t elementCount(const Shape& shape) {
    size_t n = 1;
    for (int32_t d : shape) {
        n *= static_cast<size_t>(d);
    }
    return n;
}

}  // namespace

int floatTensor(ModelBuilder& b, const std::string& name, const Shape& shape) {
    return b.addTensor(name, ElementType::Float32, shape);
}

int randomWeights(ModelBuilder& b, const std::string& name, const Shape& shape, uint32_t seed,
                  double low, double high) {
    return b.addFloatConstant(name, shape, randomFloats(elementCount(shape), seed, low, high));
}

int halfWeights(ModelBuilder& b, const std::string& name, const Shape& shape, uint32_t seed) {
    const int half =
        b.addFloat16Constant(name + "_fp16", shape, randomFloats(elementCount(shape), seed));
    return addOp(b, OpKind::Dequantize, {half}, name, shape);
}

int addOp(ModelBuilder& b, OpKind kind, const std::vector<int>& inputs, const std::string& name,
          const Shape& shape, const OpOptions& options, ElementType type) {
    const int output = b.addTensor(name, type, shape);
    b.addOperator(kind, inputs, {output}, options);
    return output;
}

OpOptions convOptions(Padding padding, int stride, Activation activation, int dilation) {
    OpOptions o;
    o.padding = padding;
    o.strideH = o.strideW = stride;
    o.dilationH = o.dilationW = dilation;
    o.activation = activation;
    return o;
}

OpOptions poolOptions(Padding padding, int filter, int stride, Activation activation) {
    OpOptions o = convOptions(padding, stride, activation);
    o.filterH = o.filterW = filter;
    return o;
}

}  // namespace enginetest
