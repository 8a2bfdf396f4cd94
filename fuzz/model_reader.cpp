// The stand-ins' TFLite model reader and the engine built on it, over any bytes: Engine::fromBytes
// must verify the flatbuffer before it trusts a byte and then refuse, with a message, whatever the
// engine cannot run. A model it accepts is run once on zero inputs, so that every accepted shape
// also has to hold up in the kernels. The bytes sit in a buffer of exactly their size.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "FuzzCheck.h"
#include "HostEngine.h"

namespace {

// Accepted models with larger tensors are built but not run: the run would take long and prove
// nothing a small one does not.
constexpr size_t kLargestRunBytes = size_t{1} << 20;

size_t tensorBytes(const hostengine::Engine& engine) {
    size_t total = 0;
    for (size_t i = 0; i < engine.inputCount(); ++i)
        total += engine.input(i).byteSize;
    for (size_t i = 0; i < engine.outputCount(); ++i)
        total += engine.output(i).byteSize;
    return total;
}

void runOnce(hostengine::Engine& engine) {
    std::string error;
    // Tensors may hold no element at all; their buffers are still real ones.
    for (size_t i = 0; i < engine.inputCount(); ++i) {
        const size_t bytes = engine.input(i).byteSize;
        const std::vector<uint8_t> zeros(std::max<size_t>(bytes, 1));
        FUZZ_CHECK(engine.setInput(i, zeros.data(), bytes, &error),
                   "input %zu of its own size refused: %s", i, error.c_str());
    }
    if (!engine.invoke(&error)) {
        FUZZ_CHECK(!error.empty(), "a failed run gave no message");
        return;
    }
    for (size_t i = 0; i < engine.outputCount(); ++i) {
        const size_t bytes = engine.output(i).byteSize;
        std::vector<uint8_t> out(std::max<size_t>(bytes, 1));
        FUZZ_CHECK(engine.getOutput(i, out.data(), bytes, &error),
                   "output %zu of its own size refused: %s", i, error.c_str());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    hostengine::EngineOptions options;
    options.threads = 1;
    std::string error;
    std::unique_ptr<hostengine::Engine> engine =
        hostengine::Engine::fromBytes(data, size, options, &error);
    if (engine == nullptr) {
        FUZZ_CHECK(!error.empty(), "a refused model gave no message");
        return 0;
    }
    if (tensorBytes(*engine) <= kLargestRunBytes)
        runOnce(*engine);
    return 0;
}
