#include "APSAlgoMemTrace.h"

#include "LogPrintf.h"
#include "StatusCodes.h"

namespace kavo {

int32_t APSAlgoMemTrace::sAPSMemEnable = 0;
APSMemMapInfo APSAlgoMemTrace::sAPSMemInfo = {};

int APSAlgoMemTrace::setAPSMemInfo(APSMemMapInfo* info) {
    sAPSMemEnable = 0;
    if (info == nullptr) {
        KAVO_LOGE("APSMemInfo is nullptr");
        return SDK_INPUT_BUFFER_NULL_ERR;
    }
    void* const nativeMemLock = info->sAPSNativeMemLock;
    void* const nativeUsingSize = info->sAPSNativeUsingSize;
    void* const mapLock = info->sAPSMapLock;
    void* const hardBuffLock = info->sAPSHardBuffLock;
    void* const memMap = info->sAPSMemMap;
    void* const refNum = info->sAPSRefNum;
    if (nativeMemLock == nullptr || nativeUsingSize == nullptr || mapLock == nullptr ||
        hardBuffLock == nullptr || memMap == nullptr || refNum == nullptr) {
        KAVO_LOGE(
            "input sAPSNativeMemLock:%p, sAPSNativeUsingSize:%p, sAPSMapLock:%p, "
            "sAPSHardBuffLock:%p,sAPSMemMap:%p, sAPSRefNum:%p",
            nativeMemLock, nativeUsingSize, mapLock, hardBuffLock, memMap, refNum);
        return SDK_INPUT_BUFFER_NULL_ERR;
    }
    KAVO_LOGI(
        "input sAPSNativeMemLock:%p, sAPSNativeUsingSize:%p, sAPSMapLock:%p, "
        "sAPSHardBuffLock:%p,sAPSMemMap:%p, sAPSRefNum:%p",
        nativeMemLock, nativeUsingSize, mapLock, hardBuffLock, memMap, refNum);
    sAPSMemInfo.sAPSNativeMemLock = info->sAPSNativeMemLock;
    sAPSMemInfo.sAPSNativeUsingSize = info->sAPSNativeUsingSize;
    sAPSMemInfo.sAPSMapLock = info->sAPSMapLock;
    sAPSMemInfo.sAPSHardBuffLock = info->sAPSHardBuffLock;
    sAPSMemInfo.sAPSMemMap = info->sAPSMemMap;
    sAPSMemInfo.sAPSRefNum = info->sAPSRefNum;
    sAPSMemEnable = 1;
    return SDK_SUCCESS;
}

uint64_t APSAlgoMemTrace::getHashCode(const void* p) {
    return ~static_cast<uint64_t>(reinterpret_cast<uintptr_t>(p));
}

uint32_t APSAlgoMemTrace::mapAPSNativeMapInsert(void* p, uint32_t size, const std::string& file,
                                                int line) {
    if (size == 0 || p == nullptr || sAPSMemEnable == 0)
        return 0;
    const uint64_t key = getHashCode(p);
    std::lock_guard<std::mutex> guard(*sAPSMemInfo.sAPSMapLock);
    APSNativeMemMap& map = *sAPSMemInfo.sAPSMemMap;
    if (map.count(key) != 0) {
        KAVO_LOGE("addr: [%p] had insert into aps map, ignore it!, Source File: %s, Line Num:%d", p,
                  file.c_str(), line);
        return 0;
    }
    map.emplace(key, APSNativeMemRecord{file, line, size});
    return size;
}

uint32_t APSAlgoMemTrace::mapAPSNativeMapDelete(void* p, const std::string& file, int line) {
    if (p == nullptr || sAPSMemEnable == 0)
        return 0;
    std::lock_guard<std::mutex> guard(*sAPSMemInfo.sAPSMapLock);
    APSNativeMemMap& map = *sAPSMemInfo.sAPSMemMap;
    const auto it = map.find(getHashCode(p));
    if (it == map.end()) {
        KAVO_LOGI("addr: [%p] not in aps map!, Source File: %s, Line Num:%d", p, file.c_str(),
                  line);
        return 0;
    }
    const uint32_t size = it->second.size;
    map.erase(it);
    return size;
}

void APSAlgoMemTrace::mapAPSNativeMemAdd(uint32_t bytes) {
    if (sAPSMemEnable == 0)
        return;
    std::lock_guard<std::mutex> guard(*sAPSMemInfo.sAPSNativeMemLock);
    *sAPSMemInfo.sAPSNativeUsingSize += bytes;
}

void APSAlgoMemTrace::mapAPSNativeMemDec(uint32_t bytes) {
    if (sAPSMemEnable == 0)
        return;
    std::lock_guard<std::mutex> guard(*sAPSMemInfo.sAPSNativeMemLock);
    *sAPSMemInfo.sAPSNativeUsingSize -= bytes;
}

uint32_t APSAlgoMemTrace::mapAPSHardwareBuffInsert(void* buffer, uint32_t size,
                                                   const std::string& file, int line,
                                                   uint32_t attr0, uint32_t attr1, uint32_t attr2) {
    if (buffer == nullptr || sAPSMemEnable == 0)
        return 0;
    const uint64_t key = getHashCode(buffer);
    std::lock_guard<std::mutex> guard(*sAPSMemInfo.sAPSHardBuffLock);
    APSHardwareBuffMap& map = *sAPSMemInfo.sAPSRefNum;
    const auto it = map.find(key);
    if (it != map.end()) {
        KAVO_LOGI("addr: [%p] had insert into aps map,refs add 1", buffer);
        ++it->second.refs;
        return size;
    }
    map.emplace(key, APSHardwareBuffRecord{file, line, size, {attr0, attr1, attr2}, 1});
    return size;
}

void APSAlgoMemTrace::mapAPSHardwareBuffDelete(void* buffer, const std::string& file, int line) {
    if (buffer == nullptr || sAPSMemEnable == 0)
        return;
    std::lock_guard<std::mutex> guard(*sAPSMemInfo.sAPSHardBuffLock);
    APSHardwareBuffMap& map = *sAPSMemInfo.sAPSRefNum;
    const auto it = map.find(getHashCode(buffer));
    if (it == map.end()) {
        KAVO_LOGE("Hardware buff release :%p error! Source File: %s, Line Num: %d", buffer,
                  file.c_str(), line);
        return;
    }
    if (--it->second.refs == 0)
        map.erase(it);
}

}  // namespace kavo
