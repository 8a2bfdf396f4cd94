// kavo::APSAlgoMemTrace: mirrors the plug-in's native allocations into the camera host's own
// memory map, so that the host accounts for them next to its own.
//
// The host hands in its map once with setAPSMemInfo; until then (and after any call with an
// incomplete record) mirroring is off and every operation costs one test. All members are static.
//
// Locks: only the host's mutexes are taken here. The registry calls the native insert and delete
// while it holds its own map lock, and the counter update after them, so the order is always the
// registry's map lock, then the host's map lock, released, then the host's counter lock.
#pragma once

#include <cstdint>
#include <string>

#include "APSMemMapInfo.h"
#include "KavoExport.h"

namespace kavo {

class APSAlgoMemTrace {
  public:
    APSAlgoMemTrace() = delete;

    // Takes the host's map: 0, or SDK_INPUT_BUFFER_NULL_ERR (1027) when `info` or any of its six
    // pointers is null, which also switches mirroring off. Call before other threads allocate.
    KAVO_EXPORT static int setAPSMemInfo(APSMemMapInfo* info);

    // The key of `p` in the host's maps: the bitwise complement of its value.
    static uint64_t getHashCode(const void* p);

    // Size inserted, or 0 (size 0, null, mirroring off, or already in the host's map).
    static uint32_t mapAPSNativeMapInsert(void* p, uint32_t size, const std::string& file,
                                          int line);
    // Size of the removed record, or 0.
    static uint32_t mapAPSNativeMapDelete(void* p, const std::string& file, int line);
    static void mapAPSNativeMemAdd(uint32_t bytes);
    static void mapAPSNativeMemDec(uint32_t bytes);

    // A repeated buffer is counted (one more reference), not refused. Returns the size, or 0 for a
    // null buffer or with mirroring off.
    static uint32_t mapAPSHardwareBuffInsert(void* buffer, uint32_t size, const std::string& file,
                                             int line, uint32_t attr0, uint32_t attr1,
                                             uint32_t attr2);
    // Drops one reference; the record goes with the last one.
    static void mapAPSHardwareBuffDelete(void* buffer, const std::string& file, int line);

    static int32_t sAPSMemEnable;
    static APSMemMapInfo sAPSMemInfo;
};

}  // namespace kavo
