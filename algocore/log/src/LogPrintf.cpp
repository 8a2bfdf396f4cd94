#include "LogPrintf.h"

#include <android/log.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Properties.h"

namespace kavo {

namespace {
constexpr const char* kAndroidTag = "beauty-sdk-body-detect";
constexpr size_t kMessageBytes = 1024;
}  // namespace

uint32_t LogPrintf::mLogLevel = kLogError;

LogPrintf::LogPrintf() {
    mLogLevel = kLogError;
}

LogPrintf::~LogPrintf() {
    mLogLevel = kLogError;
}

void LogPrintf::setLogStatus(int level) {
    mLogLevel = static_cast<uint32_t>(level);
}

void LogPrintf::setLogStatusByProp(const char* key, const char* defValue) {
    char value[PROPERTY_VALUE_MAX] = {0};
    property_get(key, value, defValue);
    const int level = atoi(value);
    if (level != 0)
        mLogLevel = static_cast<uint32_t>(level) & 0x3F;
}

const char* LogPrintf::baseName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

void LogPrintf::logPrint(uint32_t level, const char* format, ...) {
    const uint32_t mask = mLogLevel;
    if (mask == 0)
        return;

    // Messages are formatted with explicit truncation: an over-long message must never take the
    // camera host down with it.
    char text[kMessageBytes];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);

    if (mask == kLogConsoleMode) {
        printf("%s \n", text);
        return;
    }
    const uint32_t bits = mask & level;
    if (bits & kLogError) {
        __android_log_write(ANDROID_LOG_ERROR, kAndroidTag, text);
    } else if (bits & kLogWarn) {
        __android_log_write(ANDROID_LOG_WARN, kAndroidTag, text);
    } else if (bits & kLogInfo) {
        __android_log_write(ANDROID_LOG_INFO, kAndroidTag, text);
    } else if (bits & kLogDebug) {
        __android_log_write(ANDROID_LOG_DEBUG, kAndroidTag, text);
    } else if (bits & kLogVerbose) {
        __android_log_write(ANDROID_LOG_VERBOSE, kAndroidTag, text);
    } else if (bits & kLogConsole) {
        printf("%s %s\n", kAndroidTag, text);
    }
}

}  // namespace kavo
