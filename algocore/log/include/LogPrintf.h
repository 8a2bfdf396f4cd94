// The plug-in's one logger: a process-wide level mask and a formatter that writes to the Android
// log under the tag "beauty-sdk-body-detect" (or to standard output in console mode).
//
// Every message goes through one of the KAVO_LOG* macros below. A macro tests its level bit against
// the mask first, so a disabled statement evaluates none of its arguments and computes no base
// name: logging that is off costs one load and one bit test.
#pragma once

#include <cstdint>

namespace kavo {

// Level bits of LogPrintf::mLogLevel.
enum LogLevelBit : uint32_t {
    kLogError = 1,
    kLogWarn = 2,
    kLogInfo = 4,
    kLogDebug = 8,
    kLogVerbose = 16,
    kLogConsole = 32,
};

// The mask value that sends every message to standard output instead of the Android log.
constexpr uint32_t kLogConsoleMode = 255;

class LogPrintf {
  public:
    // Constructing or destroying a LogPrintf resets the process-wide mask to errors only.
    LogPrintf();
    virtual ~LogPrintf();

    // Stores `level` unchanged: 0 silences, 255 is console mode.
    static void setLogStatus(int level);
    // Reads the property `key` (default `defValue`); a non-zero number becomes the mask with only
    // its six level bits kept, so a property can never select console mode or silence the logger.
    static void setLogStatusByProp(const char* key, const char* defValue);
    // Formats one message (truncated to 1023 bytes) and emits it for the lowest bit of
    // `level & mLogLevel`.
    static void logPrint(uint32_t level, const char* format, ...)
        __attribute__((format(printf, 2, 3)));

    // The text after the last '/' of `path`, or `path` itself when it has none.
    static const char* baseName(const char* path);

    static uint32_t mLogLevel;
};

}  // namespace kavo

#define KAVO_LOG_TAG "KAVO"
#define KAVO_LOG_HEAD(word) "[" word "] [%s] [%s] %d  %s() "

// The general form: level bit, level word, source path and function name are explicit, for the
// few call sites that report on behalf of another file or function.
#define KAVO_LOG_WHERE(bit, word, file, func, fmt, ...)                                      \
    do {                                                                                     \
        if (::kavo::LogPrintf::mLogLevel & (bit)) {                                          \
            ::kavo::LogPrintf::logPrint((bit), KAVO_LOG_HEAD(word) fmt, KAVO_LOG_TAG,        \
                                        ::kavo::LogPrintf::baseName(file), __LINE__, (func), \
                                        ##__VA_ARGS__);                                      \
        }                                                                                    \
    } while (0)

#define KAVO_LOGE(fmt, ...) \
    KAVO_LOG_WHERE(::kavo::kLogError, "ERROR", __FILE__, __FUNCTION__, fmt, ##__VA_ARGS__)
// "WARING" is the product's own spelling of the warning head; hosts grep for it.
#define KAVO_LOGW(fmt, ...) \
    KAVO_LOG_WHERE(::kavo::kLogWarn, "WARING", __FILE__, __FUNCTION__, fmt, ##__VA_ARGS__)
#define KAVO_LOGI(fmt, ...) \
    KAVO_LOG_WHERE(::kavo::kLogInfo, "INFO", __FILE__, __FUNCTION__, fmt, ##__VA_ARGS__)
#define KAVO_LOGD(fmt, ...) \
    KAVO_LOG_WHERE(::kavo::kLogDebug, "DEBUG", __FILE__, __FUNCTION__, fmt, ##__VA_ARGS__)

// Entry and exit traces of the public operations.
#define KAVO_TRACE_ENTRY() KAVO_LOGD("E")
#define KAVO_TRACE_EXIT() KAVO_LOGD("X")
