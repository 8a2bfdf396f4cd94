// The camera host's memory map for algorithm plug-ins: the locks, the native byte counter and the
// two maps that a plug-in fills through kavo::APSAlgoMemTrace once the host has handed them over
// with info(). The queries take the same locks as the plug-in, so they may run while plug-in
// threads allocate.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "APSMemMapInfo.h"

namespace hostaps {

class ApsMemMap {
  public:
    ApsMemMap() = default;
    ApsMemMap(const ApsMemMap&) = delete;
    ApsMemMap& operator=(const ApsMemMap&) = delete;

    // The record a plug-in's setAPSMemInfo takes: pointers into this object, valid while it lives.
    kavo::APSMemMapInfo info();

    // The host's key rule: the bitwise complement of the pointer's value.
    static uint64_t hashCode(const void* p);

    uint32_t nativeUsingSize() const;
    size_t nativeRecordCount() const;
    size_t hardwareRecordCount() const;
    std::optional<kavo::APSNativeMemRecord> nativeRecord(const void* p) const;
    std::optional<kavo::APSHardwareBuffRecord> hardwareRecord(const void* p) const;
    // Every key of the native map, in key order.
    std::vector<uint64_t> nativeKeys() const;

    // Empties both maps and zeroes the counter.
    void clear();

  private:
    mutable std::mutex nativeMemLock_;
    uint32_t nativeUsingSize_ = 0;
    mutable std::mutex mapLock_;
    mutable std::mutex hardBuffLock_;
    kavo::APSNativeMemMap memMap_;
    kavo::APSHardwareBuffMap refNum_;
};

}  // namespace hostaps
