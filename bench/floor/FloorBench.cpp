// The whole frame call against its floor, measured in the same run on the same frames: the plug-in
// loaded as a camera host loads it, the NeuroPilot stand-in running the prepared model on the
// engine, one processImage per iteration; and the work no host path can avoid, each piece bare:
// the libyuv calls of the frame path over buffers allocated once, XNNPACK running the public
// network at its own size, and the post-processing (the mask turned back, its labels shifted). Rows
// for a 1080p preview and an 8-megapixel frame, each at 1 and 2 engine threads; the closing table
// gives whole call / floor.
//
// Needs the prepared model and its assets (scripts/demo.sh, or scripts/fetch-model.sh and
// scripts/make-demo-assets.sh); without them it says so and measures nothing.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <sys/system_properties.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "BareFramePath.h"
#include "BareXnnpack.h"
#include "BodySegmentAPI.h"
#include "HostFrame.h"
#include "RatioReporter.h"
#include "standin_control.h"

namespace {

using benchsupport::FrameBuffers;
using benchsupport::FrameCase;

const std::string kCache = std::string(BODYSEG_SOURCE_DIR) + "/.cache/";
const std::string kConfig = kCache + "assets/bodyseg_neuropilot.json";
// The NeuroPilot runtime's model: byte labels, which its backend copies as they are.
const std::string kModel = kCache + "assets/bodyseg_342x456_u8.tflite.enc";
const std::string kNetwork = kCache + "models/selfie_segmentation.tflite";

std::vector<uint8_t> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(file)),
                                std::istreambuf_iterator<char>());
}

// The plug-in with one live handle, whose engine runs on the threads the host property gave it
// when the handle was made; asking for another count releases it and makes a new one.
class LoadedPlugin {
  public:
    LoadedPlugin() : model_(readFile(kModel)) {
        if (dlopen(BODYSEG_STANDIN_DIR "/libtflite_mtk.so", RTLD_NOW | RTLD_GLOBAL) == nullptr ||
            (plugin_ = dlopen(BODYSEG_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL)) == nullptr) {
            std::fprintf(stderr, "floor_bench: cannot load: %s\n", dlerror());
            std::exit(1);
        }
        reinterpret_cast<int (*)(BodySegAlgoAPI*)>(dlsym(plugin_, "getAlgoAPI"))(&api_);
        desc_.model_path = kModel.c_str();
        desc_.model_data = model_.data();
        desc_.model_size = static_cast<uint32_t>(model_.size());
        desc_.cache_dir = "/tmp";
        param_.model = &desc_;
        param_.config_path = kConfig.c_str();
    }

    bool useThreads(int threads) {
        if (handle_ != nullptr && threads == threads_)
            return true;
        release();
        __system_property_set(STANDIN_THREADS_PROPERTY, std::to_string(threads).c_str());
        if (api_.algoInitHandle(&handle_, &param_) != 0) {
            handle_ = nullptr;
            return false;
        }
        api_.setLogLevel(1);
        threads_ = threads;
        return true;
    }

    int process(Image* in, Image* out) {
        InputImage wrapped{in};
        return api_.processImage(handle_, &wrapped, out, nullptr, nullptr);
    }

    void release() {
        if (handle_ != nullptr)
            api_.releaseHandle(handle_, nullptr);
        handle_ = nullptr;
    }

  private:
    std::vector<uint8_t> model_;
    void* plugin_ = nullptr;
    BodySegAlgoAPI api_{};
    BodySegModelDesc desc_{};
    BodySegInitParam param_{};
    void* handle_ = nullptr;
    int threads_ = 0;
};

LoadedPlugin& plugin() {
    static LoadedPlugin* loaded = new LoadedPlugin;
    return *loaded;
}

void wholeCall(benchmark::State& state, const FrameCase& f, int threads) {
    if (!plugin().useThreads(threads)) {
        state.SkipWithError("algoInitHandle failed");
        return;
    }
    benchsupport::HostFrame host(f);
    for (auto _ : state) {
        if (plugin().process(&host.in, &host.out) != 0)
            state.SkipWithError("processImage failed");
        benchmark::ClobberMemory();
    }
}

