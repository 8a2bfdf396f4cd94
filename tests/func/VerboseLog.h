// The log mask for the func tests, which link the logger directly.
#pragma once

#include "LogExpect.h"
#include "LogPrintf.h"

namespace functest {

using testsupport::loggedOnce;

// Opens the INFO and DEBUG levels for one test and puts the mask back to errors only.
class VerboseLog {
  public:
    VerboseLog() { kavo::LogPrintf::setLogStatus(15); }
    ~VerboseLog() { kavo::LogPrintf::setLogStatus(1); }
    VerboseLog(const VerboseLog&) = delete;
    VerboseLog& operator=(const VerboseLog&) = delete;
};

}  // namespace functest
