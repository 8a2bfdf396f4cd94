#include "NeuroPilotTFLiteShim.h"

#include <android/log.h>
#include <dlfcn.h>
#include <sys/system_properties.h>

#include <atomic>

namespace {

constexpr const char* kLogTag = "NeuroPilotTFLiteShim";
constexpr const char* kGenericLibrary = "libtflite_mtk.so";
constexpr const char* kStaticLibrary = "libtflite_mtk_static.so";
constexpr const char* kStaticLibraryR = "libtflite_mtk_static_R.so";
constexpr int kAndroidP = 28;
constexpr int kAndroidR = 30;
// Any level this high takes the R variant; longer digit strings saturate here instead of
// overflowing.
constexpr int kAboveEveryThreshold = 1000000;

// Written without a lock; every writer on one device stores the same handle, and the atomic keeps
// that race defined.
std::atomic<void*> sShimLibrary{nullptr};

void* openLibrary(const char* name) {
    void* const library = dlopen(name, RTLD_LAZY);
    if (library != nullptr) {
        __android_log_print(ANDROID_LOG_DEBUG, kLogTag, "TFLite : open library %s\n", name);
    } else {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "TFLite error: unable to open library %s\n",
                            name);
    }
    sShimLibrary.store(library, std::memory_order_release);
    return library;
}

// "ro.build.version.sdk" as a number: empty is 0, text with any non-digit is above every threshold.
int androidSdkLevel() {
    char value[PROP_VALUE_MAX] = {0};
    __system_property_get("ro.build.version.sdk", value);
    int level = 0;
    for (const char* c = value; *c != '\0'; ++c) {
        if (*c < '0' || *c > '9')
            return kAboveEveryThreshold;
        if (level < kAboveEveryThreshold)
            level = level * 10 + (*c - '0');
    }
    if (level == kAndroidP) {
        // Release and preview builds of Android 9 share level 28; the platform's release check
        // reads the codename too, and both kinds of build take the pre-R variant.
        char codename[PROP_VALUE_MAX] = {0};
        __system_property_get("ro.build.version.codename", codename);
    }
    return level;
}

// One lookup for one wrapper; runs under the caller's function-local static guard.
template <typename Function>
Function bindShimFunction(const char* symbol) {
    void* address = nullptr;
    if (getTFLiteLibraryHandle() != nullptr)
        address = dlsym(getTFLiteLibraryHandle(), symbol);
    if (address == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "TFLite error: unable to open function %s\n", symbol);
    }
    return reinterpret_cast<Function>(address);
}

#define SHIM_FUNCTION(name) static const auto fn = bindShimFunction<decltype(&name)>(#name)

}  // namespace

void* getTFLiteLibraryHandle() {
    void* library = sShimLibrary.load(std::memory_order_acquire);
    if (library == nullptr)
        library = openLibrary(kGenericLibrary);
    const bool releaseR = androidSdkLevel() >= kAndroidR;
    if (library != nullptr)
        return library;
    return openLibrary(releaseR ? kStaticLibraryR : kStaticLibrary);
}

int ANeuralNetworksTFLiteOptions_create(ANeuralNetworksTFLiteOptions** options) {
    SHIM_FUNCTION(ANeuroPilotTFLiteOptions_create);
    return fn ? fn(options) : kTFLiteUnbound;
}

int ANeuralNetworksTFLiteOptions_setAccelerationMode(ANeuralNetworksTFLiteOptions* options,
                                                     unsigned int mode) {
    SHIM_FUNCTION(ANeuroPilotTFLiteOptions_setAccelerationMode);
    return fn ? fn(options, mode) : kTFLiteUnbound;
}

int ANeuralNetworksTFLiteOptions_setAcceleratorName(ANeuralNetworksTFLiteOptions* options,
                                                    const char* name) {
    SHIM_FUNCTION(ANeuroPilotTFLiteOptions_setAcceleratorName);
    return fn ? fn(options, name) : kTFLiteUnbound;
}

int ANeuralNetworksTFLiteOptions_setUseIon(ANeuralNetworksTFLiteOptions* options, bool useIon) {
    SHIM_FUNCTION(ANeuroPilotTFLiteOptions_setUseIon);
    return fn ? fn(options, useIon) : kTFLiteUnbound;
}

