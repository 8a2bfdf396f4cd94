// The log lines and statuses integrators grep for, through the boundary: every way a handle or a
// frame fails at the phone's log mask (errors only), with the status of each call, every ERROR
// line in order, that a failed init leaves the host's handle alone and what the release finds left
// behind; and every line of one init, frame and release at the most verbose mask.
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <regex>

#include "CameraHost.h"
#include "ChildChecks.h"
#include "ChildProcess.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "PluginPaths.h"
#include "TestInputs.h"

namespace e2e {
namespace {

// What the host gets wrong, or what happens besides a stand-in call failing.
enum class Bad {
    Nothing,
    NoConfigFile,
    NotJson,
    ShortModel,
    NoInitBlock,
    NullHandle,
    NullInputImage,
    NullImage,
    NullOutput,
    NullOutputData,
    BadGeometry,
    ReleasedHandle,
    Int32Input,
    SecondInit,
};

constexpr const char* kVersion = "algoInitHandleV1() body-detection_mtk-neuropilot6_342x456_V2.0.6";

struct Case {
    const char* name;
    Runtime runtime;
    bool decrypt;
    Bad bad;
    const char* initFailure;   // the stand-in call made to fail before init, or ""
    const char* frameFailure;  // ... before the frame
    int initStatus;
    int frameStatus;  // when init worked
    int releaseStatus;
    // Every ERROR line as "function() message" in order, separated by |, pointers as 0x?, a final
    // * matching any rest. <version> stands for the version line, <init> for it and the parameter
    // lines of a configuration read, <engine> for the engine's refusal, <leak> for the lines of a
    // release that finds what is left.
    const char* errors;
};

const Case kCases[] = {
    {"NoInitBlock", Runtime::Neuropilot, true, Bad::NoInitBlock, "", "", kFailure, 0, 0,
     "<version>|algoInitHandleV1() init param is nullptr: handle 0x?, param (nil), model (nil)"},
    {"NoConfigFile", Runtime::Neuropilot, true, Bad::NoConfigFile, "", "", kFailure, 0, 0,
     "<version>|parse_json() parse_json fail to open json\n|algoInitHandleV1() parse_json failed"},
    // jsoncpp words the reason.
    {"ConfigNotJson", Runtime::Neuron, true, Bad::NotJson, "", "", kFailure, 0, 0,
     "<version>|parse_json() parse_json fail to parse json: *|algoInitHandleV1() parse_json "
     "failed"},
    // The decryption buffer is freed by the release all the same.
    {"ModelTooShortToDecrypt", Runtime::Neuropilot, true, Bad::ShortModel, "", "", kFailure, 0, 0,
     "<init>|model_parse() send wrong value to model_sparse\n|algoInitHandleV1() sparse model "
     "failed"},
    // An engine whose Init failed is never handed out: the release reports it.
    {"NeuropilotBufferModel", Runtime::Neuropilot, true, Bad::Nothing,
     "ANeuroPilotTFLite_createAdvWithBuffer", "", kFailure, 0, kMemoryFreeError,
     "<init>|InitModelWithBuffer() ANeuroPilotTFLiteWrapper_makeAdvTFLiteWithBuffer "
     "failed|<engine>|<leak>"},
    {"NeuropilotFileModel", Runtime::Neuropilot, false, Bad::Nothing, "ANeuroPilotTFLite_createAdv",
     "", kFailure, 0, kMemoryFreeError,
     "<init>|InitModelWithFile() ANeuroPilotTFLiteWrapper_makeAdvTFLite failed|<engine>|<leak>"},
    {"NeuropilotTensorSize", Runtime::Neuropilot, true, Bad::Nothing,
     "ANeuroPilotTFLite_getTensorByteSize", "", kFailure, 0, kMemoryFreeError,
     "<init>|InitModelBuffers() ANeuroPilotTFLiteWrapper_getTensorByteSize "
     "failed|<engine>|<leak>"},
    {"NeuronCreate", Runtime::Neuron, true, Bad::Nothing, "NeuronRuntime_create", "", kFailure, 0,
     kMemoryFreeError,
     "<init>|InitModelWithBuffer() WarpNeuronRuntime_create failed|<engine>|<leak>"},
    {"NeuronFileModel", Runtime::Neuron, false, Bad::Nothing, "NeuronRuntime_loadNetworkFromFile",
     "", kFailure, 0, kMemoryFreeError,
     "<init>|InitModelWithFile() WarpNeuronRuntime_loadNetworkFromFile failed, error code = "
     "4|<engine>|<leak>"},
    {"NullHandle", Runtime::Neuropilot, true, Bad::NullHandle, "", "", 0, kFailure, 0,
     "<init>|processImageV1() algo handle is nullptr"},
    {"NullInputImage", Runtime::Neuropilot, true, Bad::NullInputImage, "", "", 0, kFailure, 0,
     "<init>|processImage() input image is nullptr"},
    {"NullImage", Runtime::Neuron, true, Bad::NullImage, "", "", 0, kFailure, 0,
     "<init>|processImageV1() frame refused: input image (nil), output image 0x?, output data "
     "0x?, buffers 0x?"},
    {"NullOutput", Runtime::Neuropilot, true, Bad::NullOutput, "", "", 0, kFailure, 0,
     "<init>|processImageV1() frame refused: input image 0x?, output image (nil), output data "
     "(nil), buffers 0x?"},
    {"NullOutputData", Runtime::Neuropilot, true, Bad::NullOutputData, "", "", 0, kFailure, 0,
     "<init>|processImageV1() frame refused: input image 0x?, output image 0x?, output data "
     "(nil), buffers 0x?"},
    {"HandleReleasedUnderneath", Runtime::Neuron, true, Bad::ReleasedHandle, "", "", 0, kFailure, 0,
     "<init>|processImageV1() frame refused: input image 0x?, output image 0x?, output data "
     "0x?, buffers (nil)"},
    {"ImpossibleGeometry", Runtime::Neuropilot, true, Bad::BadGeometry, "", "", 0, kFailure, 0,
     "<init>|frameGeometryIsSound() frame refused, bad fields: width stride (width_0 height_48 "
     "stride_63 scan_48 data_0x?)"},
    // A failed inference fails the frame, which still describes the mask.
    {"NeuropilotInvoke", Runtime::Neuropilot, true, Bad::Nothing, "", "ANeuroPilotTFLite_invoke", 0,
     kFailure, 0,
     "<init>|ModelInference() ANeuroPilotTFLiteWrapper_invoke failed|processImageV1() "
     "pBodySegmentEngine Inference failed|processImageV1() processImage failed"},
    {"NeuronInference", Runtime::Neuron, false, Bad::Nothing, "", "NeuronRuntime_inference", 0,
     kFailure, 0,
     "<init>|ModelInference() WarpNeuronRuntime_inference failed|processImageV1() "
     "pBodySegmentEngine Inference failed|processImageV1() processImage failed"},
    // A model input the frame path cannot feed is not a failure: no inference is made.
    {"Int32ModelInput", Runtime::Neuropilot, true, Bad::Int32Input, "", "", 0, 0, 0,
     "<init>|processImageV1() Unsupported model data type"},
    // The working buffers belong to the process: a second init reuses them, and the release
    // finds the first engine, factory and decrypted model still registered.
    {"SecondInitWithoutRelease", Runtime::Neuron, true, Bad::SecondInit, "", "", 0, 0,
     kMemoryFreeError, "<init>|<init>|<leak>"},
};

std::vector<std::string> initLines(Runtime runtime, bool decrypt) {
    const std::string decryption = decrypt ? "1" : "0";
    if (runtime == Runtime::Neuropilot) {
        return {kVersion, "algoInitHandleV1() acc_mode:2, acc_name:mtk-neuron, exe_mode:2",
                "algoInitHandleV1() deviceKind:0, MDLACoreOption:0, preference:0, priority:0, "
                "boostValue:0",
                "algoInitHandleV1() decrption:" + decryption +
                    ", ai_sdk_def:0, run_ai_model:1, use_hist_match:0"};
    }
    return {kVersion, "algoInitHandleV1() acc_mode:0, acc_name:(null), exe_mode:0",
            "algoInitHandleV1() deviceKind:4, MDLACoreOption:0, preference:0, priority:2, "
            "boostValue:100",
            "algoInitHandleV1() decrption:" + decryption +
                ", ai_sdk_def:1, run_ai_model:1, use_hist_match:0"};
}

std::vector<std::string> expectedErrors(const Case& c) {
    std::vector<std::string> lines;
    std::string rest = c.errors;
    for (size_t end = 0; end != std::string::npos; rest.erase(0, end + 1)) {
        end = rest.find('|');
        const std::string token = rest.substr(0, end);
        std::vector<std::string> expanded = {token};
        if (token == "<version>")
            expanded = {kVersion};
        else if (token == "<init>")
            expanded = initLines(c.runtime, c.decrypt);
        else if (token == "<engine>")
            expanded = {"algoInitHandleV1() pBodySegmentEngine Init failed"};
        else if (token == "<leak>")
            expanded = {"memFinalCheck() There is memory leak!",
                        "releaseHandle() SDK_MEMORY_FREE_ERR!"};
        for (const std::string& line : expanded)
            lines.push_back("[ERROR] " + line);
    }
    return lines;
}

// The plug-in's lines at `priority` (every line for -1) as "[WORD] function() message", or with
// `withFile` as "[WORD] file function() message" (the field integrators filter by): pointers as
// 0x?, the temporary directory as <tmp>, stage times as N, each at most `maxMs`. Lines under
// another tag show whole; the vendor shim's is logged once per process and left to its own tests.
std::vector<std::string> loggedLines(testsupport::LogCapture& log, int priority,
                                     long long maxMs = 0, bool withFile = false) {
    static const std::regex pointer("0x[0-9a-f]+"), time(" = ([0-9]+) ms$");
    std::vector<std::string> lines;
    for (const testsupport::LogLine& line : log.lines()) {
        const testsupport::HeadedLine h = testsupport::parseHeadedLine(line);
        if ((priority >= 0 && line.priority != priority) || line.tag == "NeuroPilotTFLiteShim")
            continue;
        std::string text = line.tag != "beauty-sdk-body-detect"
                               ? line.tag + " " + line.text
                               : "[" + h.word + "] " + (withFile ? h.file + " " : "") + h.function +
                                     "() " + h.message;
        std::smatch ms;
        if (std::regex_search(text, ms, time) && std::stoll(ms[1]) > maxMs)
            text += " (more than the " + std::to_string(maxMs) + " ms the call took)";
        text = std::regex_replace(std::regex_replace(text, time, " = N ms"), pointer, "0x?");
        for (size_t at; (at = text.find(testsupport::tempDir())) != std::string::npos;)
            text.replace(at, testsupport::tempDir().size(), "<tmp>");
        lines.push_back(text);
    }
    log.clear();
    return lines;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += "\n    " + line;
    return text;
}

std::string runCase(const Case& c) {
    testsupport::ChildChecks check;
    setLogMask(1);
    const testsupport::StandinClient& runtime = standin(c.runtime);
    if (c.bad == Bad::Int32Input)
        runtime.setTensor(0, 342 * 456 * 3, 3);
    if (*c.initFailure != '\0')
        runtime.failCall(c.initFailure, 4);
    auto block = hostBlock(c.runtime, c.decrypt,
                           c.bad == Bad::ShortModel ? std::vector<uint8_t>(2047, 0x11)
                                                    : std::optional<std::vector<uint8_t>>());
    if (c.bad == Bad::NoConfigFile)
        std::remove((testsupport::tempDir() + "/config.json").c_str());
    if (c.bad == Bad::NotJson)
        testsupport::writeTempFile("config.json", std::string("\x01\x02garbage{{"));

    testsupport::LogCapture log;
    void* const untouched = reinterpret_cast<void*>(0x1);
    void* handle = untouched;
    const int init =
        initHandle(Table::AlgoAPI, &handle, c.bad == Bad::NoInitBlock ? nullptr : block->param());
    check.expectEq(init, c.initStatus, "init status");
    check.expect(init == 0 || handle == untouched, "a failed init wrote the host's handle");
    if (init == 0) {
        MaskImage out;
        int64_t firstInput = 0;
        if (c.bad == Bad::SecondInit) {
            void* first = handle;
            check.expectEq(sendSmallFrame(Table::AlgoAPI, first, 6, 270, &out), 0, "first frame");
            firstInput = runtime.recordedInt("input_address", 0);
            check.expectEq(initHandle(Table::AlgoAPI, &handle, block->param()), 0, "second init");
            check.expect(handle != first, "the second init returned the first engine");
        }
        if (c.bad == Bad::ReleasedHandle)
            check.expectEq(releaseHandle(Table::AlgoAPI, handle), 0, "release before the frame");
        if (*c.frameFailure != '\0')
            runtime.failCall(c.frameFailure, 4);
        const std::vector<uint8_t> pixels(64 * 48 * 3 / 2, 128);
        Image in =
            inputImage({64, 48, c.bad == Bad::BadGeometry ? 63 : 64, 48}, 5, 90, pixels.data());
        in.width = c.bad == Bad::BadGeometry ? 0 : in.width;
        out.image.data = c.bad == Bad::NullOutputData ? nullptr : out.image.data;
        InputImage wrapped{c.bad == Bad::NullImage ? nullptr : &in};
        const int frame = plugin().api.processImage(
            c.bad == Bad::NullHandle ? nullptr : handle,
            c.bad == Bad::NullInputImage ? nullptr : &wrapped,
            c.bad == Bad::NullOutput ? nullptr : &out.image, nullptr, nullptr);
        check.expectEq(frame, c.frameStatus, "frame status");
        // A failed inference still describes the mask; an unfed one is not even tried.
        check.expect(c.bad != Bad::Nothing || out.image.size == 155952u, "mask size");
        check.expect(c.bad != Bad::Int32Input || runtime.callCount("ANeuroPilotTFLite_invoke") == 0,
                     "inference of an unfed model");
        check.expect(
            c.bad != Bad::SecondInit || runtime.recordedInt("input_address", 0) == firstInput,
            "the second init made new working buffers");
    }
    const bool releasedAlready = init != 0 || c.bad == Bad::ReleasedHandle;
    check.expectEq(releaseHandle(Table::AlgoAPI, releasedAlready ? nullptr : handle),
                   c.releaseStatus, "release status");
    std::vector<std::string> got = loggedLines(log, ANDROID_LOG_ERROR);
    const std::vector<std::string> want = expectedErrors(c);
    for (size_t i = 0; i < got.size() && i < want.size(); ++i) {
        const std::string prefix = want[i].substr(0, want[i].size() - 1);
        if (want[i].back() == '*' && got[i].rfind(prefix, 0) == 0)
            got[i] = want[i];
    }
    check.expectEq(joined(got), joined(want), "ERROR lines");
    return check.verdict();
}

TEST(Failures, EachStepFailsWithItsStatusAndErrorLinesAndReleaseFindsWhatWasLeft) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(testsupport::runInChild([&] { return runCase(c); }), "");
    }
}

