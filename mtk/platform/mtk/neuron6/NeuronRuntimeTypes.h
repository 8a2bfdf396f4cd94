// Records of the Neuron Runtime (version 6) C ABI that pass through the plug-in unchanged. Written
// by us from the runtime's documented interface; the plug-in sets only the members named in the
// comments and leaves the rest zero.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Environment of a runtime instance (three 32-bit words).
typedef struct {
    uint32_t deviceKind;      // 1 null device, 2 C-model device, 4 hardware
    uint32_t MDLACoreOption;  // 0 auto, 1 single, 2 dual
    uint32_t reserved;
} EnvOptions;

// Quality of service of a runtime instance (32 bytes).
typedef struct {
    int32_t preference;  // 0 performance, 1 power
    int32_t priority;    // 0 low, 1 medium, 2 high
    uint8_t boostValue;  // 0 min, 100 max, 101 profiled
    uint8_t maxBoostValue;
    uint8_t minBoostValue;
    uint8_t reserved0;
    uint16_t deadline;
    uint16_t abortTime;
    int32_t delayedPowerOffTime;  // -1: the runtime's default
    int32_t powerPolicy;
    int32_t applicationType;
    uint32_t reserved1;
} QoSOptions;

// Descriptor passed with every input and output binding (one 32-bit word).
typedef struct {
    int32_t ionFd;  // -1: ordinary process memory
} BufferAttribute;

#ifdef __cplusplus
static_assert(sizeof(EnvOptions) == 12, "EnvOptions is three 32-bit words");
static_assert(sizeof(QoSOptions) == 32, "QoSOptions is 32 bytes");
static_assert(sizeof(BufferAttribute) == 4, "BufferAttribute is one 32-bit word");
}
#endif
