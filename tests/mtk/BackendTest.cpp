// Both backends through the real dlopen path into their stand-in runtimes (loaded before any
// backend binds its vendor functions, which happens once per process): every failing vendor step
// and refused frame with its one ERROR line, what a working backend hands the runtime and gets
// back narrowed, and the factories' registration. Every test gives back each tracked block and
// vendor object it made.
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cfloat>
#include <cmath>

#include "ALGOGalloc.h"
#include "APSAlgoMemTrace.h"
#include "BodySegFty.h"
#include "BodySegNeuron.h"
#include "BodySegNeuropilot.h"
#include "LogLevelScope.h"
#include "MtkLog.h"
#include "PluginPaths.h"
#include "StandinClient.h"
#include "TestInputs.h"

namespace mtktest {
namespace {

using bodysegment::ModelImpBase;
using testsupport::StandinClient;
using Bytes = std::vector<uint8_t>;
constexpr uint32_t kInputBytes = 24;
constexpr uint8_t kUntouched = 0xAA;
constexpr int kStatus = 7;

const Bytes kFileModel = testsupport::plainModel(96);
// Other bytes than the file's, so the stand-in's records tell the build paths apart.
const Bytes kBufferModel = testsupport::plainModel(40);

const std::string& modelPath() {
    static const std::string path = testsupport::writeTempFile("model.tflite", kFileModel);
    return path;
}

// NeuroPilot's acceleration mode, preference and fp16 flag, the Neuron records and attribute; the
// model bytes and their size each only when asked for.
mtk_ai_type::ModelCfg cfgOf(bool bytes, bool size, int mode = 0, int preference = 1, int fp16 = 0,
                            EnvOptions env = {4, 0, 0},
                            QoSOptions qos = {0, 1, 100, 0, 0, 0, 0, 0, -1, 0, 0, 0},
                            int attribute = -1) {
    static const std::string cacheDir = testsupport::tempDir() + "/cache";
    const char* path = modelPath().c_str();
    const char* cache = cacheDir.c_str();
    const void* model = bytes ? kBufferModel.data() : nullptr;
    return {path, model, size * 40u, cache, mode, "mtk-vpu", preference, fp16, env, qos, attribute};
}

struct Backend {
    const char* file;  // the file field of its log lines and registry records
    const char* library;
    ModelImpBase* (*make)(mtk_ai_type::ModelCfg& cfg);  // through the factory, registered
    uint32_t size;
    // INFO lines ("<function>() <message>") of the factory, a refused frame, Release, Init twice
    // ("*": the acceleration mode's line), three refused frames, a frame, Release twice, deletion.
    Lines trace;
    const StandinClient& standin() const {
        static const StandinClient tflite(testsupport::standinDir(), "libtflite_mtk.so");
        static const StandinClient neuron(testsupport::standinDir(), "libneuron_runtime.6.so");
        return library[0] == 't' ? tflite : neuron;
    }
};

template <typename Factory>
ModelImpBase* make(mtk_ai_type::ModelCfg& cfg) {
    return Factory().CreateModelImp(cfg);
}

const Backend kNeuropilot{
    "BodySegNeuropilot.cpp", "tflite", make<bodysegment::BodySegNeuropilotFty>,
    sizeof(bodysegment::BodySegNeuropilot),
    Lines{"BodySegNeuropilot() Construct",
          "CreateModelImp() new bodysegment::BodySegNeuropilot success", "Inference() Inference",
          "Release() Release", "Init() Init", "*", "Init() Init", "Release() Release", "*",
          "Inference() Inference", "Inference() Inference", "Inference() Inference",
          "Inference() Inference", "ModelInference() Copy input", "ModelInference() Invoke",
          "ModelInference() Copy output", "Release() Release", "Release() Release",
          "~BodySegNeuropilot() Deconstruct"}};
const Backend kNeuron{
    "BodySegNeuron.cpp", "neuron", make<bodysegment::BodySegNeuronFty>,
    sizeof(bodysegment::BodySegNeuron),
    Lines{"BodySegNeuron() Construct", "CreateModelImp() new bodysegment::BodySegNeuron success",
          "Inference() Inference", "Release() Release", "Init() Init", "Init() Init",
          "Release() Release", "Inference() Inference", "Inference() Inference",
          "Inference() Inference", "Inference() Inference", "ModelInference() Set Input and Output",
          "ModelInference() Invoke", "Release() Release", "Release() Release",
          "~BodySegNeuron() Deconstruct engine"}};

std::string line(const char* word, const Backend& kind, const std::string& text) {
    const bool factory = text.rfind("CreateModelImp", 0) == 0;
    return std::string("[") + word + "] " + (factory ? "BodySegFty.cpp" : kind.file) + " " + text;
}

template <typename Value>
Bytes bytes(const std::vector<Value>& values) {
    const auto* begin = reinterpret_cast<const uint8_t*>(values.data());
    return Bytes(begin, begin + values.size() * sizeof(Value));
}

class BackendTest : public testing::Test {
  protected:
    void SetUp() override {
        kavo::AlgorithmMemory::sDebugEnable = 1;
        kavo::APSAlgoMemTrace::sAPSMemEnable = 0;
        ASSERT_TRUE(kNeuropilot.standin().loaded() && kNeuron.standin().loaded());
        live_ = live();
        for (uint32_t i = 0; i < kInputBytes; ++i)
            input_.push_back(static_cast<uint8_t>(7 * i + 3));
    }
    void TearDown() override { expectBalanced(); }

