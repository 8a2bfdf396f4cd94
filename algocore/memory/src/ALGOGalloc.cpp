#include "ALGOGalloc.h"

#include <algorithm>
#include <cstdlib>

#include "APSAlgoMemTrace.h"
#include "LogPrintf.h"
#include "Properties.h"
#include "StatusCodes.h"

namespace kavo {

namespace {

constexpr const char* kDebugEnableProperty = "vendor.camera.mem.debug.enable";
// The mode handle initialisation passes: tracing on whatever the property says.
constexpr int kTraceForced = 256;

uint64_t addressOf(const void* p) {
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(p));
}

// Sum of the sizes of the records still referenced; the caller holds the map's lock.
uint32_t referencedBytes(const std::map<void*, AlgoMemInfo>& map) {
    uint32_t total = 0;
    for (const auto& entry : map) {
        if (entry.second.refs >= 1)
            total += entry.second.size;
    }
    return total;
}

// Prints every record of one map under its lock; the caller picks the map and lock by kind.
void printRecords(std::mutex& lock, const std::map<void*, AlgoMemInfo>& map, AlgoMemFlag kind) {
    std::lock_guard<std::mutex> guard(lock);
    for (const auto& entry : map) {
        const AlgoMemInfo& info = entry.second;
        AlgorithmMemory::memLogPrint(info.address, info.size, kind, 0, info.file, info.line,
                                     info.refs, info.flag);
    }
}

}  // namespace

int64_t AlgorithmMemory::sDebugEnable = 0;
uint32_t AlgorithmMemory::sNativeUsingSize = 0;
uint32_t AlgorithmMemory::sNativeUsingMaxSize = 0;
uint32_t AlgorithmMemory::sExternalUsingSize = 0;
uint32_t AlgorithmMemory::sVirtureUsingSize = 0;
// Construction order matters at unload: the maps go before the locks that guard them.
std::mutex AlgorithmMemory::sMemLock;
std::mutex AlgorithmMemory::sMapLock;
std::mutex AlgorithmMemory::sHardBuffLock;
std::mutex AlgorithmMemory::sGraphicBuffLock;
std::map<void*, AlgoMemInfo> AlgorithmMemory::sMemMap;
std::map<void*, AlgoMemInfo> AlgorithmMemory::sRefNum;
std::map<void*, AlgoMemInfo> AlgorithmMemory::sGBMap;

void AlgorithmMemory::memTraceInit(int mode) {
    char value[PROPERTY_VALUE_MAX] = {0};
    property_get(kDebugEnableProperty, value, "0");
    const int enable = atoi(value);
    KAVO_LOGI("debug enbale:%d", enable);
    sDebugEnable = (enable == 1 || mode == kTraceForced) ? 1 : 0;
    std::lock_guard<std::mutex> guard(sMemLock);
    sNativeUsingMaxSize = 0;
}

