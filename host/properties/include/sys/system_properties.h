// The Android system property API as a Linux host provides it. The declarations match bionic's
// <sys/system_properties.h>, so the plug-in's sources compile unchanged against either.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define PROP_VALUE_MAX 92

typedef struct prop_info prop_info;

// Copies the value of `name` into `value` (PROP_VALUE_MAX bytes) and returns its length; an unset
// property gives the empty string and 0.
int __system_property_get(const char* name, char* value);

// Sets `name` to `value`. Returns 0, or -1 for a null argument, an empty name, a value of
// PROP_VALUE_MAX bytes or more, or a second write to a read-only ("ro.") property.
int __system_property_set(const char* name, const char* value);

// Calls `propfn` once for every property that is set, in name order.
int __system_property_foreach(void (*propfn)(const prop_info* pi, void* cookie), void* cookie);

// Hands the name, value and serial number of one property to `callback`.
void __system_property_read_callback(const prop_info* pi,
                                     void (*callback)(void* cookie, const char* name,
                                                      const char* value, uint32_t serial),
                                     void* cookie);

#ifdef __cplusplus
}
#endif
