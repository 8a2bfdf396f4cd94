// The camera host's process-wide memory map (the APS map), as the host hands it to a plug-in.
//
// This header is the ABI between the host and every plug-in that mirrors its allocations: the
// plug-in inserts nodes into the host's maps and destroys the nodes it removes, so both sides must
// be built against exactly these definitions and the same standard library.
//
// Both maps are keyed by the hash code of a pointer, the bitwise complement of its value; the raw
// pointer is never a key.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace kavo {

// One native allocation mirrored by a plug-in.
struct APSNativeMemRecord {
    std::string file;  // the allocating source file, copied
    int32_t line;
    uint32_t size;  // bytes
};

// One hardware buffer, shared by reference count.
struct APSHardwareBuffRecord {
    std::string file;
    int32_t line;
    uint32_t size;
    uint32_t attrs[3];  // the caller's descriptors of the buffer, carried for the host's report
    int32_t refs;
};

using APSNativeMemMap = std::map<uint64_t, APSNativeMemRecord>;
using APSHardwareBuffMap = std::map<uint64_t, APSHardwareBuffRecord>;

// Pointers into the host's memory; the plug-in copies them and never owns or frees them.
struct APSMemMapInfo {
    std::mutex* sAPSNativeMemLock;   // guards *sAPSNativeUsingSize
    uint32_t* sAPSNativeUsingSize;   // native bytes mirrored by all plug-ins
    std::mutex* sAPSMapLock;         // guards *sAPSMemMap
    std::mutex* sAPSHardBuffLock;    // guards *sAPSRefNum
    APSNativeMemMap* sAPSMemMap;     // native allocations
    APSHardwareBuffMap* sAPSRefNum;  // hardware buffers with reference counts
};

}  // namespace kavo
