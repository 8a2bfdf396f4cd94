// The Engine: a checked graph cut into stages (XNNPACK runtimes, planar resizes and plain
// kernels), with buffers for every tensor that crosses a stage boundary or the engine's own
// interface. XNNPACK objects are bound to those buffers once, at build time, so invoke() only runs
// the stages.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "ConstantFolding.h"
#include "EdgeKernels.h"
#include "FrameHead.h"
#include "GraphText.h"
#include "HostEngine.h"
#include "LabelTail.h"
#include "RowKernels.h"
#include "ModelGraph.h"
#include "OperatorChecks.h"
#include "Partition.h"
#include "PlaneResize.h"
#include "XnnpackLowering.h"
#include "WorkingMemory.h"
#include "XnnpackSupport.h"

namespace hostengine {

namespace {

bool fail(std::string* error, const std::string& message) {
    if (error != nullptr) {
        *error = message;
    }
    return false;
}

const TensorInfo kNoTensor;

class EngineImpl final : public Engine {
  public:
    explicit EngineImpl(Graph graph) : graph_(std::move(graph)) {}

    bool build(const EngineOptions& options, std::string* error) {
        if (options.threads < 0) {
            return fail(error, "thread count " + std::to_string(options.threads) + " is negative");
        }
        std::vector<size_t> order;
        if (!foldConstantDequantize(&graph_, &order, error) || !checkGraph(graph_, order, error) ||
            !ensureXnnpackInitialized(error)) {
            return false;
        }
        const std::vector<Stage> stages = partitionStages(graph_, order);
        const std::vector<Step> steps = planSteps(stages);
        std::vector<bool> owned = engineOwnedTensors(graph_, stages);
        for (const Step& step : steps) {
            for (int t : passedWithin(step, stages)) {
                owned[t] = false;
            }
        }
        if (!checkTensorBytes(error) || !checkWindowWorkingMemory(graph_, order, error)) {
            return false;
        }
        allocateBuffers(owned);
        if (!createThreadpool(options.threads, &threadpool_, error)) {
            return false;
        }
        // Float16 arithmetic is only a hint: XNNPACK uses it where the CPU has it.
        const uint32_t runtimeFlags = options.allowFp16 ? XNN_FLAG_HINT_FP16_INFERENCE : 0;
        const KernelForm form = kernelFormFor(options.widestKernels);
        for (const Step& step : steps) {
            RunStage run;
            run.runner = step.runner;
            run.kernelOperator = stages[step.stage].operators.front();
            const GraphOperator& op = graph_.operators[run.kernelOperator];
            switch (step.runner) {
                case Runner::Runtime:
                    if (!createRuntime(stages[step.stage], owned, runtimeFlags, &run.runtime,
                                       error)) {
                        return false;
                    }
                    break;
                case Runner::PlaneResize:
                    if (!createPlaneResize(graph_, run.kernelOperator,
                                           reinterpret_cast<const float*>(data_[op.inputs[0]]),
                                           reinterpret_cast<float*>(data_[op.outputs[0]]),
                                           threadpool_.get(), &run.resize, error)) {
                        return false;
                    }
                    break;
                case Runner::FrameHead:
                    run.frameHead = std::make_unique<FrameHead>(
                        graph_, op, operatorOf(stages, step.stage + 1), form);
                    break;
                case Runner::LabelTail:
                    run.labelTail =
                        std::make_unique<LabelTail>(graph_, op, operatorOf(stages, step.stage + 1),
                                                    operatorOf(stages, step.stage + 2), form);
                    break;
                case Runner::ThresholdCast:
                    run.fusedCast = stages[step.stage + 1].operators.front();
                    break;
                case Runner::Kernel:
                    break;
            }
            stages_.push_back(std::move(run));
        }
        describe(graph_.inputs, &inputs_);
        describe(graph_.outputs, &outputs_);
        return true;
    }

    size_t inputCount() const override { return inputs_.size(); }
    size_t outputCount() const override { return outputs_.size(); }
    const TensorInfo& input(size_t index) const override {
        return index < inputs_.size() ? inputs_[index] : kNoTensor;
    }
    const TensorInfo& output(size_t index) const override {
        return index < outputs_.size() ? outputs_[index] : kNoTensor;
    }

    bool setInput(size_t index, const void* data, size_t size, std::string* error) override {
        if (index >= inputs_.size()) {
            return fail(error, "input index " + std::to_string(index) +
                                   " out of range (model has " + std::to_string(inputs_.size()) +
                                   " inputs)");
        }
        if (data == nullptr || size != inputs_[index].byteSize) {
            return fail(error, "input " + std::to_string(index) + " takes " +
                                   std::to_string(inputs_[index].byteSize) + " bytes, got " +
                                   std::to_string(data == nullptr ? 0 : size));
        }
        std::memcpy(data_[graph_.inputs[index]], data, size);
        return true;
    }

