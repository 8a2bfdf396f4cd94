#include "ApsMemMap.h"

namespace hostaps {

kavo::APSMemMapInfo ApsMemMap::info() {
    return {&nativeMemLock_, &nativeUsingSize_, &mapLock_, &hardBuffLock_, &memMap_, &refNum_};
}

uint64_t ApsMemMap::hashCode(const void* p) {
    return ~static_cast<uint64_t>(reinterpret_cast<uintptr_t>(p));
}

uint32_t ApsMemMap::nativeUsingSize() const {
    std::lock_guard<std::mutex> guard(nativeMemLock_);
    return nativeUsingSize_;
}

size_t ApsMemMap::nativeRecordCount() const {
    std::lock_guard<std::mutex> guard(mapLock_);
    return memMap_.size();
}

size_t ApsMemMap::hardwareRecordCount() const {
    std::lock_guard<std::mutex> guard(hardBuffLock_);
    return refNum_.size();
}

std::optional<kavo::APSNativeMemRecord> ApsMemMap::nativeRecord(const void* p) const {
    std::lock_guard<std::mutex> guard(mapLock_);
    const auto it = memMap_.find(hashCode(p));
    if (it == memMap_.end())
        return std::nullopt;
    return it->second;
}

std::optional<kavo::APSHardwareBuffRecord> ApsMemMap::hardwareRecord(const void* p) const {
    std::lock_guard<std::mutex> guard(hardBuffLock_);
    const auto it = refNum_.find(hashCode(p));
    if (it == refNum_.end())
        return std::nullopt;
    return it->second;
}

std::vector<uint64_t> ApsMemMap::nativeKeys() const {
    std::lock_guard<std::mutex> guard(mapLock_);
    std::vector<uint64_t> keys;
    keys.reserve(memMap_.size());
    for (const auto& entry : memMap_)
        keys.push_back(entry.first);
    return keys;
}

void ApsMemMap::clear() {
    {
        std::lock_guard<std::mutex> guard(mapLock_);
        memMap_.clear();
    }
    {
        std::lock_guard<std::mutex> guard(hardBuffLock_);
        refNum_.clear();
    }
    std::lock_guard<std::mutex> guard(nativeMemLock_);
    nativeUsingSize_ = 0;
}

}  // namespace hostaps
