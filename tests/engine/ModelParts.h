// Pieces of the small models the engine tests write: float tensors, random weights (also stored
// as float16 behind a DEQUANTIZE, as converters compress them), operators together with the tensor
// they write, and the options of windowed operators.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ModelBuilder.h"

namespace enginetest {

using hostengine::Activation;
using hostengine::ElementType;
using hostengine::ModelBuilder;
using hostengine::OpKind;
using hostengine::OpOptions;
using hostengine::Padding;
using Shape = std::vector<int32_t>;

int floatTensor(ModelBuilder& b, const std::string& name, const Shape& shape);

// A float32 constant, uniform in [low, high] from `seed`.
int randomWeights(ModelBuilder& b, const std::string& name, const Shape& shape, uint32_t seed,
                  double low = -1.0, double high = 1.0);
// The same values stored as float16; returns the float32 tensor the DEQUANTIZE writes.
int halfWeights(ModelBuilder& b, const std::string& name, const Shape& shape, uint32_t seed);

// `kind` reading `inputs` (-1 for an omitted optional one) into a new tensor; returns the tensor.
int addOp(ModelBuilder& b, OpKind kind, const std::vector<int>& inputs, const std::string& name,
          const Shape& shape, const OpOptions& options = OpOptions(),
          ElementType type = ElementType::Float32);

OpOptions convOptions(Padding padding, int stride, Activation activation = Activation::None,
                      int dilation = 1);
OpOptions poolOptions(Padding padding, int filter, int stride,
                      Activation activation = Activation::None);

}  // namespace enginetest
