#include "BareXnnpack.h"

#include <fstream>
#include <iterator>

#include "ConstantFolding.h"
#include "ModelGraph.h"
#include "Partition.h"
#include "PlaneResize.h"

namespace enginebench {

bool BareXnnpack::start(int threads, std::string* error) {
    return hostengine::ensureXnnpackInitialized(error) &&
           hostengine::createThreadpool(threads, &pool_, error);
}

bool BareXnnpack::addRuntime(xnn_subgraph_t subgraph, const std::vector<size_t>& externalBytes,
                             std::string* error) {
    xnn_runtime_t runtime = nullptr;
    if (xnn_create_runtime_v2(subgraph, pool_.get(), 0, &runtime) != xnn_status_success) {
        *error = "xnn_create_runtime_v2 failed";
        return false;
    }
    steps_.push_back({hostengine::RuntimePtr(runtime), nullptr});
    std::vector<xnn_external_value> externals;
    for (size_t id = 0; id < externalBytes.size(); ++id) {
        externals.push_back({static_cast<uint32_t>(id), buffer(externalBytes[id])});
    }
    if (xnn_setup_runtime(runtime, externals.size(), externals.data()) != xnn_status_success) {
        *error = "xnn_setup_runtime failed";
        return false;
    }
    return true;
}

bool BareXnnpack::addPlaneResize(const hostengine::Graph& graph, size_t opIndex,
                                 std::string* error) {
    const hostengine::GraphOperator& op = graph.operators[opIndex];
    const float* input =
        reinterpret_cast<const float*>(buffer(graph.tensors[op.inputs[0]].byteSize()));
    float* output = reinterpret_cast<float*>(buffer(graph.tensors[op.outputs[0]].byteSize()));
    Step step;
    if (!hostengine::createPlaneResize(graph, opIndex, input, output, pool_.get(), &step.resize,
                                       error)) {
        return false;
    }
    steps_.push_back(std::move(step));
    return true;
}

uint8_t* BareXnnpack::buffer(size_t bytes) {
    buffers_.push_back(std::make_unique<uint8_t[]>(bytes + XNN_EXTRA_BYTES));
    return buffers_.back().get();
}

std::unique_ptr<BareXnnpack> BareXnnpack::fromConvStack(const ConvStack& stack, int threads,
                                                        std::string* error) {
    auto bare = std::unique_ptr<BareXnnpack>(new BareXnnpack());
    bare->stack_ = stack;
    xnn_subgraph_t subgraph = nullptr;
    if (!bare->start(threads, error) ||
        xnn_create_subgraph(2, 0, &subgraph) != xnn_status_success) {
        return nullptr;
    }
    const hostengine::SubgraphPtr owned(subgraph);
    if (!bare->stack_.defineSubgraph(subgraph)) {
        *error = "defining the convolution stack failed";
        return nullptr;
    }
    const std::vector<size_t> bytes{stack.inputElements() * sizeof(float),
                                    stack.outputElements() * sizeof(float)};
    return bare->addRuntime(subgraph, bytes, error) ? std::move(bare) : nullptr;
}

std::unique_ptr<BareXnnpack> BareXnnpack::fromModelFile(const std::string& path, int threads,
                                                        std::string* error) {
    std::ifstream file(path, std::ios::binary);
    return fromModelBytes(std::vector<uint8_t>((std::istreambuf_iterator<char>(file)),
                                               std::istreambuf_iterator<char>()),
                          threads, error);
}

std::unique_ptr<BareXnnpack> BareXnnpack::fromModelBytes(const std::vector<uint8_t>& model,
                                                         int threads, std::string* error) {
    hostengine::Graph graph;
    std::vector<size_t> order;
    auto bare = std::unique_ptr<BareXnnpack>(new BareXnnpack());
    if (!hostengine::readModel(model.data(), model.size(), &graph, error) ||
        !hostengine::foldConstantDequantize(&graph, &order, error) ||
        !bare->start(threads, error)) {
        return nullptr;
    }
    const std::vector<hostengine::Stage> stages = hostengine::partitionStages(graph, order);
    const std::vector<bool> owned = hostengine::engineOwnedTensors(graph, stages);
    for (const hostengine::Stage& stage : stages) {
        if (stage.executor == hostengine::Executor::PlaneResize) {
            if (!bare->addPlaneResize(graph, stage.operators.front(), error)) {
                return nullptr;
            }
            continue;
        }
        // The engine's own kernel for a frame head replaces operators XNNPACK runs too: the bare
        // run has XNNPACK run them.
        if (stage.executor != hostengine::Executor::Xnnpack &&
            stage.executor != hostengine::Executor::FrameHead) {
            continue;
        }
        const std::vector<int> externals = hostengine::stageExternalTensors(graph, stage, owned);
        hostengine::SubgraphPtr subgraph;
        if (!hostengine::buildSubgraph(graph, stage, externals, &bare->constants_, &subgraph,
                                       error)) {
            return nullptr;
        }
        std::vector<size_t> bytes;
        for (int tensor : externals) {
            bytes.push_back(graph.tensors[tensor].byteSize());
        }
        if (!bare->addRuntime(subgraph.get(), bytes, error)) {
            return nullptr;
        }
    }
    return bare;
}

bool BareXnnpack::invoke() {
    for (const Step& step : steps_) {
        const xnn_status status = step.runtime ? xnn_invoke_runtime(step.runtime.get())
                                               : xnn_run_operator(step.resize.get(), pool_.get());
        if (status != xnn_status_success) {
            return false;
        }
    }
    return true;
}

}  // namespace enginebench
