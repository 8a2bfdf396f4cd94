// Run-time binding of the Neuron Runtime: "libneuron_runtime.6.so" is opened on first use, and
// each runtime function is looked up once, by the first call of its wrapper, under that wrapper's
// own one-time guard. A function that could not be bound is logged once and makes its wrapper
// return kNeuronRuntimeUnbound on every call; it is never looked up again.
#pragma once

#include "mtk/neuron6/NeuronRuntimeTypes.h"

// What a wrapper returns when its runtime function could not be bound.
constexpr int kNeuronRuntimeUnbound = 5;

// Opens `filename` (lazy binding) and makes the result, null included, the process-wide runtime
// library handle. Returns that handle.
void* loadNeuronRuntimeLib(const char* filename);

// The runtime's own status (0 = success), or kNeuronRuntimeUnbound.
int WarpNeuronRuntime_create(const EnvOptions* options, void** runtime);
int WarpNeuronRuntime_setQoSOption(void* runtime, const QoSOptions* qos);
int WarpNeuronRuntime_loadNetworkFromFile(void* runtime, const char* path);
int WarpNeuronRuntime_loadNetworkFromBuffer(void* runtime, const void* buffer, unsigned int size);
int WarpNeuronRuntime_getSingleInputSize(void* runtime, unsigned int* size);
int WarpNeuronRuntime_getSingleOutputSize(void* runtime, unsigned int* size);
int WarpNeuronRuntime_setSingleInput(void* runtime, const void* buffer, unsigned int length,
                                     BufferAttribute attribute);
int WarpNeuronRuntime_setSingleOutput(void* runtime, void* buffer, unsigned int length,
                                      BufferAttribute attribute);
int WarpNeuronRuntime_inference(void* runtime);
// 0 once the runtime was released, or kNeuronRuntimeUnbound.
int WarpNeuronRuntime_release(void* runtime);
