// One whole processImage through the loaded plug-in, with the scripted stand-in runtime standing
// for a zero-cost engine, beside the bare pre- and post-processing calls it makes, measured in
// the same run: the ratio is the plug-in's own overhead per frame (temporary buffer, inference
// plumbing, label shift, logging with the mask at errors only).
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <sys/system_properties.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "BodySegmentAPI.h"
#include "FramePath.h"
#include "HostFrame.h"
#include "RatioReporter.h"
#include "standin_control.h"

namespace {

using benchsupport::FrameCase;

// The plug-in with a live handle on the scripted NeuroPilot stand-in.
class LoadedPlugin {
  public:
    LoadedPlugin() {
        __system_property_set(STANDIN_MODE_PROPERTY, STANDIN_MODE_SCRIPT);
        if (dlopen(BODYSEG_STANDIN_DIR "/libtflite_mtk.so", RTLD_NOW | RTLD_GLOBAL) == nullptr ||
            (plugin_ = dlopen(BODYSEG_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL)) == nullptr) {
            std::fprintf(stderr, "cannot load: %s\n", dlerror());
            std::exit(1);
        }
        reinterpret_cast<int (*)(BodySegAlgoAPI*)>(dlsym(plugin_, "getAlgoAPI"))(&api_);
        config_ = tempPath("bench.json");
        std::ofstream(config_) << R"({"Product": "P", "Platform": "MTK", "AISDK": "Neuropilot",
            "ParamGroup": [{"Product": "P", "Platform": "MTK", "AISDK": "Neuropilot"}]})";
        model_ = tempPath("bench.tflite");
        std::ofstream(model_) << std::string(4096, 'm');
        desc_.model_path = model_.c_str();
        desc_.cache_dir = "/tmp";
        param_.model = &desc_;
        param_.config_path = config_.c_str();
        if (api_.algoInitHandle(&handle_, &param_) != 0) {
            std::fprintf(stderr, "init failed\n");
            std::exit(1);
        }
        api_.setLogLevel(1);
    }
    ~LoadedPlugin() { api_.releaseHandle(handle_, nullptr); }

    int process(Image* in, Image* out) {
        InputImage wrapped{in};
        return api_.processImage(handle_, &wrapped, out, nullptr, nullptr);
    }

  private:
    static std::string tempPath(const char* name) {
        const char* dir = std::getenv("TMPDIR");
        return std::string(dir != nullptr ? dir : "/tmp") + "/" + name;
    }

    void* plugin_ = nullptr;
    BodySegAlgoAPI api_{};
    std::string config_;
    std::string model_;
    BodySegModelDesc desc_{};
    BodySegInitParam param_{};
    void* handle_ = nullptr;
};

LoadedPlugin& plugin() {
    static LoadedPlugin* loaded = new LoadedPlugin;
    return *loaded;
}

void wholeFrame(benchmark::State& state, const FrameCase& f) {
    benchsupport::HostFrame host(f);
    for (auto _ : state) {
        if (plugin().process(&host.in, &host.out) != 0)
            state.SkipWithError("processImage failed");
        benchmark::ClobberMemory();
    }
}

// The pre- and post-processing of the same frame with caller-owned buffers, nothing else.
void prePost(benchmark::State& state, const FrameCase& f) {
    benchsupport::FrameBuffers b(f);
    const bodysegment::Settings s = benchsupport::frameSettings(f);
    for (auto _ : state) {
        benchmark::DoNotOptimize(bodysegment::pre_process_bodysegment(
            b.frame.data(), b.tensor.data(), b.tmp.data(), b.scaled.data(), b.rotated.data(), &s));
        benchmark::DoNotOptimize(
            bodysegment::post_process_bodysegment(b.mask.data(), b.labels.data(), &s));
        benchmark::ClobberMemory();
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<benchsupport::Comparison> rows;
    for (const FrameCase& f : benchsupport::frameCases()) {
        const std::string whole = std::string("processImage/") + f.label;
        const std::string bare = std::string("pre+post/") + f.label;
        benchmark::RegisterBenchmark(whole.c_str(), wholeFrame, f)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(bare.c_str(), prePost, f)->Unit(benchmark::kMicrosecond);
        rows.push_back({f.label, whole, bare, ""});
    }
    return benchsupport::runWithTable(
        argc, argv, {"frame (median real time, us)", "processImage", "pre+post", ""}, rows);
}
