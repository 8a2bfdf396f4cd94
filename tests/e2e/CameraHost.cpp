#include "CameraHost.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include <string>

#include "PluginPaths.h"
#include "TestInputs.h"

namespace e2e {

const char* runtimeName(Runtime runtime) {
    return runtime == Runtime::Neuropilot ? "Neuropilot" : "NeuronRuntime";
}

const char* tableName(Table table) {
    return table == Table::AlgoAPI ? "getAlgoAPI" : "get_algo_api";
}

const Plugin& plugin() {
    static const Plugin loaded = [] {
        Plugin p{};
        void* so = dlopen(testsupport::pluginPath().c_str(), RTLD_NOW | RTLD_LOCAL);
        if (so == nullptr) {
            ADD_FAILURE() << "cannot load the plug-in: " << dlerror();
            return p;
        }
        auto getAlgoAPI = reinterpret_cast<int (*)(BodySegAlgoAPI*)>(dlsym(so, "getAlgoAPI"));
        auto getAlgoApiV1 = reinterpret_cast<int (*)(BodySegAlgoAPIV1*)>(dlsym(so, "get_algo_api"));
        EXPECT_EQ(getAlgoAPI(&p.api), 0);
        EXPECT_EQ(getAlgoApiV1(&p.apiV1), 0);
        return p;
    }();
    return loaded;
}

void setLogMask(int mask) {
    __system_property_set("persist.camera.algo.aibeautybodydetect.loglvl",
                          std::to_string(mask).c_str());
    plugin().api.setLogLevel(mask);
}

const testsupport::StandinClient& standin(Runtime runtime) {
    static const testsupport::StandinClient neuropilot(testsupport::standinDir(),
                                                       "libtflite_mtk.so");
    static const testsupport::StandinClient neuron(testsupport::standinDir(),
                                                   "libneuron_runtime.6.so");
    const testsupport::StandinClient& chosen = runtime == Runtime::Neuropilot ? neuropilot : neuron;
    chosen.reset();
    return chosen;
}

int initHandle(Table table, void** handle, void* param) {
    return table == Table::AlgoAPI ? plugin().api.algoInitHandle(handle, param)
                                   : plugin().apiV1.algoInitHandle(handle, param);
}

int processFrame(Table table, void* handle, Image* in, Image* out) {
    if (table == Table::AlgoAPIV1)
        return plugin().apiV1.processImage(handle, in, out, nullptr, nullptr);
    InputImage wrapped{in};
    return plugin().api.processImage(handle, &wrapped, out, nullptr, nullptr);
}

int releaseHandle(Table table, void* handle) {
    return table == Table::AlgoAPI ? plugin().api.releaseHandle(handle, nullptr)
                                   : plugin().apiV1.releaseHandle(handle, nullptr);
}

Image inputImage(const functest::FrameGeometry& g, int imageType, int orientation,
                 const uint8_t* data) {
    Image in{};
    in.orientation = orientation;
    in.image_type = imageType;
    in.width = g.width;
    in.height = g.height;
    in.stride = g.stride;
    in.scan = g.scan;
    in.data = const_cast<uint8_t*>(data);  // the plug-in only reads it
    return in;
}

InitBlock::InitBlock(const std::string& configPath, const std::string& modelPath,
                     std::vector<uint8_t> modelBytes)
    : configPath_(configPath),
      modelPath_(modelPath),
      cacheDir_(testsupport::tempDir() + "/cache"),
      modelBytes_(std::move(modelBytes)),
      desc_{},
      param_{} {
    desc_.model_path = modelPath_.c_str();
    desc_.model_data = modelBytes_.data();
    desc_.model_size = static_cast<uint32_t>(modelBytes_.size());
    desc_.cache_dir = cacheDir_.c_str();
    param_.model = &desc_;
    param_.config_path = configPath_.c_str();
}

std::unique_ptr<InitBlock> hostBlock(Runtime runtime, bool decrypt,
                                     std::optional<std::vector<uint8_t>> stored) {
    if (!stored) {
        stored = decrypt ? testsupport::encryptedModel(testsupport::plainModel())
                         : testsupport::plainModel();
    }
    const std::string config = testsupport::writeTempFile(
        "config.json", testsupport::configJson(runtimeName(runtime), decrypt));
    const std::string model =
        testsupport::writeTempFile(decrypt ? "model.tflite.enc" : "model.tflite", *stored);
    return std::make_unique<InitBlock>(config, model, std::move(*stored));
}

int sendSmallFrame(Table table, void* handle, int imageType, int orientation, MaskImage* out) {
    static const std::vector<uint8_t> frame(64 * 48 * 3 / 2, 128);
    Image in = inputImage({64, 48, 64, 48}, imageType, orientation, frame.data());
    return processFrame(table, handle, &in, &out->image);
}

}  // namespace e2e
