// Captures what reaches the Android log (priority, tag, text) while it is alive, by installing a
// liblog logger. One capture at a time; it restores liblog's stderr logger when destroyed.
#pragma once

#include <string>
#include <vector>

namespace testsupport {

struct LogLine {
    int priority;
    std::string tag;
    std::string text;
};

class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    // Lines whose text contains `needle`.
    std::vector<LogLine> matching(const std::string& needle) const;
    // Number of lines at ANDROID_LOG_ERROR.
    size_t errorCount() const;
    void clear();
};

}  // namespace testsupport
