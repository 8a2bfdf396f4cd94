// Typed access to Android system properties with defaults and bounds. Exported from the plug-in
// with plain C names so that a host can use the same readers.
#pragma once

#include <stdint.h>

#include "KavoExport.h"

// Every value buffer handed to property_get holds this many bytes, terminator included.
#define PROPERTY_VALUE_MAX 92

#ifdef __cplusplus
extern "C" {
#endif

// Reads `key` into `value` (PROPERTY_VALUE_MAX bytes). When the property is unset or empty and
// `defaultValue` is not null, copies the default cut to 91 characters. Returns the length of the
// value now in the buffer (or the platform's non-positive result when there is no default).
KAVO_EXPORT int property_get(const char* key, char* value, const char* defaultValue);

// "0"/"n"/"no"/"false"/"off" give 0, "1"/"y"/"yes"/"true"/"on" give 1 (exact, case-sensitive);
// anything else, or an unset property, gives `defaultValue`.
KAVO_EXPORT int8_t property_get_bool(const char* key, int8_t defaultValue);

// Integers in any base strtoimax infers (0x1F, 017, " 42"); overflow, out-of-range and text
// without a number give the default with an INFO line. errno is preserved.
KAVO_EXPORT int64_t property_get_int64(const char* key, int64_t defaultValue);
KAVO_EXPORT int32_t property_get_int32(const char* key, int32_t defaultValue);

// Returns the platform's result: 0 on success, negative on failure.
KAVO_EXPORT int property_set(const char* key, const char* value);

// Calls `propfn` with the name and value of every property.
KAVO_EXPORT int property_list(void (*propfn)(const char* key, const char* value, void* cookie),
                              void* cookie);

#ifdef __cplusplus
}
#endif
