// Controls of the host property store that a phone does not have: a test or a host tool uses them
// to start from a clean store. The plug-in never calls these.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Removes every property, read-only ones included.
void host_property_clear(void);

// Removes one property, read-only or not; returns 0, or -1 when it was not set.
int host_property_unset(const char* name);

#ifdef __cplusplus
}
#endif
