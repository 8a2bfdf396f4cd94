// Splits the operators to run into stages: runs of consecutive operators XNNPACK covers become
// one XNNPACK runtime each, and every other operator is a stage of its own run by the engine's
// plain kernels. Models normally have those only at their edges (a CAST before, a comparison
// after), which leaves a single XNNPACK runtime in the middle.
#pragma once

#include <vector>

#include "ModelGraph.h"

namespace hostengine {

enum class Executor { Xnnpack, Kernel };

Executor executorOf(OpKind kind);

struct Stage {
    Executor executor = Executor::Xnnpack;
    std::vector<size_t> operators;  // indices into Graph::operators, in execution order
};

std::vector<Stage> partitionStages(const Graph& graph, const std::vector<size_t>& order);

// Per tensor: whether the engine must hold its data in a buffer of its own, because it is a graph
// input or output, passes between stages, or is an operator result that nothing reads. Tensors used
// inside one XNNPACK stage only are left to XNNPACK's own memory planning.
std::vector<bool> engineOwnedTensors(const Graph& graph, const std::vector<Stage>& stages);

// The non-constant, engine-owned tensors a stage reads or writes, each once, in first-use order.
std::vector<int> stageExternalTensors(const Graph& graph, const Stage& stage,
                                      const std::vector<bool>& engineOwned);

}  // namespace hostengine
