#include "LogCapture.h"

#include <android/log.h>

#include <mutex>

namespace testsupport {

namespace {

std::mutex gLock;
std::vector<LogLine>* gLines = nullptr;

void captureLine(const struct __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> guard(gLock);
    if (gLines != nullptr)
        gLines->push_back({data->priority, data->tag ? data->tag : "", message});
}

}  // namespace

LogCapture::LogCapture() {
    {
        std::lock_guard<std::mutex> guard(gLock);
        gLines = new std::vector<LogLine>;
    }
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(captureLine);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
    std::lock_guard<std::mutex> guard(gLock);
    delete gLines;
    gLines = nullptr;
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> guard(gLock);
    return *gLines;
}

std::vector<LogLine> LogCapture::matching(const std::string& needle) const {
    std::vector<LogLine> found;
    for (const LogLine& line : lines()) {
        if (line.text.find(needle) != std::string::npos)
            found.push_back(line);
    }
    return found;
}

size_t LogCapture::errorCount() const {
    size_t count = 0;
    for (const LogLine& line : lines())
        count += line.priority == ANDROID_LOG_ERROR;
    return count;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> guard(gLock);
    gLines->clear();
}

}  // namespace testsupport
