// The test's camera host: the built plug-in loaded with dlopen and reached only through the two
// tables it hands out, the stand-in runtimes made available the way a phone image provides them,
// and the files a host hands over at init (configuration, model).
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BodySegmentAPI.h"
#include "FrameBuilder.h"
#include "StandinClient.h"

namespace e2e {

// The statuses a host sees besides 0.
constexpr int kFailure = 65535;
constexpr int kMemoryFreeError = 1040;

enum class Runtime { Neuropilot, Neuron };
enum class Table { AlgoAPI, AlgoAPIV1 };

// The configuration's "AISDK" word of `runtime`.
const char* runtimeName(Runtime runtime);
const char* tableName(Table table);

// The log mask as a host sets it: the property algoInitHandle reads, and the table's setLogLevel.
void setLogMask(int mask);

// The plug-in, loaded once per process; the tables it filled.
struct Plugin {
    BodySegAlgoAPI api;
    BodySegAlgoAPIV1 apiV1;
};
const Plugin& plugin();

// The stand-in of `runtime`, loaded once per process and reset to the default script.
const testsupport::StandinClient& standin(Runtime runtime);

// Through the chosen table: init, one frame, release. `processImage` of getAlgoAPI takes an
// InputImage, that of get_algo_api the Image itself.
int initHandle(Table table, void** handle, void* param);
int processFrame(Table table, void* handle, Image* in, Image* out);
int releaseHandle(Table table, void* handle);

// The host's input Image for a frame of geometry `g` at `data`.
Image inputImage(const functest::FrameGeometry& g, int imageType, int orientation,
                 const uint8_t* data);

// The initialisation block and the model descriptor, with the storage they point into.
class InitBlock {
  public:
    // The model bytes as the host read them from `modelPath` (the host keeps them alive).
    InitBlock(const std::string& configPath, const std::string& modelPath,
              std::vector<uint8_t> modelBytes);
    // The descriptor points into the members: an InitBlock stays where it was made.
    InitBlock(const InitBlock&) = delete;
    InitBlock& operator=(const InitBlock&) = delete;
    void* param() { return &param_; }

  private:
    std::string configPath_;
    std::string modelPath_;
    std::string cacheDir_;
    std::vector<uint8_t> modelBytes_;
    BodySegModelDesc desc_;
    BodySegInitParam param_;
};

// A configuration file selecting `runtime` with "Decrption" as given, and `stored` as the model
// file (by default testsupport::plainModel(), encrypted when `decrypt`).
std::unique_ptr<InitBlock> hostBlock(Runtime runtime, bool decrypt,
                                     std::optional<std::vector<uint8_t>> stored = std::nullopt);

// The host's output image: a mask buffer with room to spare, the spare bytes set to a canary.
struct MaskImage {
    static constexpr uint8_t kCanary = 0xA5;
    static constexpr size_t kSpare = 4096;
    std::vector<uint8_t> bytes = std::vector<uint8_t>(BODYSEG_MASK_BYTES + kSpare, kCanary);
    Image image{};
    MaskImage() { image.data = bytes.data(); }
    std::vector<uint8_t> mask() const {
        return std::vector<uint8_t>(bytes.begin(), bytes.begin() + BODYSEG_MASK_BYTES);
    }
    bool spareUntouched() const {
        return std::all_of(bytes.begin() + BODYSEG_MASK_BYTES, bytes.end(),
                           [](uint8_t b) { return b == kCanary; });
    }
};

// A small uniform frame through `table`, for tests about everything but the pixels.
int sendSmallFrame(Table table, void* handle, int imageType, int orientation, MaskImage* out);

}  // namespace e2e
