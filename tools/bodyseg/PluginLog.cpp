#include "PluginLog.h"

#include <android/log.h>

#include <cstdio>
#include <mutex>

namespace bodyseg {

namespace {

std::mutex gLock;
std::vector<LogLine> gLines;
bool gEcho = false;

char priorityLetter(int priority) {
    switch (priority) {
        case ANDROID_LOG_VERBOSE:
            return 'V';
        case ANDROID_LOG_DEBUG:
            return 'D';
        case ANDROID_LOG_INFO:
            return 'I';
        case ANDROID_LOG_WARN:
            return 'W';
        case ANDROID_LOG_ERROR:
            return 'E';
        default:
            return 'F';
    }
}

// The runtime stand-ins may log from their worker threads.
void keepLine(const struct __android_logger_data* data, const char* message) {
    std::string text = message != nullptr ? message : "";
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    const std::string tag = data->tag != nullptr ? data->tag : "";
    std::lock_guard<std::mutex> guard(gLock);
    if (gEcho)
        std::fprintf(stderr, "log %c %s: %s\n", priorityLetter(data->priority), tag.c_str(),
                     text.c_str());
    gLines.push_back({data->priority, tag, std::move(text)});
}

}  // namespace

void captureAndroidLog(bool echo) {
    {
        std::lock_guard<std::mutex> guard(gLock);
        gEcho = echo;
    }
    // liblog drops lines below its minimum priority before any logger sees them.
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(keepLine);
}

std::vector<LogLine> takeLogLines() {
    std::lock_guard<std::mutex> guard(gLock);
    std::vector<LogLine> lines;
    lines.swap(gLines);
    return lines;
}

}  // namespace bodyseg
