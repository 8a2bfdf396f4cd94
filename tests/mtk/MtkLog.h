// Whole log lines in one comparable form for the backend and loader tests.
#pragma once

#include <string>
#include <vector>

#include "LogCapture.h"
#include "LogExpect.h"

namespace mtktest {

using Lines = std::vector<std::string>;

// The lines at `priority` (every line for -1) in order, plug-in lines as
// "[<word>] <file> <function>() <message>" and the others as "<tag>: <text>".
inline Lines logged(const testsupport::LogCapture& log, int priority) {
    Lines texts;
    for (const testsupport::LogLine& line : log.lines()) {
        const testsupport::HeadedLine head = testsupport::parseHeadedLine(line);
        if (priority == -1 || line.priority == priority) {
            texts.push_back(line.tag != "beauty-sdk-body-detect"
                                ? line.tag + ": " + line.text
                                : "[" + head.word + "] " + head.file + " " + head.function + "() " +
                                      head.message);
        }
    }
    return texts;
}

}  // namespace mtktest
