// bodyseg-config-check: reads a model configuration with the plug-in's own parser and prints the
// group it selects and every value it hands to the runtime, or the plug-in's error lines.
#include <android/log.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ConfigReport.h"
#include "LogPrintf.h"
#include "ParseParams.h"

namespace {

constexpr const char* kTool = "bodyseg-config-check";

struct CapturedLine {
    int priority;
    std::string text;
};

std::vector<CapturedLine> gLog;

void captureLine(const struct __android_logger_data* data, const char* message) {
    std::string text = message;
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    gLog.push_back({data->priority, text});
}

void printUsage(FILE* to) {
    std::fprintf(
        to,
        "usage: %s [-v] <config.json>\n"
        "\n"
        "Parses a model configuration exactly as the plug-in does and prints the selected\n"
        "\"ParamGroup\" and the resulting values, or the plug-in's error lines (exit 1).\n"
        "-v also prints the plug-in's information lines (e.g. \"Module\").\n",
        kTool);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
        printUsage(stdout);
        return 0;
    }
    const bool verbose = !args.empty() && args[0] == "-v";
    if (verbose)
        args.erase(args.begin());
    if (args.size() != 1 || args[0].empty() || args[0][0] == '-') {
        printUsage(stderr);
        return 2;
    }
    const std::string& path = args[0];

    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(captureLine);
    kavo::LogPrintf::setLogStatus(verbose ? (kavo::kLogError | kavo::kLogWarn | kavo::kLogInfo)
                                          : kavo::kLogError);

    mtk_ai_type::ModelCfg model{};
    mtk_ai_type::GeneralCfg general{};
    assist::SelectedParamGroup group;
    const uint32_t result = assist::parse_json(path.c_str(), model, general, group);

    for (const CapturedLine& line : gLog) {
        if (line.priority == ANDROID_LOG_ERROR) {
            std::fprintf(stderr, "%s\n", line.text.c_str());
        } else {
            std::printf("log: %s\n", line.text.c_str());
        }
    }
    if (result != 0) {
        std::fprintf(stderr, "%s: %s is not usable by the plug-in\n", kTool, path.c_str());
        return 1;
    }
    std::printf("config: %s\n", path.c_str());
    configcheck::printReport(stdout, group, model, general);
    return 0;
}