uint32_t AlgorithmMemory::mapInsert(void* p, uint32_t size, int flag, const std::string& file,
                                    int line) {
    if (size == 0 || p == nullptr || sDebugEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(sMapLock);
    if (sMemMap.count(p) != 0)
        return 0;
    const uint64_t begin = addressOf(p);
    sMemMap.emplace(p, AlgoMemInfo{p, begin, begin, begin + size, file, line, size, 1, flag});
    APSAlgoMemTrace::mapAPSNativeMemAdd(
        APSAlgoMemTrace::mapAPSNativeMapInsert(p, size, file, line));
    return size;
}

uint32_t AlgorithmMemory::virtureMapInsert(uint64_t handle, void* p, uint32_t size, int flag,
                                           const std::string& file, int line) {
    if (size == 0 || p == nullptr || sDebugEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(sMapLock);
    if (sMemMap.count(p) != 0)
        return 0;
    const uint64_t begin = addressOf(p);
    sMemMap.emplace(p, AlgoMemInfo{p, handle, begin, begin + size, file, line, size, 1, flag});
    return size;
}

uint32_t AlgorithmMemory::mapDelete(void* p, const std::string& file, int line) {
    if (p == nullptr || sDebugEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(sMapLock);
    const auto it = sMemMap.find(p);
    if (it == sMemMap.end()) {
        KAVO_LOGI("addr: [%p] not in map!, Source File: %s, Line Num:%d", p, file.c_str(), line);
        return 0;
    }
    const uint32_t size = it->second.size;
    sMemMap.erase(it);
    APSAlgoMemTrace::mapAPSNativeMemDec(APSAlgoMemTrace::mapAPSNativeMapDelete(p, file, line));
    return size;
}

uint32_t AlgorithmMemory::virtureMapDelete(uint64_t handle) {
    if (sDebugEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(sMapLock);
    const auto it = std::find_if(sMemMap.begin(), sMemMap.end(), [handle](const auto& entry) {
        return entry.second.virtualAddress == handle;
    });
    if (it == sMemMap.end())
        return 0;
    const uint32_t size = it->second.size;
    sMemMap.erase(it);
    return size;
}

uint32_t AlgorithmMemory::mapFind(void* p) {
    if (sDebugEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(sMapLock);
    const auto it = sMemMap.find(p);
    if (it == sMemMap.end()) {
        KAVO_LOGE("addr: [%p] not in map!", p);
        return 0;
    }
    return it->second.size;
}

int AlgorithmMemory::mapCheck(void* p, uint32_t offset, uint32_t elementSize, uint32_t accessSize,
                              const std::string& file, int line) {
    if (sDebugEnable == 0)
        return 1;
    std::lock_guard<std::mutex> guard(sMapLock);
    if (p == nullptr) {
        KAVO_LOGE("SDK_NULL_POINTER_ERR! addr is NULL");
        return 0;
    }
    const auto it = sMemMap.find(p);
    if (it == sMemMap.end()) {
        KAVO_LOGE("addr: [%p] not in map!", p);
        return 0;
    }
    const AlgoMemInfo& info = it->second;
    const uint64_t point = addressOf(p) + static_cast<uint32_t>(offset * elementSize);
    // The reports print the block's own address as "point"; hosts' log parsers expect it.
    if (point < info.begin || point >= info.end) {
        KAVO_LOGE(
            "SDK_OUT_OF_MEMORY_ERR! begin 0x%llx, end 0x%llx, point 0x%llx, offset %lu, "
            "elementSize %ld, File: %s, Line Num:%d",
            static_cast<unsigned long long>(info.begin), static_cast<unsigned long long>(info.end),
            static_cast<unsigned long long>(addressOf(p)), static_cast<unsigned long>(offset),
            static_cast<long>(elementSize), file.c_str(), line);
        return 0;
    }
    if (point + accessSize > info.end) {
        KAVO_LOGE(
            "SDK_OUT_OF_MEMORY_ERR! begin 0x%llx, end 0x%llx, point 0x%llx, offset %lu, "
            "elementSize %ld,size %lu, File: %s, Line Num:%d",
            static_cast<unsigned long long>(info.begin), static_cast<unsigned long long>(info.end),
            static_cast<unsigned long long>(addressOf(p)), static_cast<unsigned long>(offset),
            static_cast<long>(elementSize), static_cast<unsigned long>(accessSize), file.c_str(),
            line);
        return 0;
    }
    return 1;
}

void AlgorithmMemory::nativeMemAdd(uint32_t bytes) {
    if (sDebugEnable == 0)
        return;
    std::lock_guard<std::mutex> guard(sMemLock);
    sNativeUsingSize += bytes;
    sNativeUsingMaxSize = std::max(sNativeUsingMaxSize, sNativeUsingSize);
}

void AlgorithmMemory::nativeMemDec(uint32_t bytes) {
    if (sDebugEnable == 0)
        return;
    std::lock_guard<std::mutex> guard(sMemLock);
    sNativeUsingSize -= bytes;
}

void AlgorithmMemory::externalMemAdd(uint32_t bytes) {
    if (sDebugEnable == 0)
        return;
    std::lock_guard<std::mutex> guard(sMemLock);
    sExternalUsingSize += bytes;
}

void AlgorithmMemory::externalMemDec(uint32_t bytes) {
    if (sDebugEnable == 0)
        return;
    std::lock_guard<std::mutex> guard(sMemLock);
    sExternalUsingSize -= bytes;
}

void AlgorithmMemory::virtureMemAdd(uint32_t bytes) {
    if (sDebugEnable == 0)
        return;
    std::lock_guard<std::mutex> guard(sMemLock);
    sVirtureUsingSize += bytes;
}

void AlgorithmMemory::virtureMemDec(uint32_t bytes) {
    if (sDebugEnable == 0)
        return;
    std::lock_guard<std::mutex> guard(sMemLock);
    sVirtureUsingSize -= bytes;
}

uint32_t AlgorithmMemory::getTotalMemSize() {
    if (sDebugEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(sMemLock);
    return sNativeUsingSize + sExternalUsingSize + sVirtureUsingSize;
}

uint32_t AlgorithmMemory::getInternalMemSize() {
    if (sDebugEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(sMemLock);
    return sNativeUsingSize;
}

uint32_t AlgorithmMemory::getInternalMemMaxSize() {
    if (sDebugEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(sMemLock);
    return sNativeUsingMaxSize;
}

uint32_t AlgorithmMemory::getTotalHardwareSize() {
    if (sDebugEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(sHardBuffLock);
    return referencedBytes(sRefNum);
}

uint32_t AlgorithmMemory::getTotalGraphicSize() {
    if (sDebugEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(sGraphicBuffLock);
    return referencedBytes(sGBMap);
}

void AlgorithmMemory::memLogPrint(void* p, uint32_t size, AlgoMemFlag kind, int isFree,
                                  std::string file, int line, int refs, int entryFlag) {
    if (sDebugEnable == 0)
        return;
    const char* const f = file.c_str();
    const long bytes = static_cast<long>(size);
    if (kind == ALGO_MEM_GRAPHIC_BUFFER) {
        if (isFree == 0) {
            KAVO_LOGI("File: %s Line :%05d allocate GraphicBuffer %p size: %ld B  REFS: %d", f,
                      line, p, bytes, refs);
        } else {
            KAVO_LOGI("File: %s Line :%05d free GraphicBuffer %p size: %ld B REFS: %d", f, line, p,
                      bytes, refs);
        }
    } else if (kind == ALGO_MEM_HARDWARE_BUFFER) {
        if (isFree == 0) {
            KAVO_LOGI("File: %s Line :%05d allocate HardwareBuffer %p size: %ld B  REFS: %d", f,
                      line, p, bytes, refs);
        } else {
            KAVO_LOGI("File: %s Line :%05d free HardwareBuffer %p size: %ld B REFS: %d", f, line, p,
                      bytes, refs);
        }
    } else if (entryFlag == 0) {
        if (isFree == 0) {
            KAVO_LOGI("File: %s Line :%05d allocate Native Memory %p size: %ld B", f, line, p,
                      bytes);
        } else {
            KAVO_LOGI("File: %s Line :%05d free Native Memory %p size: %ld B", f, line, p, bytes);
        }
    } else if (entryFlag == 1) {
        if (isFree == 0) {
            KAVO_LOGI("File: %s Line :%05d attach Native Memory %p size: %ld B", f, line, p, bytes);
        } else {
            KAVO_LOGI("File: %s Line :%05d detach Native Memory %p size: %ld B", f, line, p, bytes);
        }
    } else {
        if (isFree == 0) {
            KAVO_LOGI("File: %s Line :%05d virture Memory %p size: %ld B", f, line, p, bytes);
        } else {
            KAVO_LOGI("File: %s Line :%05d free virture Memory %p size: %ld B", f, line, p, bytes);
        }
    }
}

void AlgorithmMemory::mapPrint(AlgoMemFlag kind) {
    KAVO_LOGI("sDebugEnable: %lld", static_cast<long long>(sDebugEnable));
    if (sDebugEnable == 0)
        return;
    KAVO_LOGI("ALGOGalloc map print E");
    KAVO_LOGI("Native MemTrace Log Print E Total mem use is %ld B",
              static_cast<long>(getTotalMemSize()));
    if (kind == ALGO_MEM_GRAPHIC_BUFFER) {
        KAVO_LOGI("GraphicBuffer MemTrace Refs Print E total graphic buffer use is %ld B",
                  static_cast<long>(getTotalGraphicSize()));
        printRecords(sGraphicBuffLock, sGBMap, kind);
        KAVO_LOGI("GraphicBuffer MemTrace Refs Print X");
    } else if (kind == ALGO_MEM_HARDWARE_BUFFER) {
        KAVO_LOGI("HardwareBuffer MemTrace Refs Print E total hardware buffer use is %ld B",
                  static_cast<long>(getTotalHardwareSize()));
        printRecords(sHardBuffLock, sRefNum, kind);
        KAVO_LOGI("HardwareBuffer MemTrace Refs Print X");
    } else {
        KAVO_LOGI("Native MemTrace Log Print E internal use is %ld B",
                  static_cast<long>(getInternalMemSize()));
        KAVO_LOGI("########## Max Native mem use is %ld B##########",
                  static_cast<long>(getInternalMemMaxSize()));
        printRecords(sMapLock, sMemMap, ALGO_MEM_NATIVE);
        KAVO_LOGI("Native MemTrace Log Print X");
    }
    KAVO_LOGI("ALGOGalloc map print  X");
}

int AlgorithmMemory::memFinalCheck() {
    if (sDebugEnable == 0)
        return 0;
    // One lock at a time: the three totals are read one after the other, never nested.
    const uint32_t hardware = getTotalHardwareSize();
    const uint32_t graphic = getTotalGraphicSize();
    const uint32_t native = getInternalMemSize();
    if (native == 0 && hardware == 0 && graphic == 0) {
        KAVO_LOGI("release memory is OK!");
        return SDK_SUCCESS;
    }
    if (native != 0)
        mapPrint(ALGO_MEM_NATIVE);
    if (hardware != 0)
        mapPrint(ALGO_MEM_HARDWARE_BUFFER);
    if (graphic != 0)
        mapPrint(ALGO_MEM_GRAPHIC_BUFFER);
    KAVO_LOGE("There is memory leak!");
    return SDK_OUT_OF_MEMORY_ERR;
}

}  // namespace kavo
