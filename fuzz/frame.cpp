// Frames through processImage with whatever format, orientation and geometry the input says, on a
// live handle of the scripted NeuroPilot runtime. The frame sits in a buffer of exactly the size
// its declared geometry describes, flush against an inaccessible page (libyuv reads the pixels and
// is not instrumented, so the page is what catches an overread there), and the mask in one of
// exactly 155952 bytes. A frame whose geometry cannot describe a buffer must be refused before a
// pixel is read (its buffer is sealed) with one ERROR line naming the bad fields; any other frame
// must complete.
#include <fuzzer/FuzzedDataProvider.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "BodySegmentAPI.h"
#include "CapturedLog.h"
#include "FuzzCheck.h"
#include "GuardedBuffer.h"
#include "StandinRuntimes.h"

namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 65535;
// libyuv's scaler refuses sources wider or taller than this; the plug-in refuses such frames.
constexpr int kScalerLimit = 32768;
// Frames are painted up to this size; beyond it the buffer stays zero and only the pages the
// plug-in touches are committed.
constexpr size_t kLargestPainted = size_t{16} << 20;
// Sound frames with more pixels than this are skipped: converting them takes seconds, not
// microseconds, and finds nothing a smaller frame would not.
constexpr int64_t kLargestPicture = int64_t{8} << 20;

struct Session {
    BodySegAlgoAPI api{};
    BodySegAlgoAPIV1 apiV1{};
    std::vector<uint8_t> model;
    std::string configPath;
    BodySegModelDesc desc{};
    BodySegInitParam param{};
    void* handle = nullptr;
};

Session* gSession = nullptr;

// Mostly ordinary sizes, but every int32 value is reachable.
int32_t geometryValue(FuzzedDataProvider& in) {
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0:
            return in.ConsumeIntegralInRange<int32_t>(1, 1024);
        case 1:
            return in.ConsumeIntegralInRange<int32_t>(-4, 8);
        case 2:
            return in.ConsumeIntegralInRange<int32_t>(1, 1 << 17);
        default:
            return in.ConsumeIntegral<int32_t>();
    }
}

int32_t orientationValue(FuzzedDataProvider& in) {
    constexpr int32_t kQuarterTurns[] = {0, 90, 180, 270};
    return in.ConsumeBool() ? in.PickValueInArray(kQuarterTurns) : in.ConsumeIntegral<int32_t>();
}

int32_t imageTypeValue(FuzzedDataProvider& in) {
    constexpr int32_t kKnown[] = {BODYSEG_IMAGE_NV21, BODYSEG_IMAGE_NV12};
    return in.ConsumeIntegralInRange<int>(0, 3) != 0 ? in.PickValueInArray(kKnown)
                                                     : in.ConsumeIntegral<int32_t>();
}

// The fields a refusal must name, in the order the plug-in names them; empty for a frame whose
// geometry describes a buffer.
std::string badFields(const Image& in) {
    std::string fields;
    const bool badStride = in.stride < in.width || in.stride <= 0 || in.stride % 2 != 0;
    const bool badScan = in.scan < in.height || in.scan <= 0 || in.scan % 2 != 0;
    if (in.width <= 0 || in.width > kScalerLimit)
        fields += " width";
    if (in.height <= 0 || in.height > kScalerLimit)
        fields += " height";
    if (badStride)
        fields += " stride";
    if (badScan)
        fields += " scan";
    if (in.data == nullptr)
        fields += " data";
    if (!badStride && !badScan && uint64_t(in.stride) * uint64_t(in.scan) * 3 / 2 > INT32_MAX)
        fields += " stride*scan";
    return fields;
}

size_t declaredBytes(const Image& in) {
    constexpr size_t kLargestReservation = size_t{1} << 36;
    if (in.stride <= 0 || in.scan <= 0)
        return 0;
    const size_t bytes = size_t(in.stride) * size_t(in.scan) * 3 / 2;
    return bytes <= kLargestReservation ? bytes : 0;
}

void paint(hardening::GuardedBuffer& frame, const std::vector<uint8_t>& pixels) {
    const size_t painted = std::min(frame.size(), kLargestPainted);
    if (pixels.empty())
        return;
    for (size_t at = 0; at < painted; at += pixels.size())
        std::memcpy(frame.data() + at, pixels.data(), std::min(pixels.size(), painted - at));
}

int process(bool v1Table, Image* in, Image* out) {
    Session& s = *gSession;
    if (v1Table)
        return s.apiV1.processImage(s.handle, in, out, nullptr, nullptr);
    InputImage wrapped{in};
    return s.api.processImage(s.handle, &wrapped, out, nullptr, nullptr);
}

