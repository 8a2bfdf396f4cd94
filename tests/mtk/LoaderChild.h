// The ground of the loader tests. Each vendor function is bound once per process and never again,
// so every case runs in a fresh child process whose parent has loaded and bound nothing.
#pragma once

#include <functional>
#include <string>

#include "ChildChecks.h"
#include "ChildProcess.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "LogLevelScope.h"
#include "MtkLogExpect.h"

namespace mtktest {

// The NeuroPilot libraries the shim may open; the static variants are where older phones keep it.
constexpr const char* kTfliteGeneric = "libtflite_mtk.so";
constexpr const char* kTfliteStatic = "libtflite_mtk_static.so";
constexpr const char* kTfliteStaticR = "libtflite_mtk_static_R.so";

// Runs `body` in a fresh child with every line from then on captured, INFO included. Returns what
// failed there, with the child's log, or "" when every check held.
inline std::string inFreshProcess(
    const std::function<void(testsupport::ChildChecks&, testsupport::LogCapture&)>& body) {
    return testsupport::runInChild([&body] {
        testsupport::ChildChecks checks;
        const testsupport::LogLevelScope level(kavo::kLogError | kavo::kLogWarn | kavo::kLogInfo);
        testsupport::LogCapture log;
        body(checks, log);
        return checks.ok() ? std::string() : checks.verdict() + "log:" + dump(log);
    });
}

}  // namespace mtktest
