// Writes TFLite flatbuffer models: tensors, constant buffers (float32, float16, integers),
// operators with their options, builtin and custom operator codes, and the subgraph's inputs and
// outputs. The tests build their models with it and the model preparation tool writes the
// prepared model with it; anything it writes, readModel() reads back unchanged.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ModelGraph.h"

namespace hostengine {

class ModelBuilder {
  public:
    // A tensor without data: a graph input or an operator's result. Returns its index.
    int addTensor(const std::string& name, ElementType type, const std::vector<int32_t>& shape,
                  const Quantization& quantization = Quantization());
    // A constant; `bytes` must hold exactly the shape's element count times the type's size.
    int addConstant(const std::string& name, ElementType type, const std::vector<int32_t>& shape,
                    const std::vector<uint8_t>& bytes,
                    const Quantization& quantization = Quantization());
    int addFloatConstant(const std::string& name, const std::vector<int32_t>& shape,
                         const std::vector<float>& values);
    // Stores `values` rounded to IEEE half precision (a FLOAT16 tensor), as converters do for
    // compressed weights; a DEQUANTIZE operator turns it back into FLOAT32.
    int addFloat16Constant(const std::string& name, const std::vector<int32_t>& shape,
                           const std::vector<float>& values);
    int addInt32Constant(const std::string& name, const std::vector<int32_t>& shape,
                         const std::vector<int32_t>& values);
    // Every tensor of `graph` (constants with their data), appended; returns the index the
    // graph's tensor 0 got, so tensor t of `graph` is now tensor offset + t.
    int appendTensors(const Graph& graph);

    // Optional inputs are passed as -1. Convolution2DTransposeBias is written as the custom
    // operator MediaPipe defines; everything else as a builtin.
    void addOperator(OpKind kind, const std::vector<int>& inputs, const std::vector<int>& outputs,
                     const OpOptions& options = OpOptions());

    // Operators the engine does not run, for models that must exercise its refusal: a builtin by
    // its TFLite code (written without options) and a custom operator by its custom code.
    void addBuiltinOperator(int32_t builtinCode, const std::vector<int>& inputs,
                            const std::vector<int>& outputs);
    void addCustomOperator(const std::string& customCode, const std::vector<int>& inputs,
                           const std::vector<int>& outputs,
                           const std::vector<uint8_t>& customOptions = {});

    void setInputs(const std::vector<int>& inputs) { inputs_ = inputs; }
    void setOutputs(const std::vector<int>& outputs) { outputs_ = outputs; }
    void setDescription(const std::string& description) { description_ = description; }

    const GraphTensor& tensor(int index) const { return tensors_.at(index); }
    size_t tensorCount() const { return tensors_.size(); }

    // The model as a TFLite flatbuffer (schema version 3, identifier "TFL3").
    std::vector<uint8_t> finish() const;

  private:
    // An operator as written: a known one from its GraphOperator, or one given by raw codes.
    struct Entry {
        GraphOperator op;
        bool raw = false;
        int32_t builtinCode = -1;  // raw operators: the builtin code, or -1 for a custom one
        std::string customCode;
        std::vector<uint8_t> customOptions;
    };

    std::vector<GraphTensor> tensors_;
    std::vector<Entry> operators_;
    std::vector<int> inputs_;
    std::vector<int> outputs_;
    std::string description_;
};

}  // namespace hostengine