long long millisSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
}

TEST(LogLines, OneInitFrameAndReleaseAtTheVerboseMask) {
    setLogMask(15);
    standin(Runtime::Neuropilot);
    auto block = hostBlock(Runtime::Neuropilot, true);
    const std::string cache = testsupport::tempDir() + "/cache";
    rmdir(cache.c_str());
    testsupport::LogCapture log;

    auto start = std::chrono::steady_clock::now();
    void* handle = nullptr;
    ASSERT_EQ(initHandle(Table::AlgoAPI, &handle, block->param()), 0);
    const std::vector<std::string> init = loggedLines(log, -1, millisSince(start), true);
    struct stat made {};
    EXPECT_EQ(stat(cache.c_str(), &made), 0);
    EXPECT_EQ(made.st_mode & 07777u, 0700u) << "the cache directory is the owner's only";

    start = std::chrono::steady_clock::now();
    MaskImage out;
    const std::vector<uint8_t> pixels(640 * 480 * 3 / 2, 90);
    Image in = inputImage({640, 480, 640, 480}, functest::kImageNV12, 180, pixels.data());
    EXPECT_EQ(processFrame(Table::AlgoAPI, handle, &in, &out.image), 0);
    const std::vector<std::string> frame = loggedLines(log, -1, millisSince(start), true);

    start = std::chrono::steady_clock::now();
    EXPECT_EQ(releaseHandle(Table::AlgoAPI, handle), 0);
    const std::vector<std::string> release = loggedLines(log, -1, millisSince(start), true);
    setLogMask(1);

    const std::vector<std::string> wantInit = {
        "[INFO] ALGOGalloc.cpp memTraceInit() debug enbale:0",
        "[DEBUG] BodySegmentAPI.cpp algoInitHandle() E",
        "[DEBUG] BodySegmentAPI.cpp getVersion() E",
        "[DEBUG] BodySegmentAPI.cpp getVersion() X",
        "[ERROR] BodySegmentAPI.cpp algoInitHandleV1() "
        "body-detection_mtk-neuropilot6_342x456_V2.0.6",
        "[INFO] ParseParams.cpp parse_json() Module: BodySegmentation",
        "[INFO] OptionConversions.cpp String2AcceleratorName() count: 4",
        "[DEBUG] BodySegmentFunc.cpp time_end() parse_json = N ms",
        "[ERROR] BodySegmentAPI.cpp algoInitHandleV1() acc_mode:2, acc_name:mtk-neuron, exe_mode:2",
        "[ERROR] BodySegmentAPI.cpp algoInitHandleV1() deviceKind:0, MDLACoreOption:0, "
        "preference:0, priority:0, "
        "boostValue:0",
        "[ERROR] BodySegmentAPI.cpp algoInitHandleV1() decrption:1, ai_sdk_def:0, run_ai_model:1, "
        "use_hist_match:0",
        "[INFO] BodySegmentAPI.cpp algoInitHandleV1() delayedPowerOffTime:-1",
        "[INFO] Decryption.cpp model_parse() model_sparse success\n",
        "[INFO] BodySegNeuropilot.cpp BodySegNeuropilot() Construct",
        "[INFO] BodySegFty.cpp CreateModelImp() new bodysegment::BodySegNeuropilot success",
        "[INFO] BodySegNeuropilot.cpp Init() Init",
        "[INFO] BodySegNeuropilot.cpp InitModelWithBuffer() use neuron delegate",
        "[INFO] BodySegmentFunc.cpp make_dir() <tmp>/cache not existing, now make it",
        "[INFO] BodySegmentFunc.cpp make_dir() make successfully",
        "[INFO] BodySegmentAPI.cpp algoInitHandleV1() init algo handle success",
        "[INFO] BodySegmentAPI.cpp allocateGlobalMemory() s_ai_body_segment _memory_t new success",
        "[DEBUG] BodySegmentFunc.cpp time_end() init time = N ms",
        "[DEBUG] BodySegmentAPI.cpp algoInitHandle() X",
    };
    const std::vector<std::string> wantFrame = {
        "[DEBUG] BodySegmentAPI.cpp processImage() E",
        "[DEBUG] BodySegmentAPI.cpp processImageV1() E",
        "[INFO] BodySegmentFunc.cpp pre_process_bodysegment() net_width_342, net_height_456",
        "[INFO] BodySegmentFunc.cpp pre_process_bodysegment() stride_640 scan_480, width_640, "
        "height_480, "
        "orientation_180, image_type_6",
        "[DEBUG] BodySegmentFunc.cpp time_end() pre process bodysegment time = N ms",
        "[INFO] BodySegmentAPI.cpp processImageV1() InputDataType:2",
        "[INFO] BodySegNeuropilot.cpp Inference() Inference",
        "[INFO] BodySegNeuropilot.cpp ModelInference() Copy input",
        "[INFO] BodySegNeuropilot.cpp ModelInference() Invoke",
        "[INFO] BodySegNeuropilot.cpp ModelInference() Copy output",
        "[INFO] BodySegmentAPI.cpp processImageV1() OutputDataType:3",
        "[DEBUG] BodySegmentFunc.cpp time_end() inference time = N ms",
        "[DEBUG] BodySegmentFunc.cpp time_end() post process bodysegment time = N ms",
        "[DEBUG] BodySegmentFunc.cpp time_end() lable redistribute time = N ms",
        "[DEBUG] BodySegmentAPI.cpp processImage() X",
    };
    const std::vector<std::string> wantRelease = {
        "[DEBUG] BodySegmentAPI.cpp releaseHandle() E",
        "[INFO] BodySegmentAPI.cpp releaseHandleV1() release s_body_segment_decryption_buffer "
        "success",
        "[INFO] BodySegmentAPI.cpp releaseHandleV1() release s_body_segment_model_imp_fty success",
        "[INFO] BodySegNeuropilot.cpp Release() Release",
        "[INFO] BodySegNeuropilot.cpp ~BodySegNeuropilot() Deconstruct",
        "[INFO] BodySegmentAPI.cpp releaseHandleV1() release algo handle success",
        "[INFO] BodySegmentAPI.cpp releaseHandleV1() release s_body_segment_global_memory success",
        "[DEBUG] BodySegmentFunc.cpp time_end() release time = N ms",
        "[INFO] ALGOGalloc.cpp memFinalCheck() release memory is OK!",
        "[DEBUG] BodySegmentAPI.cpp releaseHandle() X",
    };
    EXPECT_EQ(init, wantInit);
    EXPECT_EQ(frame, wantFrame);
    EXPECT_EQ(release, wantRelease);
}

}  // namespace
}  // namespace e2e
