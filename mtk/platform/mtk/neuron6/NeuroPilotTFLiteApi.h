// The functions of the MediaTek NeuroPilot TFLite shim ("libtflite_mtk.so" and its static
// variants) that the plug-in looks up at run time, with the opaque types they trade in. Written by
// us from the shim's documented interface; the argument types are the ones the plug-in passes.
// The plug-in never links these names: NeuroPilotTFLiteShim.h binds them with dlsym, and the
// declarations give the binding its pointer types.
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

// An options object and an interpreter built from a model and options; both belong to the shim.
typedef struct ANeuralNetworksTFLiteOptions ANeuralNetworksTFLiteOptions;
typedef struct ANeuralNetworksTFLite ANeuralNetworksTFLite;

// Values of ANeuroPilotTFLiteOptions_setAccelerationMode.
enum {
    NP_ACCELERATION_CPU = 0,
    NP_ACCELERATION_NNAPI = 1,
    NP_ACCELERATION_NEURON = 2,
};

// The direction argument of the tensor queries.
enum {
    TFLITE_BUFFER_TYPE_INPUT = 0,
    TFLITE_BUFFER_TYPE_OUTPUT = 1,
};

// Element types reported by ANeuroPilotTFLite_getTensorType (TFLite's own codes).
enum {
    TFLITE_TENSOR_TYPE_NONE = 0,
    TFLITE_TENSOR_TYPE_FLOAT = 1,
    TFLITE_TENSOR_TYPE_UINT8 = 2,
    TFLITE_TENSOR_TYPE_INT32 = 3,
};

// Every function but the two that destroy returns 0 on success.
int ANeuroPilotTFLiteOptions_create(ANeuralNetworksTFLiteOptions** options);
int ANeuroPilotTFLiteOptions_setAccelerationMode(ANeuralNetworksTFLiteOptions* options,
                                                 unsigned int mode);
int ANeuroPilotTFLiteOptions_setAcceleratorName(ANeuralNetworksTFLiteOptions* options,
                                                const char* name);
int ANeuroPilotTFLiteOptions_setUseIon(ANeuralNetworksTFLiteOptions* options, bool useIon);
int ANeuroPilotTFLiteOptions_setNoSupportedOperationCheck(ANeuralNetworksTFLiteOptions* options,
                                                          bool noCheck);
int ANeuroPilotTFLiteOptions_setCacheDir(ANeuralNetworksTFLiteOptions* options,
                                         const char* directory);
int ANeuroPilotTFLiteOptions_setPreference(ANeuralNetworksTFLiteOptions* options, int preference);
int ANeuroPilotTFLiteOptions_setAllowFp16PrecisionForFp32(ANeuralNetworksTFLiteOptions* options,
                                                          bool allow);
void ANeuroPilotTFLiteOptions_free(ANeuralNetworksTFLiteOptions* options);

int ANeuroPilotTFLite_createAdv(ANeuralNetworksTFLite** tflite, const char* modelPath,
                                ANeuralNetworksTFLiteOptions* options);
int ANeuroPilotTFLite_createAdvWithBuffer(ANeuralNetworksTFLite** tflite, const char* buffer,
                                          unsigned int bufferSize,
                                          ANeuralNetworksTFLiteOptions* options);
int ANeuroPilotTFLite_getTensorByteSize(ANeuralNetworksTFLite* tflite, unsigned int direction,
                                        int index, unsigned int* size);
int ANeuroPilotTFLite_getTensorType(ANeuralNetworksTFLite* tflite, unsigned int direction,
                                    int index, unsigned int* type);
int ANeuroPilotTFLite_setInputTensorData(ANeuralNetworksTFLite* tflite, int index, const void* data,
                                         unsigned int size);
int ANeuroPilotTFLite_invoke(ANeuralNetworksTFLite* tflite);
int ANeuroPilotTFLite_getOutputTensorData(ANeuralNetworksTFLite* tflite, int index, void* data,
                                          unsigned int size);
void ANeuroPilotTFLite_free(ANeuralNetworksTFLite* tflite);

#ifdef __cplusplus
}
#endif