    bool invoke(std::string* error) override {
        for (const RunStage& stage : stages_) {
            xnn_status status = xnn_status_success;
            switch (stage.runner) {
                case Runner::Runtime:
                    status = xnn_invoke_runtime(stage.runtime.get());
                    if (status != xnn_status_success) {
                        return fail(error, std::string("xnn_invoke_runtime failed: ") +
                                               xnnStatusText(status));
                    }
                    break;
                case Runner::PlaneResize:
                    status = xnn_run_operator(stage.resize.get(), threadpool_.get());
                    if (status != xnn_status_success) {
                        return fail(error, std::string("xnn_run_operator failed: ") +
                                               xnnStatusText(status));
                    }
                    break;
                case Runner::FrameHead:
                    stage.frameHead->run(data_, threadpool_.get());
                    break;
                case Runner::LabelTail:
                    stage.labelTail->run(data_, threadpool_.get());
                    break;
                case Runner::ThresholdCast:
                    runThresholdCast(graph_, graph_.operators[stage.kernelOperator],
                                     graph_.operators[stage.fusedCast], data_);
                    break;
                case Runner::Kernel:
                    runEdgeKernel(graph_, graph_.operators[stage.kernelOperator], data_);
                    break;
            }
        }
        return true;
    }

    bool getOutput(size_t index, void* data, size_t size, std::string* error) override {
        if (index >= outputs_.size()) {
            return fail(error, "output index " + std::to_string(index) +
                                   " out of range (model has " + std::to_string(outputs_.size()) +
                                   " outputs)");
        }
        if (data == nullptr || size != outputs_[index].byteSize) {
            return fail(error, "output " + std::to_string(index) + " holds " +
                                   std::to_string(outputs_[index].byteSize) +
                                   " bytes, destination has " +
                                   std::to_string(data == nullptr ? 0 : size));
        }
        std::memcpy(data, data_[graph_.outputs[index]], size);
        return true;
    }

  private:
    // How a stage, or a run of stages the engine fuses, is executed: an XNNPACK runtime, a planar
    // resize, one of the fused kernels (frame head: dequantize + resize; label tail: resize +
    // comparison + cast; threshold and cast), or a plain kernel.
    enum class Runner { Runtime, PlaneResize, FrameHead, LabelTail, ThresholdCast, Kernel };
    struct Step {
        Runner runner = Runner::Kernel;
        size_t stage = 0;  // the first of the stages it executes
    };

    const GraphOperator& operatorOf(const std::vector<Stage>& stages, size_t stage) const {
        return graph_.operators[stages[stage].operators.front()];
    }

    std::vector<Step> planSteps(const std::vector<Stage>& stages) const {
        std::vector<Step> steps;
        for (size_t s = 0; s < stages.size(); ++s) {
            const size_t first = s;
            Runner runner = Runner::Kernel;
            switch (stages[s].executor) {
                case Executor::Xnnpack:
                    runner = Runner::Runtime;
                    break;
                case Executor::FrameHead:  // the dequantize's stage; the resize's is the next
                    runner = Runner::FrameHead;
                    s += 1;
                    break;
                case Executor::PlaneResize:
                    runner = Runner::PlaneResize;
                    if (s + 2 < stages.size() &&
                        LabelTail::fits(graph_, operatorOf(stages, s), operatorOf(stages, s + 1),
                                        operatorOf(stages, s + 2))) {
                        runner = Runner::LabelTail;
                        s += 2;
                    }
                    break;
                case Executor::Kernel:
                    if (s + 1 < stages.size() &&
                        castFusesWithThreshold(graph_, operatorOf(stages, s),
                                               operatorOf(stages, s + 1))) {
                        runner = Runner::ThresholdCast;
                        s += 1;
                    }
                    break;
            }
            steps.push_back(Step{runner, first});
        }
        return steps;
    }

    // The tensors only the operators of one fused step pass among themselves: nothing else reads
    // them, so they need no buffer.
    std::vector<int> passedWithin(const Step& step, const std::vector<Stage>& stages) const {
        switch (step.runner) {
            case Runner::FrameHead:
            case Runner::ThresholdCast:
                return {operatorOf(stages, step.stage).outputs[0]};
            case Runner::LabelTail:
                return {operatorOf(stages, step.stage).outputs[0],
                        operatorOf(stages, step.stage + 1).outputs[0]};
            default:
                return {};
        }
    }

    // A step ready to run; only the members of its runner are set.
    struct RunStage {
        Runner runner = Runner::Kernel;
        RuntimePtr runtime;
        OperatorPtr resize;
        std::unique_ptr<FrameHead> frameHead;
        std::unique_ptr<LabelTail> labelTail;
        size_t kernelOperator = 0;  // the step's first operator
        size_t fusedCast = 0;       // ThresholdCast: the CAST run with the threshold
    };

