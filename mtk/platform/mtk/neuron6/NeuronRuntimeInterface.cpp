#include "mtk/neuron6/NeuronRuntimeInterface.h"

#include <dlfcn.h>

#include <atomic>

#include "LogPrintf.h"
#include "mtk/neuron6/NeuronRuntimeApi.h"

namespace {

constexpr const char* kRuntimeLibrary = "libneuron_runtime.6.so";
// Field deployments grep for the interface's historic file label, backslash included.
constexpr const char* kLogFile = "neuron6\\NeuronRuntimeInterface.h";

// Written without a lock by whichever wrapper binds first; racing writers store the same handle,
// and the atomic keeps that race defined.
std::atomic<void*> sRuntimeLibrary{nullptr};

// One lookup for one wrapper; runs under the caller's function-local static guard.
template <typename Function>
Function bindRuntimeFunction(const char* symbol) {
    void* library = sRuntimeLibrary.load(std::memory_order_acquire);
    if (library == nullptr)
        library = loadNeuronRuntimeLib(kRuntimeLibrary);
    // dlsym with a null handle searches the global scope; the runtime's functions are looked up
    // only in the runtime itself, so a missing library means a missing function.
    void* const address = library != nullptr ? dlsym(library, symbol) : nullptr;
    if (address == nullptr) {
        KAVO_LOG_WHERE(::kavo::kLogError, "ERROR", kLogFile, "loadNeuronRuntimeFunc",
                       "Find function %s failed", symbol);
    }
    return reinterpret_cast<Function>(address);
}

#define NEURON_RUNTIME_FUNCTION(name) \
    static const auto fn = bindRuntimeFunction<decltype(&name)>(#name)

}  // namespace

void* loadNeuronRuntimeLib(const char* filename) {
    void* const library = dlopen(filename, RTLD_LAZY);
    sRuntimeLibrary.store(library, std::memory_order_release);
    if (library != nullptr) {
        KAVO_LOG_WHERE(::kavo::kLogInfo, "INFO", kLogFile, "loadNeuronRuntimeLib",
                       "NeuronRuntime : open library: %s", filename);
    } else {
        KAVO_LOG_WHERE(::kavo::kLogError, "ERROR", kLogFile, "loadNeuronRuntimeLib",
                       "NeuronRuntime error: unable to open library: %s", filename);
    }
    return library;
}

int WarpNeuronRuntime_create(const EnvOptions* options, void** runtime) {
    NEURON_RUNTIME_FUNCTION(NeuronRuntime_create);
    return fn ? fn(options, runtime) : kNeuronRuntimeUnbound;
}

int WarpNeuronRuntime_setQoSOption(void* runtime, const QoSOptions* qos) {
    NEURON_RUNTIME_FUNCTION(NeuronRuntime_setQoSOption);
    return fn ? fn(runtime, qos) : kNeuronRuntimeUnbound;
}

int WarpNeuronRuntime_loadNetworkFromFile(void* runtime, const char* path) {
    NEURON_RUNTIME_FUNCTION(NeuronRuntime_loadNetworkFromFile);
    return fn ? fn(runtime, path) : kNeuronRuntimeUnbound;
}

int WarpNeuronRuntime_loadNetworkFromBuffer(void* runtime, const void* buffer, unsigned int size) {
    NEURON_RUNTIME_FUNCTION(NeuronRuntime_loadNetworkFromBuffer);
    return fn ? fn(runtime, buffer, size) : kNeuronRuntimeUnbound;
}

int WarpNeuronRuntime_getSingleInputSize(void* runtime, unsigned int* size) {
    NEURON_RUNTIME_FUNCTION(NeuronRuntime_getSingleInputSize);
    return fn ? fn(runtime, size) : kNeuronRuntimeUnbound;
}

int WarpNeuronRuntime_getSingleOutputSize(void* runtime, unsigned int* size) {
    NEURON_RUNTIME_FUNCTION(NeuronRuntime_getSingleOutputSize);
    return fn ? fn(runtime, size) : kNeuronRuntimeUnbound;
}

int WarpNeuronRuntime_setSingleInput(void* runtime, const void* buffer, unsigned int length,
                                     BufferAttribute attribute) {
    NEURON_RUNTIME_FUNCTION(NeuronRuntime_setSingleInput);
    return fn ? fn(runtime, buffer, length, attribute) : kNeuronRuntimeUnbound;
}

int WarpNeuronRuntime_setSingleOutput(void* runtime, void* buffer, unsigned int length,
                                      BufferAttribute attribute) {
    NEURON_RUNTIME_FUNCTION(NeuronRuntime_setSingleOutput);
    return fn ? fn(runtime, buffer, length, attribute) : kNeuronRuntimeUnbound;
}

int WarpNeuronRuntime_inference(void* runtime) {
    NEURON_RUNTIME_FUNCTION(NeuronRuntime_inference);
    return fn ? fn(runtime) : kNeuronRuntimeUnbound;
}

int WarpNeuronRuntime_release(void* runtime) {
    NEURON_RUNTIME_FUNCTION(NeuronRuntime_release);
    if (fn == nullptr)
        return kNeuronRuntimeUnbound;
    fn(runtime);
    return 0;
}
