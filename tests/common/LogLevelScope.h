// The process-wide log mask set for one scope, for tests that link the logger itself.
#pragma once
#include <cstdint>

#include "LogPrintf.h"

namespace testsupport {

// Sets the process-wide log mask for one scope and puts the previous mask back.
class LogLevelScope {
  public:
    explicit LogLevelScope(uint32_t mask) : saved_(kavo::LogPrintf::mLogLevel) {
        kavo::LogPrintf::setLogStatus(static_cast<int>(mask));
    }
    ~LogLevelScope() { kavo::LogPrintf::mLogLevel = saved_; }
    LogLevelScope(const LogLevelScope&) = delete;
    LogLevelScope& operator=(const LogLevelScope&) = delete;

  private:
    uint32_t saved_;
};

}  // namespace testsupport
