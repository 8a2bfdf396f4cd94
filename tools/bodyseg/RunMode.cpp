#include "RunMode.h"

#include <cstdio>
#include <string>
#include <vector>

#include "BodySegmentAPI.h"
#include "FrameCall.h"
#include "InputFrames.h"
#include "Inputs.h"
#include "MaskImages.h"
#include "Outputs.h"
#include "Progress.h"
#include "SequencePlan.h"
#include "SequenceRun.h"
#include "Session.h"

namespace bodyseg {

namespace {

void printError(Progress& progress, const std::string& error) {
    progress.clear();
    std::fflush(stdout);
    std::fprintf(stderr, "bodyseg: %s\n", error.c_str());
}

std::string stageLine(const FrameResult& result) {
    char call[48];
    std::snprintf(call, sizeof call, "whole call %.1f ms", result.callMs);
    if (!result.stages.complete()) {
        return std::string("not logged (the plug-in's log mask lacks DEBUG, 8); ") + call;
    }
    std::string line;
    for (int stage = 0; stage < kStageCount; ++stage) {
        line += std::string(stageName(stage)) + " " + std::to_string(result.stages.ms[stage]) +
                " ms" + (stage + 1 < kStageCount ? ", " : "; ");
    }
    return line + call;
}

std::vector<PlannedOutputs> plannedOutputs(const Options& options, const std::vector<Input>& inputs,
                                           const std::vector<SequencePlan>& sequences) {
    std::vector<PlannedOutputs> plans;
    for (size_t i = 0; i < inputs.size(); ++i) {
        plans.push_back({inputs[i].path, sequences[i].reader
                                             ? sequences[i].paths.all()
                                             : allPaths(outputPathsFor(options.outDir, inputs[i],
                                                                       options.rawMask))});
    }
    return plans;
}

// Raw dumps without a size are refused before the handle is created.
bool rawDumpsHaveSize(const Options& options, const std::vector<Input>& inputs,
                      std::string* error) {
    for (const Input& input : inputs) {
        if (input.kind == InputKind::RawDump && options.width == 0) {
            *error = "raw dump " + input.path + " needs --size WxH";
            return false;
        }
    }
    return true;
}

}  // namespace

int runInputs(const Options& options) {
    std::vector<Input> inputs;
    std::string error;
    Session session;
    std::vector<std::string> setup;
    std::vector<SequencePlan> sequences;
    if (!collectInputs(options.inputs, options.listFile, options.format, &inputs, &error) ||
        !rawDumpsHaveSize(options, inputs, &error) ||
        !planSequences(options, inputs, &sequences, &error) ||
        !prepareOutputs(options.outDir, plannedOutputs(options, inputs, sequences), options.force,
                        &error) ||
        !session.open(options, &setup, &error)) {
        std::fprintf(stderr, "bodyseg: %s\n", error.c_str());
        return 1;
    }
    for (const std::string& line : setup)
        std::printf("%s\n", line.c_str());

    const FrameLayout layout{options.format, options.orientation, options.stridePad,
                             options.scanPad};
    const RawGeometry raw{options.width, options.height, options.rawStride(), options.rawScan()};
    std::vector<uint8_t> mask(BODYSEG_MASK_BYTES);
    const size_t total = inputs.size();
    Progress progress(total, total > 1 && !options.verbose);
    size_t written = 0;
    for (size_t i = 0; i < total; ++i) {
        const Input& input = inputs[i];
        progress.show(i, input.path);
        if (sequences[i].reader) {
            const SequencePlan& plan = sequences[i];
            progress.clear();
            std::printf("[%zu/%zu] %s: %s, orientation %d; frames %zu to %zu of %zu\n", i + 1,
                        total, input.path.c_str(), plan.reader->description().c_str(),
                        options.orientation, plan.range.first, plan.range.end - 1,
                        plan.reader->frameCount());
            if (runSequence(session, *plan.reader, plan.range, plan.paths, !options.verbose,
                            &error)) {
                ++written;
            } else {
                printError(progress, error);
            }
            continue;
        }
        LoadedFrame loaded;
        if (!loadFrame(input, layout, raw, &loaded, &error)) {
            printError(progress, error);
            continue;
        }
        const FrameResult result = sendFrame(session, loaded.frame, mask.data());
        progress.clear();
        std::printf("[%zu/%zu] %s: %s\n", i + 1, total, input.path.c_str(),
                    loaded.description.c_str());
        if (result.status != 0) {
            printError(progress, input.path + ": " + describeFailure(session, result));
            continue;
        }
        std::printf("    stages: %s\n", stageLine(result).c_str());
        std::printf("    labels: %s\n", labelShares(mask.data(), mask.size()).c_str());
        const OutputPaths paths = outputPathsFor(options.outDir, input, options.rawMask);
        const std::vector<uint8_t> labels = uprightLabels(
            mask.data(), loaded.frame.orientation, loaded.picture.width, loaded.picture.height);
        if (!writeOutputs(paths, mask.data(), overlay(loaded.picture, labels), &error)) {
            printError(progress, error);
            continue;
        }
        std::printf("    wrote %s, %s%s%s\n", paths.mask.c_str(), paths.overlay.c_str(),
                    paths.rawMask.empty() ? "" : ", ", paths.rawMask.c_str());
        ++written;
    }
    progress.clear();

    const int status = session.close();
    std::printf("release: %s\n", session.statusText(status).c_str());
    std::printf("%zu of %zu inputs written to %s\n", written, total, options.outDir.c_str());
    if (status != 0) {
        std::fflush(stdout);
        std::fprintf(stderr, "bodyseg: releaseHandle reported %s\n",
                     session.statusText(status).c_str());
        return 1;
    }
    return written == total ? 0 : 1;
}

}  // namespace bodyseg
