// bodyseg: the camera host on a workstation. Loads the built plug-in with dlopen, makes a vendor
// runtime available, creates a handle from a configuration and a model in memory, and sends
// photos, raw frames and frame sequences (run mode) or one synthetic frame many times (bench
// mode); pan mode makes a demonstration sequence from a photo.
#include <cstdio>
#include <string>

#include "BenchMode.h"
#include "PanMode.h"
#include "Options.h"
#include "PluginLog.h"
#include "RunMode.h"

int main(int argc, char** argv) {
    bodyseg::Options options;
    std::string error;
    if (!bodyseg::parseOptions(argc, argv, &options, &error)) {
        std::fprintf(stderr, "bodyseg: %s\n", error.c_str());
        return 2;
    }
    if (options.mode == bodyseg::Mode::Help) {
        std::fputs(bodyseg::usageText(), stdout);
        return 0;
    }
    if (options.mode == bodyseg::Mode::Pan)
        return bodyseg::runPan(options);
    // Before anything that logs is loaded, so that no line escapes to liblog's stderr default.
    bodyseg::captureAndroidLog(options.verbose);
    return options.mode == bodyseg::Mode::Bench ? bodyseg::runBench(options)
                                                : bodyseg::runInputs(options);
}
