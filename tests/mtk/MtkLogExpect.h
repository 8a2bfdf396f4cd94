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
#include "LogExpect.h"
#include "LogExpect.h"
#include "LogLevelScope.h"

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

inline bool matches(const testsupport::LogLine& logged, const KavoLine& expected) {
    if (logged.tag != kPluginTag || logged.priority != expected.priority)
        return false;
    const testsupport::HeadedLine parsed = testsupport::parseHeadedLine(logged);
    return "[" + parsed.word + "]" == testsupport::levelWord(expected.priority) &&
           parsed.file == expected.file && parsed.function == expected.function &&
           parsed.message == expected.message;
}

inline std::string describe(const KavoLine& line) {
    return testsupport::levelWord(line.priority) + " [KAVO] [" + line.file + "] <line>  " +
           line.function + "() " + line.message;
}

inline std::string dump(const testsupport::LogCapture& log) {
    std::string text;
    for (const testsupport::LogLine& line : log.lines()) {
        text += "\n  " + std::to_string(line.priority) + " " + line.tag + ": " + line.text;
    }
    return text.empty() ? " (nothing)" : text;
}

// `expected` was logged exactly `times` times.
inline ::testing::AssertionResult loggedTimes(const testsupport::LogCapture& log,
                                              const KavoLine& expected, size_t times) {
    size_t count = 0;
    for (const testsupport::LogLine& line : log.lines())
        count += matches(line, expected);
    if (count == times)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << count << " times, not " << times << ", "
                                         << describe(expected) << "; log:" << dump(log);
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
        const testsupport::HeadedLine parsed = testsupport::parseHeadedLine(line);
        if (parsed.word == "INFO" && parsed.file == file) {
            trace.push_back(parsed.function + "() " + parsed.message);
        }
    }
    return trace;
}

using ShimLines = std::vector<std::pair<int, std::string>>;

// The shim's own lines (priority and whole text) are `expected`, in order.
inline ::testing::AssertionResult shimLinesAre(const testsupport::LogCapture& log,
                                               const ShimLines& expected) {
    ShimLines seen;
    std::string wanted;
    for (const testsupport::LogLine& line : log.lines()) {
        if (line.tag == kShimTag)
            seen.emplace_back(line.priority, line.text);
    }
    if (seen == expected)
        return ::testing::AssertionSuccess();
    for (const auto& line : expected)
        wanted += "\n  " + std::to_string(line.first) + " " + kShimTag + ": " + line.second;
    return ::testing::AssertionFailure()
           << "expected shim lines:" << wanted << "\nlog:" << dump(log);
}

inline std::pair<int, std::string> shimOpened(const std::string& library) {
    return {ANDROID_LOG_DEBUG, "TFLite : open library " + library + "\n"};
}

inline std::pair<int, std::string> shimNotOpened(const std::string& library) {
    return {ANDROID_LOG_ERROR, "TFLite error: unable to open library " + library + "\n"};
}

inline std::pair<int, std::string> shimUnbound(const std::string& symbol) {
    return {ANDROID_LOG_ERROR, "TFLite error: unable to open function " + symbol + "\n"};
}

// The Neuron Runtime loader writes under the plug-in's tag.
constexpr const char* kNeuronRuntimeLibrary = "libneuron_runtime.6.so";

inline KavoLine runtimeMissing() {
    return {ANDROID_LOG_ERROR, kNeuronInterfaceFile, "loadNeuronRuntimeLib",
            std::string("NeuronRuntime error: unable to open library: ") + kNeuronRuntimeLibrary};
}

inline KavoLine runtimeOpened() {
    return {ANDROID_LOG_INFO, kNeuronInterfaceFile, "loadNeuronRuntimeLib",
            std::string("NeuronRuntime : open library: ") + kNeuronRuntimeLibrary};
}

inline KavoLine runtimeFunctionMissing(const std::string& symbol) {
    return {ANDROID_LOG_ERROR, kNeuronInterfaceFile, "loadNeuronRuntimeFunc",
            "Find function " + symbol + " failed"};
}

}  // namespace mtktest
