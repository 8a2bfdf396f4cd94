// The engine's invoke of a model against XNNPACK's own runtime invoke of the same subgraph,
// measured in the same run: a synthetic convolution stack defined twice (as a TFLite model and
// by hand in XNNPACK), the prepared model's head and tail on their own, and the selfie segmentation
// model and the prepared plug-in model when scripts/fetch-model.sh has put them in .cache/models.
// The closing table gives the ratios.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "BareXnnpack.h"
#include "ConvStack.h"
#include "HostEngine.h"
#include "ModelBuilder.h"
#include "RatioReporter.h"

namespace {

using enginebench::BareXnnpack;

struct Subject {
    std::string label;
    std::shared_ptr<hostengine::Engine> engine;
    std::shared_ptr<BareXnnpack> bare;
};

std::shared_ptr<hostengine::Engine> engineFor(const std::vector<uint8_t>& model, int threads,
                                              std::string* error) {
    hostengine::EngineOptions options;
    options.threads = threads;
    return hostengine::Engine::fromBytes(model.data(), model.size(), options, error);
}

std::vector<uint8_t> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(file)),
                                std::istreambuf_iterator<char>());
}

using BareFactory = std::function<std::unique_ptr<BareXnnpack>(int threads, std::string* error)>;

// The prepared model's edges on their own, at its sizes: the head (the 342x456 frame's bytes
// dequantized and resized to 256x256) and the tail (the 256x256 map resized to 342x456,
// thresholded and cast to byte labels).
std::vector<uint8_t> frameHeadModel() {
    using hostengine::ElementType;
    hostengine::ModelBuilder b;
    hostengine::Quantization unit;
    unit.present = true;
    unit.scale = 1.0f / 255.0f;
    const int frame = b.addTensor("frame", ElementType::Uint8, {1, 456, 342, 3}, unit);
    const int floats = b.addTensor("floats", ElementType::Float32, {1, 456, 342, 3});
    const int small = b.addTensor("small", ElementType::Float32, {1, 256, 256, 3});
    hostengine::OpOptions halfPixel;
    halfPixel.halfPixelCenters = true;
    b.addOperator(hostengine::OpKind::Dequantize, {frame}, {floats});
    b.addOperator(hostengine::OpKind::ResizeBilinear,
                  {floats, b.addInt32Constant("size", {2}, {256, 256})}, {small}, halfPixel);
    b.setInputs({frame});
    b.setOutputs({small});
    return b.finish();
}

std::vector<uint8_t> labelTailModel() {
    using hostengine::ElementType;
    hostengine::ModelBuilder b;
    const int map = b.addTensor("map", ElementType::Float32, {1, 256, 256, 1});
    const int large = b.addTensor("large", ElementType::Float32, {1, 456, 342, 1});
    const int truth = b.addTensor("truth", ElementType::Bool, {1, 456, 342, 1});
    const int labels = b.addTensor("labels", ElementType::Uint8, {1, 456, 342, 1});
    hostengine::OpOptions halfPixel;
    halfPixel.halfPixelCenters = true;
    b.addOperator(hostengine::OpKind::ResizeBilinear,
                  {map, b.addInt32Constant("size", {2}, {456, 342})}, {large}, halfPixel);
    b.addOperator(hostengine::OpKind::Greater, {large, b.addFloatConstant("half", {}, {0.5f})},
                  {truth});
    b.addOperator(hostengine::OpKind::Cast, {truth}, {labels});
    b.setInputs({map});
    b.setOutputs({labels});
    return b.finish();
}

// The model on one thread and on every core, each with its bare XNNPACK counterpart.
bool addSubjects(const std::string& name, const std::vector<uint8_t>& model,
                 const BareFactory& makeBare, std::vector<Subject>* subjects) {
    for (int threads : {1, 0}) {
        std::string error;
        Subject subject;
        subject.label = name + (threads == 1 ? ", 1 thread" : ", all cores");
        subject.engine = engineFor(model, threads, &error);
        subject.bare = makeBare(threads, &error);
        if (!subject.engine || !subject.bare) {
            std::fprintf(stderr, "engine_bench: %s: %s\n", subject.label.c_str(), error.c_str());
            return false;
        }
        subjects->push_back(std::move(subject));
    }
    return true;
}

void runEngine(benchmark::State& state, std::shared_ptr<hostengine::Engine> engine) {
    std::string error;
    for (auto _ : state) {
        if (!engine->invoke(&error)) {
            state.SkipWithError(error.c_str());
            break;
        }
    }
}

void runBare(benchmark::State& state, std::shared_ptr<BareXnnpack> bare) {
    for (auto _ : state) {
        if (!bare->invoke()) {
            state.SkipWithError("xnn_invoke_runtime failed");
            break;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<Subject> subjects;
    const enginebench::ConvStack stack = enginebench::ConvStack::standard();
    const BareFactory stackBare = [&stack](int threads, std::string* error) {
        return BareXnnpack::fromConvStack(stack, threads, error);
    };
    if (!addSubjects("conv stack 256x256", stack.tfliteModel(), stackBare, &subjects)) {
        return 1;
    }
    for (const auto& [name, model] : {std::pair<std::string, std::vector<uint8_t>>{
                                          "frame head 342x456 to 256x256", frameHeadModel()},
                                      {"label tail 256x256 to 342x456", labelTailModel()}}) {
        const BareFactory bytesBare = [model = model](int threads, std::string* error) {
            return BareXnnpack::fromModelBytes(model, threads, error);
        };
        if (!addSubjects(name, model, bytesBare, &subjects)) {
            return 1;
        }
    }
    const std::string cache = std::string(BODYSEG_SOURCE_DIR) + "/.cache/models/";
    for (const auto& [name, file] :
         {std::pair<std::string, std::string>{"selfie source 256x256",
                                              "selfie_segmentation.tflite"},
          {"prepared 342x456", "bodyseg_342x456.tflite"},
          {"prepared 342x456, byte labels", "bodyseg_342x456_u8.tflite"}}) {
        const std::string path = cache + file;
        const std::vector<uint8_t> model = readFile(path);
        const BareFactory fileBare = [path](int threads, std::string* error) {
            return BareXnnpack::fromModelFile(path, threads, error);
        };
        if (model.empty()) {
            std::printf("engine_bench: %s not present (scripts/fetch-model.sh), skipped\n",
                        path.c_str());
        } else if (!addSubjects(name, model, fileBare, &subjects)) {
            return 1;
        }
    }

    std::vector<benchsupport::Comparison> rows;
    for (const Subject& subject : subjects) {
        const std::string engineName = "engine/" + subject.label;
        const std::string bareName = "xnnpack/" + subject.label;
        benchmark::RegisterBenchmark(engineName.c_str(), runEngine, subject.engine)
            ->Unit(benchmark::kMicrosecond)
            ->UseRealTime();
        benchmark::RegisterBenchmark(bareName.c_str(), runBare, subject.bare)
            ->Unit(benchmark::kMicrosecond)
            ->UseRealTime();
        rows.push_back({subject.label, engineName + "/real_time", bareName + "/real_time", ""});
    }
    return benchsupport::runWithTable(
        argc, argv, {"model (median real time, us)", "engine", "xnnpack", ""}, rows);
}
