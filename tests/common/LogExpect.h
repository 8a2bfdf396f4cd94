// Exact log texts at the boundary: one line, at one priority, ending in "<function>() <message>"
// behind the logger's fixed head; and a logged line taken apart into its head and message.
#pragma once

#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

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

// A pointer as the logger's "%p" prints it.
inline std::string pointerText(const void* p) {
    char text[32];
    snprintf(text, sizeof(text), "%p", p);
    return text;
}

// The one line logged so far is `function`'s `message` at `priority`, behind the fixed head.
inline testing::AssertionResult onlyLine(const LogCapture& log, int priority,
                                         const std::string& function, const std::string& message) {
    testing::AssertionResult once = loggedOnce(log, priority, function, message);
    if (once && log.lines().size() != 1)
        return testing::AssertionFailure() << log.lines().size() << " lines beside " << message;
    return once;
}

// One logged text taken apart: "[<word>] [KAVO] [<file>] <line>  <function>() <message>".
struct HeadedLine {
    int priority = -1;
    std::string word;
    std::string file;
    int line = 0;
    std::string function;
    std::string message;
};

inline HeadedLine parseHeadedLine(const LogLine& logged) {
    HeadedLine parsed;
    parsed.priority = logged.priority;
    parsed.message = "<no head> " + logged.text;
    const std::string& text = logged.text;
    const size_t wordEnd = text.find("] [KAVO] [");
    if (text.empty() || text[0] != '[' || wordEnd == std::string::npos)
        return parsed;
    const size_t fileBegin = wordEnd + 10;
    const size_t fileEnd = text.find("] ", fileBegin);
    if (fileEnd == std::string::npos)
        return parsed;
    const size_t lineBegin = fileEnd + 2;
    const size_t lineEnd = text.find("  ", lineBegin);
    if (lineEnd == std::string::npos || lineEnd == lineBegin ||
        text.find_first_not_of("0123456789", lineBegin) != lineEnd) {
        return parsed;
    }
    const size_t functionBegin = lineEnd + 2;
    const size_t functionEnd = text.find("() ", functionBegin);
    if (functionEnd == std::string::npos)
        return parsed;
    parsed.word = text.substr(1, wordEnd - 1);
    parsed.file = text.substr(fileBegin, fileEnd - fileBegin);
    parsed.line = std::stoi(text.substr(lineBegin, lineEnd - lineBegin));
    parsed.function = text.substr(functionBegin, functionEnd - functionBegin);
    parsed.message = text.substr(functionEnd + 3);
    return parsed;
}

// The messages of the lines at `priority`, in order.
inline std::vector<std::string> messages(const LogCapture& log, int priority = ANDROID_LOG_INFO) {
    std::vector<std::string> texts;
    for (const LogLine& line : log.lines()) {
        if (line.priority == priority)
            texts.push_back(parseHeadedLine(line).message);
    }
    return texts;
}

}  // namespace testsupport
