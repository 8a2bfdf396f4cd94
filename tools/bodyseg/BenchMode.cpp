#include "BenchMode.h"

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "BenchStats.h"
#include "BodySegmentAPI.h"
#include "FrameCall.h"
#include "FrameSynthesis.h"
#include "Progress.h"
#include "Session.h"

namespace bodyseg {

namespace {

void printRow(const char* name, const Summary& summary) {
    if (summary.count == 0) {
        std::printf("  %-16s %9s %9s %9s\n", name, "n/a", "n/a", "n/a");
        return;
    }
    std::printf("  %-16s %9.2f %9.2f %9.2f\n", name, summary.median, summary.p90, summary.p99);
}

void printReport(const std::array<std::vector<double>, kStageCount>& stages,
                 const std::vector<double>& calls) {
    std::printf("  %-16s %9s %9s %9s   (ms)\n", "stage", "median", "p90", "p99");
    bool stagesMissing = false;
    for (int stage = 0; stage < kStageCount; ++stage) {
        // A stage whose line was missing in some frame would give a biased sample.
        const bool whole = stages[stage].size() == calls.size();
        stagesMissing = stagesMissing || !whole;
        printRow(stageName(stage), whole ? summarize(stages[stage]) : Summary{});
    }
    const Summary call = summarize(calls);
    printRow("whole call", call);
    std::printf("frames per second: %.2f (%zu whole calls in %.1f ms)\n",
                call.total > 0 ? 1000.0 * call.count / call.total : 0.0, call.count, call.total);
    if (stagesMissing) {
        std::printf(
            "note: stage times come from the plug-in's DEBUG lines; its log mask lacks DEBUG (8) "
            "(--log-level, or the loglvl property, which wins at init)\n");
    }
}

}  // namespace

int runBench(const Options& options) {
    Session session;
    std::vector<std::string> setup;
    std::string error;
    if (!session.open(options, &setup, &error)) {
        std::fprintf(stderr, "bodyseg: %s\n", error.c_str());
        return 1;
    }
    for (const std::string& line : setup)
        std::printf("%s\n", line.c_str());

    Frame frame = syntheticFrame(options.format, options.orientation, options.width, options.height,
                                 options.rawStride(), options.rawScan());
    std::printf(
        "bench: %d frames after %d warm-up, synthetic %s %dx%d, stride %d, scan %d, "
        "orientation %d\n",
        options.frames, options.warmup, formatName(frame.format), frame.width, frame.height,
        frame.stride, frame.scan, frame.orientation);
    std::fflush(stdout);

    std::vector<uint8_t> mask(BODYSEG_MASK_BYTES);
    std::array<std::vector<double>, kStageCount> stages;
    std::vector<double> calls;
    const int total = options.warmup + options.frames;
    Progress progress(static_cast<size_t>(total), !options.verbose);
    for (int i = 0; i < total; ++i) {
        progress.show(static_cast<size_t>(i), i < options.warmup ? "warm-up" : "timed");
        const FrameResult result = sendFrame(session, frame, mask.data());
        if (result.status != 0) {
            progress.clear();
            std::fprintf(stderr, "bodyseg: frame %d: %s\n", i + 1,
                         describeFailure(session, result).c_str());
            return 1;  // the session's destructor releases the handle
        }
        if (i < options.warmup)
            continue;
        calls.push_back(result.callMs);
        for (int stage = 0; stage < kStageCount; ++stage) {
            if (result.stages.found[stage])
                stages[stage].push_back(static_cast<double>(result.stages.ms[stage]));
        }
    }
    progress.clear();
    printReport(stages, calls);

    const int status = session.close();
    std::printf("release: %s\n", session.statusText(status).c_str());
    if (status != 0) {
        std::fflush(stdout);
        std::fprintf(stderr, "bodyseg: releaseHandle reported %s\n",
                     session.statusText(status).c_str());
        return 1;
    }
    return 0;
}

}  // namespace bodyseg
