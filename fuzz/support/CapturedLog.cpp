#include "CapturedLog.h"

#include <android/log.h>

namespace fuzzsupport {

namespace {

// Fuzz targets run one input at a time on one thread, and the plug-in starts no thread.
std::vector<std::string>& lines() {
    static std::vector<std::string> errors;
    return errors;
}

void keepErrors(const struct __android_logger_data* data, const char* message) {
    if (data->priority == ANDROID_LOG_ERROR)
        lines().emplace_back(message);
}

}  // namespace

void captureLog() {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(keepErrors);
}

const std::vector<std::string>& errorLines() {
    return lines();
}

void clearLog() {
    lines().clear();
}

}  // namespace fuzzsupport