    // Each tensor is bounded when the model is read; the sum of every tensor the engine or
    // XNNPACK has to hold is bounded here, before any of it is allocated, so that a model cannot
    // make the host process run out of memory.
    bool checkTensorBytes(std::string* error) const {
        constexpr size_t kMaxTensorBytes = size_t{1} << 28;
        size_t total = 0;
        for (size_t t = 0; t < graph_.tensors.size(); ++t) {
            if (!graph_.tensors[t].isConstant) {
                total += graph_.tensors[t].byteSize();
                if (total > kMaxTensorBytes) {
                    return fail(error, "the model's tensors need more than " +
                                           std::to_string(kMaxTensorBytes >> 20) +
                                           " MiB of memory");
                }
            }
        }
        return true;
    }

    // Every tensor's storage: constants point at their bytes, engine-owned tensors at a zeroed
    // buffer with XNNPACK's read-ahead slack, the rest (XNNPACK-internal) stay null.
    void allocateBuffers(const std::vector<bool>& owned) {
        data_.assign(graph_.tensors.size(), nullptr);
        for (size_t t = 0; t < graph_.tensors.size(); ++t) {
            GraphTensor& tensor = graph_.tensors[t];
            if (tensor.isConstant) {
                data_[t] = tensor.data.data();
            } else if (owned[t]) {
                buffers_.push_back(
                    std::make_unique<uint8_t[]>(tensor.byteSize() + XNN_EXTRA_BYTES));
                data_[t] = buffers_.back().get();
            }
        }
    }

    bool createRuntime(const Stage& stage, const std::vector<bool>& owned, uint32_t flags,
                       RuntimePtr* runtime, std::string* error) {
        const std::vector<int> externals = stageExternalTensors(graph_, stage, owned);
        SubgraphPtr subgraph;
        if (!buildSubgraph(graph_, stage, externals, &staticData_, &subgraph, error)) {
            return false;
        }
        xnn_runtime_t raw = nullptr;
        xnn_status status = xnn_create_runtime_v2(subgraph.get(), threadpool_.get(), flags, &raw);
        if (status != xnn_status_success) {
            return fail(error,
                        std::string("xnn_create_runtime_v2 failed: ") + xnnStatusText(status));
        }
        runtime->reset(raw);
        std::vector<xnn_external_value> bindings;
        for (size_t i = 0; i < externals.size(); ++i) {
            bindings.push_back(xnn_external_value{static_cast<uint32_t>(i), data_[externals[i]]});
        }
        status = xnn_setup_runtime(raw, bindings.size(), bindings.data());
        if (status != xnn_status_success) {
            return fail(error, std::string("xnn_setup_runtime failed: ") + xnnStatusText(status));
        }
        return true;
    }

    void describe(const std::vector<int>& indices, std::vector<TensorInfo>* infos) const {
        for (int index : indices) {
            const GraphTensor& tensor = graph_.tensors[index];
            TensorInfo info;
            info.name = tensor.name;
            info.type = tensor.type;
            info.shape = tensor.shape;
            info.byteSize = tensor.byteSize();
            infos->push_back(std::move(info));
        }
    }

    Graph graph_;
    std::vector<TensorInfo> inputs_;
    std::vector<TensorInfo> outputs_;
    std::vector<std::unique_ptr<uint8_t[]>> buffers_;
    std::vector<uint8_t*> data_;
    StaticDataStore staticData_;
    ThreadpoolPtr threadpool_;
    // Declared last so that the runtimes go before the pool and the data they use.
    std::vector<RunStage> stages_;
};

}  // namespace

std::unique_ptr<Engine> Engine::fromBytes(const void* data, size_t size,
                                          const EngineOptions& options, std::string* error) {
    // A model may declare tensors far larger than this machine's memory; the stand-ins call
    // this from C functions, so running out of memory must come back as an error.
    try {
        std::string message;
        Graph graph;
        if (!readModel(data, size, &graph, &message)) {
            fail(error, message);
            return nullptr;
        }
        auto engine = std::make_unique<EngineImpl>(std::move(graph));
        if (!engine->build(options, &message)) {
            fail(error, message);
            return nullptr;
        }
        return engine;
    } catch (const std::bad_alloc&) {
        fail(error, "out of memory while building the engine");
        return nullptr;
    } catch (const std::exception& failure) {
        fail(error, std::string("building the engine failed: ") + failure.what());
        return nullptr;
    }
}

std::unique_ptr<Engine> Engine::fromFile(const std::string& path, const EngineOptions& options,
                                         std::string* error) {
    // C stdio rather than streams: a read error (a directory, a failing disk) must come back as
    // an error, and libstdc++'s stream iterators throw on those.
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        fail(error, "cannot open model file '" + path + "'");
        return nullptr;
    }
    std::vector<uint8_t> bytes;
    bool readFailed = false;
    try {
        uint8_t chunk[1 << 16];
        size_t got;
        while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
            bytes.insert(bytes.end(), chunk, chunk + got);
        }
        readFailed = std::ferror(file) != 0;
    } catch (const std::bad_alloc&) {
        readFailed = true;
    }
    std::fclose(file);
    if (readFailed) {
        fail(error, "cannot read model file '" + path + "'");
        return nullptr;
    }
    return fromBytes(bytes.data(), bytes.size(), options, error);
}

}  // namespace hostengine
