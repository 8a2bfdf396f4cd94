// Exact log texts of the backends and their loaders. Plug-in lines are compared field by field
// behind the logger's fixed head ("[<word>] [KAVO] [<file>] <line>  <function>() <message>"),
// the line number excepted; the TFLite shim's lines are compared whole, under its own tag.
#pragma once

#include <android/log.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "LogCapture.h"
#include "LogTestSupport.h"

namespace mtktest {

constexpr const char* kPluginTag = "beauty-sdk-body-detect";
constexpr const char* kShimTag = "NeuroPilotTFLiteShim";

// Source labels that the lines carry in their file field.
constexpr const char* kNeuropilotFile = "BodySegNeuropilot.cpp";
constexpr const char* kNeuronFile = "BodySegNeuron.cpp";
constexpr const char* kFactoryFile = "BodySegFty.cpp";
constexpr const char* kNeuronInterfaceFile = "neuron6\\NeuronRuntimeInterface.h";

// One expected plug-in line.
struct KavoLine {
    int priority;
    std::string file;
    std::string function;
    std::string message;
};

inline std::string levelWord(int priority) {
    switch (priority) {
        case ANDROID_LOG_ERROR:
            return "ERROR";
        case ANDROID_LOG_WARN:
            return "WARING";
        case ANDROID_LOG_INFO:
            return "INFO";
        case ANDROID_LOG_DEBUG:
            return "DEBUG";
        default:
            return "?";
    }
}

inline bool matches(const testsupport::LogLine& logged, const KavoLine& expected) {
    if (logged.tag != kPluginTag || logged.priority != expected.priority)
        return false;
    const algocoretest::HeadedLine parsed = algocoretest::parseHeadedLine(logged);
    return parsed.word == levelWord(expected.priority) && parsed.file == expected.file &&
           parsed.function == expected.function && parsed.message == expected.message;
}

inline std::string describe(const KavoLine& line) {
    return "[" + levelWord(line.priority) + "] [KAVO] [" + line.file + "] <line>  " +
           line.function + "() " + line.message;
}

inline std::string dump(const testsupport::LogCapture& log) {
    std::string text;
    for (const testsupport::LogLine& line : log.lines()) {
        text += "\n  " + std::to_string(line.priority) + " " + line.tag + ": " + line.text;
    }
    return text.empty() ? " (nothing)" : text;
}

// How many captured lines are `expected`.
inline size_t countOf(const testsupport::LogCapture& log, const KavoLine& expected) {
    size_t count = 0;
    for (const testsupport::LogLine& line : log.lines())
        count += matches(line, expected);
    return count;
}

inline ::testing::AssertionResult loggedOnce(const testsupport::LogCapture& log,
                                             const KavoLine& expected) {
    const size_t count = countOf(log, expected);
    if (count == 1)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << count << " times " << describe(expected) << "; log:" << dump(log);
}

inline ::testing::AssertionResult neverLogged(const testsupport::LogCapture& log,
                                              const KavoLine& expected) {
    const size_t count = countOf(log, expected);
    if (count == 0)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << count << " times " << describe(expected) << "; log:" << dump(log);
}

// The ERROR lines are exactly `expected`, in this order: those under every tag, or with
// `pluginOnly` those under the plug-in's tag (when a vendor loader logs beside the plug-in).
inline ::testing::AssertionResult errorsAre(const testsupport::LogCapture& log,
                                            const std::vector<KavoLine>& expected,
                                            bool pluginOnly = false) {
    std::vector<testsupport::LogLine> errors;
    for (const testsupport::LogLine& line : log.lines()) {
        if (line.priority == ANDROID_LOG_ERROR && (!pluginOnly || line.tag == kPluginTag)) {
            errors.push_back(line);
        }
    }
    bool same = errors.size() == expected.size();
    for (size_t i = 0; same && i < errors.size(); ++i)
        same = matches(errors[i], expected[i]);
    if (same)
        return ::testing::AssertionSuccess();
    std::string wanted;
    for (const KavoLine& line : expected)
        wanted += "\n  " + describe(line);
    return ::testing::AssertionFailure()
           << "expected errors:" << (wanted.empty() ? " none" : wanted) << "\nlog:" << dump(log);
}

// A failure is exactly one ERROR line in the whole log, and it is this one.
inline ::testing::AssertionResult onlyError(const testsupport::LogCapture& log,
                                            const std::string& file, const std::string& function,
                                            const std::string& message) {
    return errorsAre(log, {{ANDROID_LOG_ERROR, file, function, message}});
}

// The INFO lines that `file` wrote, as "<function>() <message>", in order.
inline std::vector<std::string> infoTrace(const testsupport::LogCapture& log,
                                          const std::string& file) {
    std::vector<std::string> trace;
    for (const testsupport::LogLine& line : log.lines()) {
        if (line.tag != kPluginTag || line.priority != ANDROID_LOG_INFO)
            continue;
        const algocoretest::HeadedLine parsed = algocoretest::parseHeadedLine(line);
        if (parsed.word == "INFO" && parsed.file == file) {
            trace.push_back(parsed.function + "() " + parsed.message);
        }
    }
    return trace;
}

// The shim's own lines (priority and whole text), in order.
inline std::vector<std::pair<int, std::string>> shimLines(const testsupport::LogCapture& log) {
    std::vector<std::pair<int, std::string>> lines;
    for (const testsupport::LogLine& line : log.lines()) {
        if (line.tag == kShimTag)
            lines.emplace_back(line.priority, line.text);
    }
    return lines;
}

}  // namespace mtktest
