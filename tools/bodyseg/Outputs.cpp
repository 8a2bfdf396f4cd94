#include "Outputs.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>

#include "BodySegmentAPI.h"
#include "MaskImages.h"

namespace bodyseg {

namespace {

bool exists(const std::string& path) {
    struct stat info;
    return ::lstat(path.c_str(), &info) == 0;
}

bool writeBytes(const std::string& path, const uint8_t* bytes, size_t size, std::string* error) {
    FILE* out = std::fopen(path.c_str(), "wb");
    bool failed = out == nullptr;
    if (out != nullptr) {
        failed = std::fwrite(bytes, 1, size, out) != size;
        failed = std::fclose(out) != 0 || failed;
    }
    if (failed)
        *error = "cannot write " + path + ": " + std::strerror(errno);
    return !failed;
}

}  // namespace

OutputPaths outputPathsFor(const std::string& outDir, const Input& input, bool rawMask) {
    const std::string base = outDir + "/" + input.name;
    return {base + "_mask.png", base + "_overlay.png", rawMask ? base + "_mask.bin" : ""};
}

std::vector<std::string> allPaths(const OutputPaths& paths) {
    std::vector<std::string> all{paths.mask, paths.overlay};
    if (!paths.rawMask.empty())
        all.push_back(paths.rawMask);
    return all;
}

bool prepareOutputs(const std::string& outDir, const std::vector<PlannedOutputs>& plans, bool force,
                    std::string* error) {
    std::map<std::string, std::string> writers;  // output path -> input
    for (const PlannedOutputs& plan : plans) {
        for (const std::string& path : plan.paths) {
            const auto [earlier, fresh] = writers.emplace(path, plan.input);
            if (!fresh) {
                *error = "inputs " + earlier->second + " and " + plan.input + " would both write " +
                         path;
                return false;
            }
            if (!force && exists(path)) {
                *error = path + " exists (use --force to overwrite)";
                return false;
            }
        }
    }
    std::error_code failure;
    std::filesystem::create_directories(outDir, failure);
    if (failure) {
        *error = "cannot create " + outDir + ": " + failure.message();
        return false;
    }
    return true;
}

bool writeOutputs(const OutputPaths& paths, const uint8_t* mask, const RgbImage& overlayPicture,
                  std::string* error) {
    if (!writeIndexedPng(paths.mask, mask, BODYSEG_MASK_WIDTH, BODYSEG_MASK_HEIGHT, labelPalette(),
                         error) ||
        !writePng(paths.overlay, overlayPicture, error)) {
        return false;
    }
    return paths.rawMask.empty() || writeBytes(paths.rawMask, mask, BODYSEG_MASK_BYTES, error);
}

}  // namespace bodyseg
