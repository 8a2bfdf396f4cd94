// bodyseg-model-prep: writes the model the plug-in runs from a person-segmentation TFLite model
// (float32 RGB image in, float32 probability map out), e.g. MediaPipe's selfie segmentation.
// The prepared model takes a 342x456 frame as libyuv RGB24 bytes and gives one int32 or uint8
// label per pixel (0 background, 1 person); it is checked by loading it into the engine before it
// is written.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "HostEngine.h"
#include "ModelGraph.h"
#include "ModelPreparation.h"

namespace {

constexpr const char* kTool = "bodyseg-model-prep";
constexpr int kFailure = 1;
constexpr int kUsageError = 2;

void printUsage(FILE* to) {
    std::fprintf(to,
                 "usage: %s [--labels int32|uint8] <source.tflite> <prepared.tflite>\n"
                 "\n"
                 "source    a TFLite model taking float32 [1,H,W,3] RGB in [0,1] and giving a\n"
                 "          float32 [1,H,W,1] person probability\n"
                 "prepared  written with input uint8 [1,%d,%d,3] (RGB24 bytes: blue, green, red)\n"
                 "          and output labels [1,%d,%d,1] (0 background, 1 person)\n"
                 "--labels  the labels' type: int32 (default) runs on both vendor runtimes;\n"
                 "          uint8 only on NeuroPilot, whose backend then copies the labels as\n"
                 "          they are instead of narrowing 32-bit ones\n",
                 kTool, modelprep::kFrameHeight, modelprep::kFrameWidth, modelprep::kFrameHeight,
                 modelprep::kFrameWidth);
}

int failure(const std::string& step, const std::string& message) {
    std::fprintf(stderr, "%s: %s: %s\n", kTool, step.c_str(), message.c_str());
    return kFailure;
}

bool readFile(const std::string& path, std::vector<uint8_t>* bytes, std::string* error) {
    FILE* in = std::fopen(path.c_str(), "rb");
    if (in == nullptr) {
        *error = std::strerror(errno);
        return false;
    }
    uint8_t chunk[1 << 16];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, in)) > 0) {
        bytes->insert(bytes->end(), chunk, chunk + got);
    }
    const bool failed = std::ferror(in) != 0;
    std::fclose(in);
    if (failed) {
        *error = "read error";
    }
    return !failed;
}

// Writes next to the target and renames, so that an interrupted run never leaves a partial
// model where scripts look for a finished one.
bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes, std::string* error) {
    const std::string temporary = path + ".partial";
    FILE* out = std::fopen(temporary.c_str(), "wb");
    if (out == nullptr) {
        *error = std::strerror(errno);
        return false;
    }
    bool failed = std::fwrite(bytes.data(), 1, bytes.size(), out) != bytes.size();
    failed = std::fclose(out) != 0 || failed;
    if (failed || std::rename(temporary.c_str(), path.c_str()) != 0) {
        *error = std::strerror(errno);
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

std::string describe(const hostengine::TensorInfo& info) {
    std::string text = hostengine::elementTypeName(info.type);
    text += " [";
    for (size_t i = 0; i < info.shape.size(); ++i) {
        text += (i == 0 ? "" : ",") + std::to_string(info.shape[i]);
    }
    return text + "]";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && (std::strcmp(argv[1], "-h") == 0 || std::strcmp(argv[1], "--help") == 0)) {
        printUsage(stdout);
        return 0;
    }
    hostengine::ElementType labels = hostengine::ElementType::Int32;
    int first = 1;
    if (argc == 5 && std::strcmp(argv[1], "--labels") == 0) {
        if (std::strcmp(argv[2], "uint8") == 0) {
            labels = hostengine::ElementType::Uint8;
        } else if (std::strcmp(argv[2], "int32") != 0) {
            printUsage(stderr);
            return kUsageError;
        }
        first = 3;
    }
    if (argc - first != 2) {
        printUsage(stderr);
        return kUsageError;
    }
    const std::string sourcePath = argv[first];
    const std::string preparedPath = argv[first + 1];
    std::string error;
    std::vector<uint8_t> sourceBytes;
    if (!readFile(sourcePath, &sourceBytes, &error)) {
        return failure("cannot read " + sourcePath, error);
    }
    hostengine::Graph source;
    if (!hostengine::readModel(sourceBytes.data(), sourceBytes.size(), &source, &error)) {
        return failure("cannot read model " + sourcePath, error);
    }
    std::vector<uint8_t> prepared;
    if (!modelprep::prepareModel(source, labels, &prepared, &error)) {
        return failure("cannot prepare " + sourcePath, error);
    }
    hostengine::EngineOptions options;
    options.threads = 1;
    const auto engine =
        hostengine::Engine::fromBytes(prepared.data(), prepared.size(), options, &error);
    if (!engine) {
        return failure("prepared model does not load", error);
    }
    if (!writeFile(preparedPath, prepared, &error)) {
        return failure("cannot write " + preparedPath, error);
    }
    std::printf("%s: wrote %s (%zu bytes): input %s, output %s\n", kTool, preparedPath.c_str(),
                prepared.size(), describe(engine->input(0)).c_str(),
                describe(engine->output(0)).c_str());
    return 0;
}
