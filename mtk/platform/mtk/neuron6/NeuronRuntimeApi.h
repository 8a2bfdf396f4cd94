// The functions of the Neuron Runtime (version 6) C ABI that the plug-in looks up in
// "libneuron_runtime.6.so". Written by us from the runtime's documented interface; the argument
// types are the ones the plug-in passes. The plug-in never links these names: it binds them at run
// time (NeuronRuntimeInterface.h), and the declarations give the binding its pointer types.
#pragma once

#include "mtk/neuron6/NeuronRuntimeTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

// Every function but NeuronRuntime_release returns 0 on success.
int NeuronRuntime_create(const EnvOptions* options, void** runtime);
int NeuronRuntime_setQoSOption(void* runtime, const QoSOptions* qos);
int NeuronRuntime_loadNetworkFromFile(void* runtime, const char* path);
int NeuronRuntime_loadNetworkFromBuffer(void* runtime, const void* buffer, unsigned int size);
// Byte sizes of the network's only input and only output.
int NeuronRuntime_getSingleInputSize(void* runtime, unsigned int* size);
int NeuronRuntime_getSingleOutputSize(void* runtime, unsigned int* size);
// Bind caller memory as the input and output; NeuronRuntime_inference reads and writes it there.
int NeuronRuntime_setSingleInput(void* runtime, const void* buffer, unsigned int length,
                                 BufferAttribute attribute);
int NeuronRuntime_setSingleOutput(void* runtime, void* buffer, unsigned int length,
                                  BufferAttribute attribute);
int NeuronRuntime_inference(void* runtime);
void NeuronRuntime_release(void* runtime);

#ifdef __cplusplus
}
#endif