    // The initial script with both tensors of `type`: a 24-byte input, an `outputBytes` output.
    static void reset(uint32_t type = 3, uint32_t outputBytes = 32) {
        for (const Backend* kind : {&kNeuropilot, &kNeuron}) {
            kind->standin().reset();
            kind->standin().setTensor(0, kInputBytes, type);
            kind->standin().setTensor(1, outputBytes, type);
        }
    }
    static std::vector<int64_t> live() {
        const StandinClient& tflite = kNeuropilot.standin();
        return {tflite.recordedInt("live_options"), tflite.recordedInt("live_interpreters"),
                kNeuron.standin().recordedInt("live_runtimes")};
    }
    static std::map<void*, kavo::AlgoMemInfo> records() {
        std::lock_guard<std::mutex> guard(kavo::AlgorithmMemory::sMapLock);
        return kavo::AlgorithmMemory::sMemMap;
    }
    void expectBalanced() {
        EXPECT_EQ(records().size(), 0u);
        EXPECT_EQ(kavo::AlgorithmMemory::getTotalMemSize(), 0u);
        EXPECT_EQ(live(), live_) << "options, interpreters, Neuron runtimes alive";
    }

    testsupport::LogLevelScope level_{kavo::kLogError | kavo::kLogWarn | kavo::kLogInfo};
    testsupport::LogCapture capture_;
    Bytes input_;
    std::vector<int64_t> live_;
};

// The stand-in function made to fail, in Init or in a frame, and the one ERROR line it ends in.
struct Failure {
    const Backend* kind;
    bool buffer;
    std::string symbol;
    bool frame;
    std::string error;
};

std::vector<Failure> failures() {
    const Backend* np = &kNeuropilot;
    const Backend* nr = &kNeuron;
    const std::string code = std::to_string(kStatus);
    std::vector<Failure> rows;
    for (const bool buffer : {false, true}) {
        const auto add = [&](const Backend* kind, const std::string& symbol,
                             const std::string& error, bool frame = false) {
            rows.push_back({kind, buffer, symbol, frame, error});
        };
        const std::string init = buffer ? "InitModelWithBuffer() " : "InitModelWithFile() ";
        for (const std::string step : {"create", "setAccelerationMode", "setAcceleratorName",
                                       "setUseIon", "setNoSupportedOperationCheck", "setCacheDir",
                                       "setPreference", "setAllowFp16PrecisionForFp32"}) {
            add(np, "ANeuroPilotTFLiteOptions_" + step,
                init + "ANeuralNetworksTFLiteOptions_" + step + " failed");
        }
        add(np, buffer ? "ANeuroPilotTFLite_createAdvWithBuffer" : "ANeuroPilotTFLite_createAdv",
            init + "ANeuroPilotTFLiteWrapper_makeAdvTFLite" + (buffer ? "WithBuffer" : "") +
                " failed");
        add(np, "ANeuroPilotTFLite_getTensorByteSize",
            "InitModelBuffers() ANeuroPilotTFLiteWrapper_getTensorByteSize failed");
        // The two Neuron paths word their errors differently; only some carry the status.
        const std::string fileCode = buffer ? "" : ", error code = " + code;
        add(nr, "NeuronRuntime_create", init + "WarpNeuronRuntime_create failed" + fileCode);
        add(nr,
            buffer ? "NeuronRuntime_loadNetworkFromBuffer" : "NeuronRuntime_loadNetworkFromFile",
            init + (buffer ? "WarpNeuronRuntime_loadNetworkFromBuffer failed, error code " + code
                           : "WarpNeuronRuntime_loadNetworkFromFile failed" + fileCode));
        add(nr, "NeuronRuntime_setQoSOption",
            init + "WarpNeuronRuntime_setQoSOption failed" + fileCode);
        for (const std::string size : {"Input", "Output"}) {
            add(nr, "NeuronRuntime_getSingle" + size + "Size",
                "InitModelBuffers() WarpNeuronRuntime_getSingle" + size + "Size failed");
        }
        for (const std::string step :
             {"setInputTensorData", "invoke", "getOutputTensorData", "getTensorType"}) {
            add(np, "ANeuroPilotTFLite_" + step,
                "ModelInference() ANeuroPilotTFLiteWrapper_" + step + " failed", true);
        }
        for (const std::string step : {"setSingleInput", "setSingleOutput", "inference"}) {
            add(nr, "NeuronRuntime_" + step,
                "ModelInference() WarpNeuronRuntime_" + step + " failed", true);
        }
    }
    return rows;
}

TEST_F(BackendTest, EachFailureEndsInItsOneErrorLineAndStatus0) {
    for (const Failure& row : failures()) {
        SCOPED_TRACE(row.error);
        reset();
        const StandinClient& runtime = row.kind->standin();
        // Modes 1 and 2 reach the NeuroPilot steps that only they take.
        const bool name = row.symbol.find("AcceleratorName") != std::string::npos;
        const bool ion = row.symbol.find("UseIon") != std::string::npos;
        mtk_ai_type::ModelCfg cfg = cfgOf(row.buffer, row.buffer, name ? 1 : ion ? 2 : 0);
        const std::unique_ptr<ModelImpBase> backend(row.kind->make(cfg));
        KAVO_UNTRACK(backend.get());
        if (!row.frame)
            runtime.failCall(row.symbol, kStatus);
        capture_.clear();
        EXPECT_EQ(backend->Init(), row.frame ? 1 : 0);
        if (row.frame) {
            runtime.failCall(row.symbol, kStatus);
            Bytes out(8, kUntouched);
            EXPECT_EQ(backend->Inference(input_.data(), kInputBytes, out.data()), 0);
            EXPECT_EQ(out, Bytes(8, kUntouched));
        }
        EXPECT_EQ(logged(capture_, ANDROID_LOG_ERROR), Lines{line("ERROR", *row.kind, row.error)});
        EXPECT_EQ(runtime.callCount(row.symbol), 1);
        backend->Release();
        capture_.clear();
    }
}

// What the runtime got: the options of the configuration, the caller's input.
void expectHandedOver(const Backend& kind, const mtk_ai_type::ModelCfg& cfg, const void* input) {
    const StandinClient& runtime = kind.standin();
    EXPECT_EQ(runtime.recordedInt("input_bytes"), kInputBytes);
    if (&kind == &kNeuron) {
        EXPECT_EQ(runtime.recordedBytes("env_options"),
                  bytes(std::vector<EnvOptions>{cfg.env_options}));
        EXPECT_EQ(runtime.recordedBytes("qos_options"),
                  bytes(std::vector<QoSOptions>{cfg.qos_options}));
        // Bound in place, not copied.
        EXPECT_EQ(runtime.recordedInt("input_address"), reinterpret_cast<intptr_t>(input));
        EXPECT_EQ(runtime.recordedInt("input_attribute"), cfg.buffer_attribute);
        EXPECT_EQ(runtime.recordedInt("output_attribute"), cfg.buffer_attribute);
        return;
    }
    EXPECT_EQ(runtime.recordedInt("acceleration_mode"), cfg.acc_mode);
    EXPECT_EQ(runtime.recordedText("accelerator_name"), cfg.acc_mode == 1 ? cfg.acc_name : "");
    EXPECT_EQ(runtime.recordedInt("use_ion"), cfg.acc_mode == 2 ? 1 : -1) << "-1: not set";
    EXPECT_EQ(runtime.recordedInt("no_supported_operation_check"), 1);
    EXPECT_EQ(runtime.recordedText("cache_dir"), cfg.cache_dir);
    struct stat info {};
    EXPECT_TRUE(stat(cfg.cache_dir, &info) == 0 && S_ISDIR(info.st_mode)) << "no cache directory";
    EXPECT_EQ(runtime.recordedInt("preference"), cfg.exe_mode);
    EXPECT_EQ(runtime.recordedInt("allow_fp16"), cfg.allow_fp16 != 0 ? 1 : 0);
}

struct Working {
    const Backend* kind;
    mtk_ai_type::ModelCfg cfg;
    std::pair<int, int> types;  // reported after Init
    const char* modeLine = nullptr;
    uint32_t type = 3;  // of both tensors, as the runtime reports it
    uint32_t outputBytes = 32;
    Bytes pattern = {};  // the runtime's output, repeated or cut; none: the echo of the input
    Bytes expected = {};
    bool warns = false;
};
Working narrowing(const Backend* kind, uint32_t type, uint32_t outputBytes, Bytes pattern,
                  Bytes expected, std::pair<int, int> types, bool warns = false) {
    return {kind, cfgOf(true, true), types, nullptr, type, outputBytes, pattern, expected, warns};
}

// A working backend from its factory: the build path the configuration asks for (bytes and size,
// else the file), the configuration copied at construction and handed over exactly, the output
// narrowed to one byte per whole element (NeuroPilot by the tensor's type: float clamped and
// truncated, uint8 copied, int32 and unknown types by low byte, the unknown with a warning;
// Neuron as int32 whatever the type), the types reported, the backend and its staging buffer the
// only tracked memory, Release harmless before Init and repeated, a second Init freeing the first
// engine, the INFO trace.
TEST_F(BackendTest, WorkingBackendHandsOverTheConfigurationAndNarrowsTheOutput) {
    const Backend* np = &kNeuropilot;
    const Backend* nr = &kNeuron;
    const float inf = INFINITY;
    const EnvOptions env1{1, 2, 0}, env2{2, 1, 0};
    const QoSOptions qos1{1, 0, 0, 1, 2, 3, 4, 5, -1, 6, 7, 8},
        qos2{0, 2, 101, 0, 0, 0, 0, 0, 2000, 0, 0, 0};
    const Working rows[] = {
        {np, cfgOf(true, true, 1, 0, 1), {0, 3}, "InitModelWithBuffer() use NNAPI"},
        {np, cfgOf(true, false, 2, 2), {0, 3}, "InitModelWithFile() use neuron delegate"},
        // An unknown mode runs as the CPU's.
        {np, cfgOf(false, true, 3, -1, 7), {0, 3}},
        {nr, cfgOf(true, true, 0, 0, 0, env1, qos1, 9), {23, 23}},
        {nr, cfgOf(true, false, 0, 0, 0, env2, qos2, 0), {23, 23}},
        {nr, cfgOf(false, true), {23, 23}},
        narrowing(np, 1, 58,
                  bytes<float>({-3.5f, 0.7f, 254.9f, 300.0f, std::nanf(""), 255.0f, -0.0f, inf,
                                -inf, 1.99f, 128.5f, FLT_MAX, 1e-30f, -1e-30f, 9.0f}),
                  {0, 0, 254, 255, 0, 255, 0, 255, 0, 1, 128, 255, 0, 0}, {1, 1}),
        narrowing(np, 3, 35,
                  bytes<int32_t>({256, -1, 257, 0x12345678, -256, 255, INT32_MIN, INT32_MAX, 9}),
                  {0, 255, 1, 0x78, 0, 255, 0, 255}, {0, 3}),
        narrowing(np, 2, 6, {0, 1, 127, 128, 254, 255}, {0, 1, 127, 128, 254, 255}, {2, 2}),
        narrowing(np, 4, 12, bytes<int32_t>({256, -1, 513}), {0, 255, 1}, {0, 0}, true),
        narrowing(nr, 3, 22, bytes<int32_t>({257, -1, 256, INT32_MAX, 9}), {1, 255, 0, 255, 9},
                  {23, 23}),
        // 0.1f is 0x3DCCCCCD: no float conversion happens.
        narrowing(nr, 1, 8, bytes<float>({0.1f, -3.5f}), {0xCD, 0x00}, {23, 23}),
    };
    for (const Working& row : rows) {
        const Backend& kind = *row.kind;
        const StandinClient& runtime = kind.standin();
        SCOPED_TRACE(std::string(kind.file) + " row " + std::to_string(&row - rows));
        reset(row.type, row.outputBytes);
        capture_.clear();
        mtk_ai_type::ModelCfg copy = row.cfg;
        std::unique_ptr<ModelImpBase> backend(kind.make(copy));
        copy = cfgOf(true, true, 1, 2, 1, {2, 2, 2}, {}, 5);
        const auto types = [&] {
            return std::make_pair(backend->GetInputDataType(), backend->GetOutputDataType());
        };
        const int none = &kind == &kNeuron ? 23 : 0;
        EXPECT_EQ(types(), std::make_pair(none, none));
        // Refused frames: before Init the tensor size is 0, so only the staging buffer is missing.
        Bytes expected = row.expected;
        if (row.pattern.empty()) {
            // Output element i becomes input byte 3 * i + 1: tells that the input arrived.
            runtime.setOutputEcho(3, 1);
            for (uint32_t i = 0; i < row.outputBytes / 4; ++i)
                expected.push_back(input_[3 * i + 1]);
        } else {
            runtime.setOutputPattern(row.pattern);
        }
        Bytes out(expected.size() + 4, kUntouched);
        EXPECT_EQ(backend->Inference(input_.data(), 0, out.data()), 0);
        backend->Release();
        ASSERT_EQ(backend->Init(), 1);
        ASSERT_EQ(backend->Init(), 1);
        EXPECT_EQ(backend->Inference(input_.data(), kInputBytes + 1, out.data()), 0);
        EXPECT_EQ(backend->Inference(input_.data(), kInputBytes - 1, out.data()), 0);
        EXPECT_EQ(backend->Inference(nullptr, kInputBytes, out.data()), 0);
        EXPECT_EQ(out, Bytes(out.size(), kUntouched));
        EXPECT_FALSE(runtime.hasRecord("input_bytes")) << "a refused frame reached the runtime";
        EXPECT_EQ(types(), row.types);
        const bool fromBytes = row.cfg.model_buffer != nullptr && row.cfg.model_size != 0;
        EXPECT_EQ(runtime.recordedBytes("model_bytes"), fromBytes ? kBufferModel : kFileModel);
        EXPECT_EQ(runtime.recordedText("model_path"), fromBytes ? "" : modelPath());
        // The backend, registered by its factory, and the staging buffer.
        EXPECT_EQ(records().size(), 2u);
        EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemSize(), kind.size + row.outputBytes);
        const uint32_t highWater = kavo::AlgorithmMemory::getInternalMemMaxSize();

        ASSERT_EQ(backend->Inference(input_.data(), kInputBytes, out.data()), 1);

        expected.resize(out.size(), kUntouched);
        EXPECT_EQ(out, expected);
        expectHandedOver(kind, row.cfg, input_.data());
        EXPECT_EQ(records().size(), 2u) << "the frame changed the registry";
        EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemMaxSize(), highWater);
        backend->Release();
        backend->Release();
        KAVO_UNTRACK(backend.get());
        backend.reset();
        Lines trace;
        for (const std::string& text : kind.trace) {
            if (text != "*" || row.modeLine != nullptr)
                trace.push_back(line("INFO", kind, text == "*" ? row.modeLine : text));
        }
        // Without the cache directory's line and the runtime library's, which opens once a process.
        Lines info;
        for (const std::string& text : logged(capture_, ANDROID_LOG_INFO)) {
            if (text.find(" make_dir() ") == std::string::npos &&
                text.find(" loadNeuronRuntimeLib() ") == std::string::npos)
                info.push_back(text);
        }
        EXPECT_EQ(info, trace);
        const std::string warning =
            line("WARING", kind,
                 "ModelInference() TFLITE_TENSOR_TYPE_NONE treated as TFLITE_TENSOR_TYPE_INT32");
        EXPECT_EQ(logged(capture_, ANDROID_LOG_WARN), row.warns ? Lines{warning} : Lines{});
        const std::string null = "NULL input or output pointer: input " +
                                 testsupport::pointerText(nullptr) + ", output " +
                                 testsupport::pointerText(out.data());
        EXPECT_EQ(logged(capture_, ANDROID_LOG_ERROR),
                  (Lines{line("ERROR", kind, "ModelInference() NULL output buffer"),
                         line("ERROR", kind,
                              "ModelInference() Input buffer size(25) != Input tensor size(24)"),
                         line("ERROR", kind,
                              "ModelInference() Input buffer size(23) != Input tensor size(24)"),
                         line("ERROR", kind, "ModelInference() " + null)}));
        expectBalanced();
    }
}

}  // namespace
}  // namespace mtktest
