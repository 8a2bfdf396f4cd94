// The camera host's view of libVLAlgoCamAIBeautyBodyDetection.so: the image records that cross
// the boundary, the two function tables and the two exported functions that fill them.
//
// A host dlopen()s the plug-in, takes a table with getAlgoAPI (or get_algo_api), and from then on
// calls only through it: algoInitHandle, any number of processImage calls, releaseHandle. One
// handle at a time, from one thread at a time.
#pragma once

#include <stdint.h>

// One plane-set of pixels, for input and output. Words not named are carried, never read or
// written by the plug-in.
struct Image {
    int32_t result_width;   // output only: 456
    int32_t result_height;  // output only: 342
    uint32_t reserved0;
    uint32_t reserved1;
    uint32_t size;  // output only: bytes of `data` that hold the mask (155952)
    uint32_t reserved2;
    int32_t orientation;  // sensor orientation in degrees: 0, 90, 180, 270
    int32_t image_type;   // 5 = NV21, 6 = NV12
    int32_t width;
    int32_t height;
    int32_t stride;  // bytes per luma row, also the pitch of the interleaved chroma rows
    int32_t scan;    // luma rows in the buffer; chroma starts at stride * scan
    uint32_t reserved3;
    uint32_t reserved4;
    unsigned char* data;  // owned by the host
};

// What processImage receives: only `image` is read.
struct InputImage {
    Image* image;
};

// Pixel formats the plug-in converts.
enum BodySegImageType : int32_t {
    BODYSEG_IMAGE_NV21 = 5,
    BODYSEG_IMAGE_NV12 = 6,
};

// The mask the plug-in writes: 456 columns by 342 rows, one label byte each, pitch 456.
enum : int32_t {
    BODYSEG_MASK_WIDTH = 456,
    BODYSEG_MASK_HEIGHT = 342,
    BODYSEG_MASK_BYTES = 456 * 342,
};

// Model descriptor (host-owned): words 1, 2, 3 and 5 are read.
struct BodySegModelDesc {
    const char* model_path;
    const void* model_data;  // model file bytes as stored (partially encrypted)
    uint32_t model_size;
    uint32_t reserved;
    const char* cache_dir;
};

// Initialisation block passed as algoInitHandle's `param`.
struct BodySegInitParam {
    BodySegModelDesc* model;
    uint32_t reserved;
    const char* config_path;  // the JSON model configuration
};

typedef const char* (*BodySegGetVersionFn)(void);
typedef void (*BodySegSetLogLevelFn)(int level);
typedef const char* (*BodySegStatusToStringFn)(int code);
typedef int (*BodySegInitHandleFn)(void** handle, void* param);
typedef int (*BodySegParametersFn)(void* handle, void* params);
typedef int (*BodySegProcessImageFn)(void* handle, InputImage* in, Image* out, void*, void*);
typedef int (*BodySegProcessImageV1Fn)(void* handle, Image* in, Image* out, void*, void*);
typedef int (*BodySegReleaseHandleFn)(void* handle, void*);

// The table getAlgoAPI fills: all eight slots are written.
struct BodySegAlgoAPI {
    BodySegGetVersionFn getVersion;
    BodySegSetLogLevelFn setLogLevel;
    BodySegStatusToStringFn statusToString;
    BodySegInitHandleFn algoInitHandle;
    BodySegParametersFn setParameters;
    BodySegParametersFn getParameters;
    BodySegProcessImageFn processImage;
    BodySegReleaseHandleFn releaseHandle;
};

// The larger table get_algo_api fills: only slots 0, 1, 2, 10 and 13 are written; the others keep
// whatever the host put there.
struct BodySegAlgoAPIV1 {
    BodySegGetVersionFn getVersion;        // 0
    BodySegSetLogLevelFn setLogLevel;      // 1
    BodySegInitHandleFn algoInitHandle;    // 2
    void* untouched3to9[7];                // 3..9
    BodySegProcessImageV1Fn processImage;  // 10, takes the Image directly
    void* untouched11to12[2];              // 11, 12
    BodySegReleaseHandleFn releaseHandle;  // 13
};

#ifdef __cplusplus
extern "C" {
#endif

// Both return 0, or SDK_FAILURE (65535) for a null table.
int getAlgoAPI(BodySegAlgoAPI* table);
int get_algo_api(BodySegAlgoAPIV1* table);

#ifdef __cplusplus
}
#endif
