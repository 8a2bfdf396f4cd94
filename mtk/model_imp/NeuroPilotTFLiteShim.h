// Run-time binding of the NeuroPilot TFLite shim. getTFLiteLibraryHandle opens "libtflite_mtk.so",
// or else the static variant that suits the Android release; each wrapper looks its function up
// once, on its first call, under its own one-time guard, and fails at once ever after when the
// lookup failed. This layer writes to the Android log directly (tag "NeuroPilotTFLiteShim").
#pragma once

#include "mtk/neuron6/NeuroPilotTFLiteApi.h"

// What a wrapper returns when its shim function could not be bound.
constexpr int kTFLiteUnbound = 6;

// The process-wide shim library handle, opening a library while it is still null; null when no
// library could be opened.
void* getTFLiteLibraryHandle();

// The shim's own result (0 = success), or kTFLiteUnbound.
int ANeuralNetworksTFLiteOptions_create(ANeuralNetworksTFLiteOptions** options);
int ANeuralNetworksTFLiteOptions_setAccelerationMode(ANeuralNetworksTFLiteOptions* options,
                                                     unsigned int mode);
int ANeuralNetworksTFLiteOptions_setAcceleratorName(ANeuralNetworksTFLiteOptions* options,
                                                    const char* name);
int ANeuralNetworksTFLiteOptions_setUseIon(ANeuralNetworksTFLiteOptions* options, bool useIon);
int ANeuralNetworksTFLiteOptions_setNoSupportedOperationCheck(ANeuralNetworksTFLiteOptions* options,
                                                              bool noCheck);
int ANeuralNetworksTFLiteOptions_setCacheDir(ANeuralNetworksTFLiteOptions* options,
                                             const char* directory);
int ANeuralNetworksTFLiteOptions_setPreference(ANeuralNetworksTFLiteOptions* options,
                                               int preference);
int ANeuralNetworksTFLiteOptions_setAllowFp16PrecisionForFp32(ANeuralNetworksTFLiteOptions* options,
                                                              bool allow);
// 0 once the options object was destroyed, or kTFLiteUnbound.
int ANeuralNetworksTFLiteOptions_free(ANeuralNetworksTFLiteOptions* options);

int ANeuroPilotTFLiteWrapper_makeAdvTFLite(ANeuralNetworksTFLite** tflite, const char* modelPath,
                                           ANeuralNetworksTFLiteOptions* options);
int ANeuroPilotTFLiteWrapper_makeAdvTFLiteWithBuffer(ANeuralNetworksTFLite** tflite,
                                                     const char* buffer, unsigned int bufferSize,
                                                     ANeuralNetworksTFLiteOptions* options);
// `direction` is TFLITE_BUFFER_TYPE_INPUT or TFLITE_BUFFER_TYPE_OUTPUT.
int ANeuroPilotTFLiteWrapper_getTensorByteSize(ANeuralNetworksTFLite* tflite,
                                               unsigned int direction, int index,
                                               unsigned int* size);
int ANeuroPilotTFLiteWrapper_getTensorType(ANeuralNetworksTFLite* tflite, unsigned int direction,
                                           int index, unsigned int* type);
int ANeuroPilotTFLiteWrapper_setInputTensorData(ANeuralNetworksTFLite* tflite, int index,
                                                const void* data, unsigned int size);
int ANeuroPilotTFLiteWrapper_invoke(ANeuralNetworksTFLite* tflite);
int ANeuroPilotTFLiteWrapper_getOutputTensorData(ANeuralNetworksTFLite* tflite, int index,
                                                 void* data, unsigned int size);
// 0 once the interpreter was destroyed, or kTFLiteUnbound.
int ANeuroPilotTFLiteWrapper_free(ANeuralNetworksTFLite* tflite);
