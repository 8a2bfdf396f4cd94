// What the plug-in and the runtimes write to the Android log, captured in-process: liblog hands
// every line to our logger instead of its stderr default. The lines are kept until taken, and
// echoed to stderr as they come when asked for.
#pragma once

#include <string>
#include <vector>

namespace bodyseg {

struct LogLine {
    int priority;  // ANDROID_LOG_*
    std::string tag;
    std::string text;  // without trailing newlines
};

// Installs the logger process-wide; call once, before the plug-in is loaded.
void captureAndroidLog(bool echo);

// The lines written since the previous call.
std::vector<LogLine> takeLogLines();

}  // namespace bodyseg