void bareFramePreparation(benchmark::State& state, const FrameCase& f) {
    FrameBuffers b(f);
    for (auto _ : state) {
        benchmark::DoNotOptimize(benchsupport::bareFramePreparation(b, f));
        benchmark::ClobberMemory();
    }
}

// The public network on bare XNNPACK; null, with the benchmark skipped, when it cannot be made.
std::unique_ptr<enginebench::BareXnnpack> bareNetworkFor(benchmark::State& state, int threads) {
    std::string error;
    std::unique_ptr<enginebench::BareXnnpack> bare =
        enginebench::BareXnnpack::fromModelFile(kNetwork, threads, &error);
    if (!bare)
        state.SkipWithError(error.c_str());
    return bare;
}

void bareNetwork(benchmark::State& state, int threads) {
    const std::unique_ptr<enginebench::BareXnnpack> bare = bareNetworkFor(state, threads);
    if (!bare)
        return;
    for (auto _ : state) {
        if (!bare->invoke())
            state.SkipWithError("xnn_invoke_runtime failed");
    }
}

// The floor's pieces one after the other on each frame, as the whole call runs them: what each
// leaves in the caches is what the next one starts from.
void bareSequence(benchmark::State& state, const FrameCase& f, int threads) {
    const std::unique_ptr<enginebench::BareXnnpack> bare = bareNetworkFor(state, threads);
    if (!bare)
        return;
    FrameBuffers b(f);
    for (auto _ : state) {
        benchmark::DoNotOptimize(benchsupport::bareFramePreparation(b, f));
        if (!bare->invoke())
            state.SkipWithError("xnn_invoke_runtime failed");
        benchmark::DoNotOptimize(benchsupport::bareMaskOutput(b));
        benchmark::ClobberMemory();
    }
}

void barePostProcessing(benchmark::State& state, const FrameCase& f) {
    FrameBuffers b(f);
    // A person as long runs of labels, as a segmentation gives them.
    for (size_t i = 0; i < b.labels.size(); ++i)
        b.labels[i] = (i / 4096) % 3 == 1 ? 1 : 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(benchsupport::bareMaskOutput(b));
        benchmark::ClobberMemory();
    }
}

template <typename Fn, typename... Args>
std::string add(const std::string& name, Fn fn, Args... args) {
    benchmark::RegisterBenchmark(name.c_str(), fn, args...)
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime();
    return name + "/real_time";
}

}  // namespace

int main(int argc, char** argv) {
    if (!std::filesystem::exists(kModel) || !std::filesystem::exists(kNetwork)) {
        std::printf("floor_bench: %s or %s not present (scripts/demo.sh), nothing measured\n",
                    kModel.c_str(), kNetwork.c_str());
        return 0;
    }
    const std::vector<FrameCase> frames = {benchsupport::frameCases()[0],
                                           benchsupport::frameCases()[1]};
    std::vector<std::string> preparation;
    std::vector<std::string> output;
    for (const FrameCase& f : frames) {
        preparation.push_back(
            add("floor: frame path, libyuv/" + std::string(f.label), bareFramePreparation, f));
        output.push_back(
            add("floor: post-processing/" + std::string(f.label), barePostProcessing, f));
    }
    std::vector<benchsupport::Comparison> rows;
    for (int threads : {1, 2}) {
        const std::string threadText =
            std::to_string(threads) + (threads == 1 ? " thread" : " threads");
        const std::string network =
            add("floor: network, xnnpack/" + threadText, bareNetwork, threads);
        for (size_t i = 0; i < frames.size(); ++i) {
            const std::string frame = frames[i].label;
            const std::string whole =
                add("whole call/" + frame + "/" + threadText, wholeCall, frames[i], threads);
            const std::string sequence = add("floor pieces in sequence/" + frame + "/" + threadText,
                                             bareSequence, frames[i], threads);
            rows.push_back(
                {frame + ", " + threadText, whole, preparation[i], sequence, {network, output[i]}});
        }
    }
    const int status = benchsupport::runWithTable(
        argc, argv,
        {"frame, engine threads (median real time, us)", "whole call", "floor", "in sequence"},
        rows);
    plugin().release();
    return status;
}
