// Exact log texts at the boundary: one line, at one priority, ending in "<function>() <message>"
// behind the logger's fixed head.
#pragma once

#include <android/log.h>
#include <gtest/gtest.h>

#include <string>

#include "LogCapture.h"

namespace testsupport {

inline std::string levelWord(int priority) {
    switch (priority) {
        case ANDROID_LOG_ERROR:
            return "[ERROR]";
        case ANDROID_LOG_WARN:
            return "[WARING]";
        case ANDROID_LOG_INFO:
            return "[INFO]";
        case ANDROID_LOG_DEBUG:
            return "[DEBUG]";
        default:
            return "[?]";
    }
}

inline ::testing::AssertionResult loggedOnce(const LogCapture& log, int priority,
                                             const std::string& function,
                                             const std::string& message) {
    const std::string head = levelWord(priority) + " [KAVO] [";
    const std::string tail = function + "() " + message;
    int count = 0;
    std::string seen;
    for (const LogLine& line : log.lines()) {
        seen += "\n  " + std::to_string(line.priority) + " " + line.text;
        const bool ends = line.text.size() >= tail.size() &&
                          line.text.compare(line.text.size() - tail.size(), tail.size(), tail) == 0;
        if (line.priority == priority && line.tag == "beauty-sdk-body-detect" &&
            line.text.rfind(head, 0) == 0 && ends) {
            ++count;
        }
    }
    if (count == 1)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << count << " lines " << levelWord(priority) << " ... " << tail << "; log:" << seen;
}

}  // namespace testsupport
