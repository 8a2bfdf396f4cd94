#include "SequenceRun.h"

#include <chrono>
#include <cstdio>
#include <vector>

#include "BenchStats.h"
#include "BodySegmentAPI.h"
#include "FrameCall.h"
#include "FrameSynthesis.h"
#include "MaskImages.h"
#include "Progress.h"
#include "Steadiness.h"
#include "Y4m.h"

namespace bodyseg {

namespace {

// Sequences shorter than this finish before a progress bar would be worth drawing.
constexpr std::chrono::milliseconds kProgressDelay(500);

std::string medianStages(const std::vector<FrameRecord>& records) {
    std::vector<double> calls;
    std::vector<double> stages[kStageCount];
    for (const FrameRecord& record : records) {
        calls.push_back(record.callMs);
        for (int stage = 0; stage < kStageCount; ++stage) {
            if (record.stages.found[stage])
                stages[stage].push_back(static_cast<double>(record.stages.ms[stage]));
        }
    }
    std::string line;
    char text[64];
    for (int stage = 0; stage < kStageCount; ++stage) {
        // A stage missing from some frames would give a biased median.
        if (stages[stage].size() != records.size()) {
            line = "not logged (the plug-in's log mask lacks DEBUG, 8); ";
            break;
        }
        std::snprintf(text, sizeof text, "%s %.1f ms%s", stageName(stage),
                      summarize(stages[stage]).median, stage + 1 < kStageCount ? ", " : "; ");
        line += text;
    }
    std::snprintf(text, sizeof text, "whole call %.1f ms", summarize(calls).median);
    return line + text;
}

void printSummary(const std::vector<FrameRecord>& records, const std::vector<MaskChange>& changes,
                  size_t first, const SequencePaths& paths) {
    std::vector<double> shares;
    for (const FrameRecord& record : records)
        shares.push_back(100 * record.personShare);
    const Summary person = summarize(shares);
    std::printf("    stages (median of %zu frames): %s\n", records.size(),
                medianStages(records).c_str());
    std::printf("    person: median %.1f%% of the mask\n", person.median);
    const SteadinessSummary steady = summarizeSteadiness(changes);
    if (steady.count > 0) {
        std::printf(
            "    steadiness: IoU with the previous frame median %.3f, worst %.3f (frame %zu); "
            "labels changed median %.2f%%, most %.2f%% (frame %zu)\n",
            steady.medianIou, steady.worstIou, first + steady.worstIouFrame,
            100 * steady.medianChanged, 100 * steady.mostChanged, first + steady.mostChangedFrame);
    }
    std::string wrote;
    for (const std::string& path : paths.all())
        wrote += (wrote.empty() ? "" : ", ") + path;
    std::printf("    wrote %s\n", wrote.c_str());
}

}  // namespace

bool runSequence(const Session& session, SequenceReader& reader, const FrameRange& range,
                 const SequencePaths& paths, bool showProgress, std::string* error) {
    const size_t count = range.end - range.first;
    const size_t middle = range.first + count / 2;
    Y4mWriter video;
    ByteStream rawMasks;
    if (!paths.rawMasks.empty() && !rawMasks.open(paths.rawMasks, error))
        return false;
    std::vector<uint8_t> mask(BODYSEG_MASK_BYTES);
    std::vector<uint8_t> previous(BODYSEG_MASK_BYTES);
    std::vector<FrameRecord> records;
    std::vector<MaskChange> changes;
    RgbImage leastSteady;
    double leastIou = 2;
    Frame frame;
    Progress progress(count, showProgress);
    const auto start = std::chrono::steady_clock::now();
    for (size_t index = range.first; index < range.end; ++index) {
        if (std::chrono::steady_clock::now() - start > kProgressDelay)
            progress.show(index - range.first, "frame " + std::to_string(index));
        if (!reader.read(index, &frame, error))
            return false;
        const FrameResult result = sendFrame(session, frame, mask.data());
        if (result.status != 0) {
            *error = reader.path() + " frame " + std::to_string(index) + ": " +
                     describeFailure(session, result);
            return false;
        }
        const RgbImage picture = uprightPicture(frame);
        const RgbImage tinted = overlay(
            picture, uprightLabels(mask.data(), frame.orientation, picture.width, picture.height));
        if ((index == range.first &&
             !video.open(paths.video, tinted.width, tinted.height, reader.frameRate(), error)) ||
            !video.write(planarFromPicture(tinted), error) ||
            (!paths.rawMasks.empty() && !rawMasks.write(mask.data(), mask.size(), error))) {
            return false;
        }
        FrameRecord record{index,
                           personShare(mask.data(), mask.size()),
                           index > range.first,
                           {},
                           result.stages,
                           result.callMs};
        if (record.hasPrevious) {
            record.change = compareMasks(previous.data(), mask.data(), mask.size());
            // The least steady frame so far is kept: which one it is shows only at the end.
            if (record.change.iou < leastIou) {
                leastIou = record.change.iou;
                leastSteady = tinted;
            }
            changes.push_back(record.change);
        }
        records.push_back(record);
        for (const auto& [chosen, path] :
             {std::pair<size_t, const std::string*>{range.first, &paths.first},
              {middle, &paths.middle},
              {range.end - 1, &paths.last}}) {
            if (index == chosen && !writePng(*path, tinted, error))
                return false;
        }
        previous.swap(mask);
    }
    progress.clear();
    if (!video.close(error) || !rawMasks.close(error) ||
        !writeFrameTable(paths.table, records, error) ||
        (!paths.leastSteady.empty() && !writePng(paths.leastSteady, leastSteady, error))) {
        return false;
    }
    printSummary(records, changes, range.first, paths);
    return true;
}

}  // namespace bodyseg
