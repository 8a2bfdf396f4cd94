#include "SequenceOutputs.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace bodyseg {

namespace {

std::string failure(const std::string& path) {
    return "cannot write " + path + ": " + std::strerror(errno);
}

}  // namespace

std::vector<std::string> SequencePaths::all() const {
    std::vector<std::string> paths;
    for (const std::string* path :
         {&video, &table, &rawMasks, &first, &middle, &last, &leastSteady}) {
        if (!path->empty())
            paths.push_back(*path);
    }
    return paths;
}

SequencePaths sequencePathsFor(const std::string& outDir, const Input& input, bool rawMask,
                               size_t frames) {
    const std::string base = outDir + "/" + input.name;
    SequencePaths paths;
    paths.video = base + "_overlay.y4m";
    paths.table = base + "_steadiness.csv";
    paths.rawMasks = rawMask ? base + "_masks.bin" : "";
    paths.first = base + "_overlay_first.png";
    paths.middle = base + "_overlay_middle.png";
    paths.last = base + "_overlay_last.png";
    paths.leastSteady = frames > 1 ? base + "_overlay_least_steady.png" : "";
    return paths;
}

bool writeFrameTable(const std::string& path, const std::vector<FrameRecord>& records,
                     std::string* error) {
    FILE* out = std::fopen(path.c_str(), "w");
    if (out == nullptr) {
        *error = failure(path);
        return false;
    }
    std::fprintf(out,
                 "frame,person_share,iou_with_previous,changed_share,pre_processing_ms,"
                 "inference_ms,post_processing_ms,label_shift_ms,whole_call_ms\n");
    for (const FrameRecord& record : records) {
        std::fprintf(out, "%zu,%.6f", record.frame, record.personShare);
        if (record.hasPrevious)
            std::fprintf(out, ",%.6f,%.6f", record.change.iou, record.change.changedShare);
        else
            std::fprintf(out, ",,");
        for (int stage = 0; stage < kStageCount; ++stage) {
            if (record.stages.found[stage])
                std::fprintf(out, ",%lld", record.stages.ms[stage]);
            else
                std::fprintf(out, ",");
        }
        std::fprintf(out, ",%.3f\n", record.callMs);
    }
    const bool failed = std::ferror(out) != 0;
    if (std::fclose(out) != 0 || failed) {
        *error = failure(path);
        return false;
    }
    return true;
}

}  // namespace bodyseg
