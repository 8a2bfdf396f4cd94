// kavo::AlgorithmMemory: the process-wide registry of every block, mapping and object the plug-in
// allocates while tracing is on. One record per live allocation (where, how large), byte counters
// with a high-water mark, a printout, and the leak check run when a handle is released.
//
// All members are static. With tracing off (sDebugEnable == 0) every operation returns at once:
// inserts, deletes, finds and sizes give 0, mapCheck gives 1 and memFinalCheck gives 0.
//
// Locks: sMemLock guards the counters, sMapLock sMemMap, sHardBuffLock sRefNum, sGraphicBuffLock
// sGBMap. The only nesting is sMapLock held while the host's APS locks are taken by the mirror;
// callers apply counter operations after the map operation has returned, so sMemLock is never
// taken under sMapLock.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace kavo {

enum AlgoMemFlag : int32_t {
    ALGO_MEM_NATIVE = 0,
    ALGO_MEM_HARDWARE_BUFFER = 1,
    ALGO_MEM_GRAPHIC_BUFFER = 2,
};

struct AlgoMemInfo {
    void* address;
    uint64_t virtualAddress;  // the pointer itself, or the caller's handle for virtual entries
    uint64_t begin;
    uint64_t end;  // one past the last byte
    std::string file;
    int32_t line;
    uint32_t size;
    int32_t refs;
    int32_t flag;  // 0 allocation, 1 attached external buffer, else virtual entry
};

class AlgorithmMemory {
  public:
    AlgorithmMemory() = delete;

    static void memTraceInit(int mode);

    static uint32_t mapInsert(void* p, uint32_t size, int flag, const std::string& file, int line);
    static uint32_t virtureMapInsert(uint64_t handle, void* p, uint32_t size, int flag,
                                     const std::string& file, int line);
    static uint32_t mapDelete(void* p, const std::string& file, int line);
    static uint32_t virtureMapDelete(uint64_t handle);
    static uint32_t mapFind(void* p);
    static int mapCheck(void* p, uint32_t offset, uint32_t elementSize, uint32_t accessSize,
                        const std::string& file, int line);

    static void nativeMemAdd(uint32_t bytes);
    static void nativeMemDec(uint32_t bytes);
    static void externalMemAdd(uint32_t bytes);
    static void externalMemDec(uint32_t bytes);
    static void virtureMemAdd(uint32_t bytes);
    static void virtureMemDec(uint32_t bytes);

    static uint32_t getTotalMemSize();
    static uint32_t getInternalMemSize();
    static uint32_t getInternalMemMaxSize();
    static uint32_t getTotalHardwareSize();
    static uint32_t getTotalGraphicSize();

    static void memLogPrint(void* p, uint32_t size, AlgoMemFlag kind, int isFree, std::string file,
                            int line, int refs, int entryFlag);
    static void mapPrint(AlgoMemFlag kind);
    // 0, or SDK_OUT_OF_MEMORY_ERR (1041) when native, hardware or graphic memory is still held.
    static int memFinalCheck();

    static int64_t sDebugEnable;
    static uint32_t sNativeUsingSize;
    static uint32_t sNativeUsingMaxSize;
    static uint32_t sExternalUsingSize;
    static uint32_t sVirtureUsingSize;
    static std::mutex sMemLock;
    static std::mutex sMapLock;
    static std::mutex sHardBuffLock;
    static std::mutex sGraphicBuffLock;
    static std::map<void*, AlgoMemInfo> sMemMap;
    static std::map<void*, AlgoMemInfo> sRefNum;
    static std::map<void*, AlgoMemInfo> sGBMap;
};

}  // namespace kavo

// Unregisters a block or object before the caller frees or deletes it.
#define KAVO_UNTRACK(p)                    \
    ::kavo::AlgorithmMemory::nativeMemDec( \
        ::kavo::AlgorithmMemory::mapDelete(static_cast<void*>(p), __FILE__, __LINE__))
