// Helpers for tests that look at what the logger writes. The logger and its process-wide mask
// belong to algocore, so the tests of the areas built on it (assist, mtk) use these too.
#pragma once

#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "LogExpect.h"
#include "LogPrintf.h"

namespace algocoretest {

// Sets the process-wide log mask for one scope and puts the previous mask back.
class LogLevelScope {
  public:
    explicit LogLevelScope(uint32_t mask) : saved_(kavo::LogPrintf::mLogLevel) {
        kavo::LogPrintf::setLogStatus(static_cast<int>(mask));
    }
    ~LogLevelScope() { kavo::LogPrintf::mLogLevel = saved_; }
    LogLevelScope(const LogLevelScope&) = delete;
    LogLevelScope& operator=(const LogLevelScope&) = delete;

  private:
    uint32_t saved_;
};

// A pointer as the logger's "%p" prints it.
inline std::string pointerText(const void* p) {
    char text[32];
    snprintf(text, sizeof(text), "%p", p);
    return text;
}

// The one line logged so far is `function`'s `message` at `priority`, behind the fixed head.
inline testing::AssertionResult onlyLine(const testsupport::LogCapture& log, int priority,
                                         const std::string& function, const std::string& message) {
    testing::AssertionResult once = testsupport::loggedOnce(log, priority, function, message);
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

inline HeadedLine parseHeadedLine(const testsupport::LogLine& logged) {
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
inline std::vector<std::string> messages(const testsupport::LogCapture& log,
                                         int priority = ANDROID_LOG_INFO) {
    std::vector<std::string> texts;
    for (const testsupport::LogLine& line : log.lines()) {
        if (line.priority == priority)
            texts.push_back(parseHeadedLine(line).message);
    }
    return texts;
}

}  // namespace algocoretest
