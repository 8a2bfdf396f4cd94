// The CPU inference engine behind the stand-in vendor runtimes: reads a TFLite flatbuffer model
// (from a file or from bytes) and runs it with XNNPACK. Both stand-ins (the NeuroPilot TFLite shim
// and the Neuron Runtime) hold one Engine per interpreter / runtime instance and translate their
// vendor calls into the calls below; nothing here knows either vendor ABI.
//
// An Engine is used from one thread at a time. Errors are returned as text (one line, naming the
// failing step and, for unsupported graphs, the operator) for the caller to log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace hostengine {

// Element types of the model's input and output tensors.
enum class ElementType { None, Float32, Float16, Int32, Uint8, Int8, Int64, Bool };

struct TensorInfo {
    std::string name;
    ElementType type = ElementType::None;
    std::vector<int32_t> shape;
    size_t byteSize = 0;  // element count times element size
};

// The vector forms of the engine's own resizing kernels, narrowest first. Every form computes the
// same single-precision operations in the same order, so outputs are the same byte for byte.
enum class KernelForm { Portable, Avx2, Avx512 };

struct EngineOptions {
    // Worker threads for XNNPACK; 0 uses every core of the machine.
    int threads = 0;
    // Run float32 operators at float16 precision where the CPU supports it (recorded otherwise).
    bool allowFp16 = false;
    // The widest kernel form to use; the engine uses the widest the processor has up to this one
    // (x86-64 AVX2 and AVX-512; portable C++ elsewhere). Narrower forms are for comparisons.
    KernelForm widestKernels = KernelForm::Avx512;
};

class Engine {
  public:
    // Null with `*error` set when the model cannot be read, verified or built (an operator that
    // neither XNNPACK nor the engine's own kernels cover is named in the error).
    static std::unique_ptr<Engine> fromFile(const std::string& path, const EngineOptions& options,
                                            std::string* error);
    static std::unique_ptr<Engine> fromBytes(const void* data, size_t size,
                                             const EngineOptions& options, std::string* error);
    virtual ~Engine() = default;

    virtual size_t inputCount() const = 0;
    virtual size_t outputCount() const = 0;
    // An index out of range gives an empty TensorInfo (type None, byteSize 0).
    virtual const TensorInfo& input(size_t index) const = 0;
    virtual const TensorInfo& output(size_t index) const = 0;

    // Copies exactly input(index).byteSize bytes in; false (with `*error`) on a bad index or size.
    virtual bool setInput(size_t index, const void* data, size_t size, std::string* error) = 0;
    // Runs the whole graph once on the current inputs.
    virtual bool invoke(std::string* error) = 0;
    // Copies the output out; `size` must equal output(index).byteSize.
    virtual bool getOutput(size_t index, void* data, size_t size, std::string* error) = 0;
};

}  // namespace hostengine
