#include "Partition.h"

#include <algorithm>

#include "FrameHead.h"

namespace hostengine {

Executor executorOf(const Graph& graph, const GraphOperator& op) {
    switch (op.kind) {
        case OpKind::Cast:
        case OpKind::ArgMax:
        case OpKind::Greater:
        case OpKind::GreaterEqual:
            return Executor::Kernel;
        case OpKind::ResizeBilinear:
            return graph.tensors[op.inputs[0]].shape[3] == 1 ? Executor::PlaneResize
                                                             : Executor::Xnnpack;
        default:
            return Executor::Xnnpack;
    }
}

std::vector<Stage> partitionStages(const Graph& graph, const std::vector<size_t>& order) {
    std::vector<Executor> executors;
    for (size_t index : order) {
        executors.push_back(executorOf(graph, graph.operators[index]));
    }
    for (size_t i = 0; i + 1 < order.size(); ++i) {
        if (FrameHead::fits(graph, graph.operators[order[i]], graph.operators[order[i + 1]])) {
            executors[i] = executors[i + 1] = Executor::FrameHead;
        }
    }
    std::vector<Stage> stages;
    for (size_t i = 0; i < order.size(); ++i) {
        const size_t index = order[i];
        const Executor executor = executors[i];
        const bool extend = executor == Executor::Xnnpack && !stages.empty() &&
                            stages.back().executor == Executor::Xnnpack;
        if (!extend) {
            stages.push_back(Stage{executor, {}});
        }
        stages.back().operators.push_back(index);
    }
    return stages;
}

std::vector<bool> engineOwnedTensors(const Graph& graph, const std::vector<Stage>& stages) {
    const size_t count = graph.tensors.size();
    std::vector<bool> owned(count, false);
    // The stage that first touched each tensor; a second, different stage makes it a boundary.
    std::vector<int> firstStage(count, -1);
    for (int t : graph.inputs) {
        owned[t] = true;
    }
    for (int t : graph.outputs) {
        owned[t] = true;
    }
    for (size_t s = 0; s < stages.size(); ++s) {
        // Only an XNNPACK runtime keeps values of its own; every other stage works on engine
        // buffers.
        const bool ownBuffers = stages[s].executor != Executor::Xnnpack;
        for (size_t index : stages[s].operators) {
            const GraphOperator& op = graph.operators[index];
            auto touch = [&](int t) {
                if (t < 0) {
                    return;
                }
                if (ownBuffers) {
                    owned[t] = true;
                }
                if (firstStage[t] < 0) {
                    firstStage[t] = static_cast<int>(s);
                } else if (firstStage[t] != static_cast<int>(s)) {
                    owned[t] = true;
                }
            };
            std::for_each(op.inputs.begin(), op.inputs.end(), touch);
            std::for_each(op.outputs.begin(), op.outputs.end(), touch);
        }
    }
    // An operator result nothing reads still has to be written somewhere: XNNPACK plans memory
    // only for values that something consumes, and asserts on the others.
    std::vector<bool> read(count, false);
    for (const GraphOperator& op : graph.operators) {
        for (int t : op.inputs) {
            if (t >= 0) {
                read[t] = true;
            }
        }
    }
    for (const GraphOperator& op : graph.operators) {
        for (int t : op.outputs) {
            if (t >= 0 && !read[t]) {
                owned[t] = true;
            }
        }
    }
    for (size_t t = 0; t < count; ++t) {
        owned[t] = owned[t] && !graph.tensors[t].isConstant;
    }
    return owned;
}

bool readOnlyOnce(const Graph& graph, int tensor) {
    if (std::find(graph.outputs.begin(), graph.outputs.end(), tensor) != graph.outputs.end()) {
        return false;
    }
    size_t readers = 0;
    for (const GraphOperator& op : graph.operators) {
        readers += static_cast<size_t>(std::count(op.inputs.begin(), op.inputs.end(), tensor));
    }
    return readers == 1;
}

std::vector<int> stageExternalTensors(const Graph& graph, const Stage& stage,
                                      const std::vector<bool>& engineOwned) {
    std::vector<int> externals;
    auto add = [&](int t) {
        if (t >= 0 && engineOwned[t] &&
            std::find(externals.begin(), externals.end(), t) == externals.end()) {
            externals.push_back(t);
        }
    };
    for (size_t index : stage.operators) {
        const GraphOperator& op = graph.operators[index];
        std::for_each(op.inputs.begin(), op.inputs.end(), add);
        std::for_each(op.outputs.begin(), op.outputs.end(), add);
    }
    return externals;
}

}  // namespace hostengine