int ANeuralNetworksTFLiteOptions_setNoSupportedOperationCheck(ANeuralNetworksTFLiteOptions* options,
                                                              bool noCheck) {
    SHIM_FUNCTION(ANeuroPilotTFLiteOptions_setNoSupportedOperationCheck);
    return fn ? fn(options, noCheck) : kTFLiteUnbound;
}

int ANeuralNetworksTFLiteOptions_setCacheDir(ANeuralNetworksTFLiteOptions* options,
                                             const char* directory) {
    SHIM_FUNCTION(ANeuroPilotTFLiteOptions_setCacheDir);
    return fn ? fn(options, directory) : kTFLiteUnbound;
}

int ANeuralNetworksTFLiteOptions_setPreference(ANeuralNetworksTFLiteOptions* options,
                                               int preference) {
    SHIM_FUNCTION(ANeuroPilotTFLiteOptions_setPreference);
    return fn ? fn(options, preference) : kTFLiteUnbound;
}

int ANeuralNetworksTFLiteOptions_setAllowFp16PrecisionForFp32(ANeuralNetworksTFLiteOptions* options,
                                                              bool allow) {
    SHIM_FUNCTION(ANeuroPilotTFLiteOptions_setAllowFp16PrecisionForFp32);
    return fn ? fn(options, allow) : kTFLiteUnbound;
}

int ANeuralNetworksTFLiteOptions_free(ANeuralNetworksTFLiteOptions* options) {
    SHIM_FUNCTION(ANeuroPilotTFLiteOptions_free);
    if (fn == nullptr)
        return kTFLiteUnbound;
    fn(options);
    return 0;
}

int ANeuroPilotTFLiteWrapper_makeAdvTFLite(ANeuralNetworksTFLite** tflite, const char* modelPath,
                                           ANeuralNetworksTFLiteOptions* options) {
    SHIM_FUNCTION(ANeuroPilotTFLite_createAdv);
    return fn ? fn(tflite, modelPath, options) : kTFLiteUnbound;
}

int ANeuroPilotTFLiteWrapper_makeAdvTFLiteWithBuffer(ANeuralNetworksTFLite** tflite,
                                                     const char* buffer, unsigned int bufferSize,
                                                     ANeuralNetworksTFLiteOptions* options) {
    SHIM_FUNCTION(ANeuroPilotTFLite_createAdvWithBuffer);
    return fn ? fn(tflite, buffer, bufferSize, options) : kTFLiteUnbound;
}

int ANeuroPilotTFLiteWrapper_getTensorByteSize(ANeuralNetworksTFLite* tflite,
                                               unsigned int direction, int index,
                                               unsigned int* size) {
    SHIM_FUNCTION(ANeuroPilotTFLite_getTensorByteSize);
    return fn ? fn(tflite, direction, index, size) : kTFLiteUnbound;
}

int ANeuroPilotTFLiteWrapper_getTensorType(ANeuralNetworksTFLite* tflite, unsigned int direction,
                                           int index, unsigned int* type) {
    SHIM_FUNCTION(ANeuroPilotTFLite_getTensorType);
    return fn ? fn(tflite, direction, index, type) : kTFLiteUnbound;
}

int ANeuroPilotTFLiteWrapper_setInputTensorData(ANeuralNetworksTFLite* tflite, int index,
                                                const void* data, unsigned int size) {
    SHIM_FUNCTION(ANeuroPilotTFLite_setInputTensorData);
    return fn ? fn(tflite, index, data, size) : kTFLiteUnbound;
}

int ANeuroPilotTFLiteWrapper_invoke(ANeuralNetworksTFLite* tflite) {
    SHIM_FUNCTION(ANeuroPilotTFLite_invoke);
    return fn ? fn(tflite) : kTFLiteUnbound;
}

int ANeuroPilotTFLiteWrapper_getOutputTensorData(ANeuralNetworksTFLite* tflite, int index,
                                                 void* data, unsigned int size) {
    SHIM_FUNCTION(ANeuroPilotTFLite_getOutputTensorData);
    return fn ? fn(tflite, index, data, size) : kTFLiteUnbound;
}

int ANeuroPilotTFLiteWrapper_free(ANeuralNetworksTFLite* tflite) {
    SHIM_FUNCTION(ANeuroPilotTFLite_free);
    if (fn == nullptr)
        return kTFLiteUnbound;
    fn(tflite);
    return 0;
}