void expectRefused(const std::string& fields, int result) {
    const auto& lines = fuzzsupport::errorLines();
    FUZZ_CHECK(result == kFailure, "frame with bad fields%s gave %d", fields.c_str(), result);
    FUZZ_CHECK(lines.size() == 1, "%zu ERROR lines for bad fields%s", lines.size(), fields.c_str());
    const std::string naming = "frame refused, bad fields:" + fields + " (";
    FUZZ_CHECK(lines[0].find(naming) != std::string::npos, "refusal '%s' does not name%s",
               lines[0].c_str(), fields.c_str());
}

void expectCompleted(const Image& in, const Image& out, const uint8_t* mask, int result) {
    const auto& lines = fuzzsupport::errorLines();
    FUZZ_CHECK(result == kSuccess, "%dx%d stride %d scan %d type %d orientation %d gave %d: %s",
               in.width, in.height, in.stride, in.scan, in.image_type, in.orientation, result,
               lines.empty() ? "" : lines[0].c_str());
    FUZZ_CHECK(lines.empty(), "a completed frame wrote %zu ERROR lines: %s", lines.size(),
               lines[0].c_str());
    FUZZ_CHECK(out.data == mask && out.size == BODYSEG_MASK_BYTES &&
                   out.width == BODYSEG_MASK_WIDTH && out.height == BODYSEG_MASK_HEIGHT &&
                   out.stride == BODYSEG_MASK_WIDTH && out.scan == BODYSEG_MASK_HEIGHT,
               "mask described as %dx%d stride %d scan %d size %u", out.width, out.height,
               out.stride, out.scan, out.size);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzsupport::captureLog();
    FUZZ_CHECK(fuzzsupport::loadScriptedRuntimes(), "stand-in runtimes missing");
    gSession = new Session;
    Session& s = *gSession;
    FUZZ_CHECK(getAlgoAPI(&s.api) == kSuccess && get_algo_api(&s.apiV1) == kSuccess,
               "tables refused");
    // The model stays in memory: no decryption, no file, only the configuration on disk.
    s.configPath = "/tmp/bodyseg-fuzz-frame-" + std::to_string(getpid()) + ".json";
    const char kConfig[] =
        R"({"Product": "P", "Platform": "MTK", "AISDK": "Neuropilot", "ParamGroup": [{"Product":
        "P", "Platform": "MTK", "AISDK": "Neuropilot", "Decrption": true}]})";
    FILE* file = std::fopen(s.configPath.c_str(), "w");
    FUZZ_CHECK(file != nullptr, "cannot write %s", s.configPath.c_str());
    std::fputs(kConfig, file);
    std::fclose(file);
    s.model.assign(4096, 0x5a);
    s.desc.model_path = "";
    s.desc.model_data = s.model.data();
    s.desc.model_size = static_cast<uint32_t>(s.model.size());
    s.desc.cache_dir = "/tmp";
    s.param.model = &s.desc;
    s.param.config_path = s.configPath.c_str();
    FUZZ_CHECK(s.api.algoInitHandle(&s.handle, &s.param) == kSuccess, "init failed");
    // Read once by init and never again.
    unlink(s.configPath.c_str());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    Image in{};
    in.width = geometryValue(input);
    in.height = geometryValue(input);
    in.stride = geometryValue(input);
    in.scan = geometryValue(input);
    in.orientation = orientationValue(input);
    in.image_type = imageTypeValue(input);
    const bool v1Table = input.ConsumeBool();
    const bool nullData = input.ConsumeIntegralInRange<int>(0, 15) == 0;
    const auto flush =
        input.ConsumeBool() ? hardening::FlushEdge::Start : hardening::FlushEdge::End;
    const std::vector<uint8_t> pixels = input.ConsumeRemainingBytes<uint8_t>();

    hardening::GuardedBuffer frame(declaredBytes(in), flush);
    hardening::GuardedBuffer mask(BODYSEG_MASK_BYTES, hardening::FlushEdge::End);
    FUZZ_CHECK(frame.ok() && mask.ok(), "cannot reserve %zu bytes", declaredBytes(in));
    in.data = nullData ? nullptr : frame.data();
    const std::string fields = badFields(in);
    if (fields.empty() && int64_t{in.width} * in.height > kLargestPicture)
        return -1;
    if (fields.empty()) {
        paint(frame, pixels);
    } else {
        frame.seal();
        mask.seal();
    }

    Image out{};
    out.data = mask.data();
    const Image declared = in;
    fuzzsupport::clearLog();
    const int result = process(v1Table, &in, &out);
    FUZZ_CHECK(std::memcmp(&declared, &in, sizeof(in)) == 0, "the input Image was changed");
    if (fields.empty())
        expectCompleted(in, out, mask.data(), result);
    else
        expectRefused(fields, result);
    return 0;
}
