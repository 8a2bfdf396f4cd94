// Splits the operators to run into stages: runs of consecutive operators XNNPACK covers become
// one XNNPACK runtime each, and every other operator is a stage of its own (a planar XNNPACK
// resize or one of the engine's plain kernels). Models normally have those only at their edges (a
// CAST before, a comparison after), which leaves a single XNNPACK runtime in the middle.
#pragma once

#include <vector>

#include "ModelGraph.h"

namespace hostengine {

// Xnnpack: part of an XNNPACK runtime. FrameHead: a dequantize of an 8-bit frame and the resize
// reading it, which the engine runs as one kernel of its own. PlaneResize: a bilinear resize of a
// one-channel map, run as XNNPACK's planar resize operator on its own (for one channel the planar
// and channel-last layouts are the same bytes, and the channel-last kernel spends its time per
// pixel, which makes it two to three times slower on a probability map). Kernel: the engine's own
// kernels.
enum class Executor { Xnnpack, FrameHead, PlaneResize, Kernel };

Executor executorOf(const Graph& graph, const GraphOperator& op);

struct Stage {
    Executor executor = Executor::Xnnpack;
    std::vector<size_t> operators;  // indices into Graph::operators, in execution order
};

std::vector<Stage> partitionStages(const Graph& graph, const std::vector<size_t>& order);

// Per tensor: whether the engine must hold its data in a buffer of its own, because it is a graph
// input or output, passes between stages, or is an operator result that nothing reads. Tensors used
// inside one XNNPACK stage only are left to XNNPACK's own memory planning.
std::vector<bool> engineOwnedTensors(const Graph& graph, const std::vector<Stage>& stages);

// Whether exactly one operator input reads `tensor` and it is no graph output: a value that a fused
// kernel may keep to itself.
bool readOnlyOnce(const Graph& graph, int tensor);

// The non-constant, engine-owned tensors a stage reads or writes, each once, in first-use order.
std::vector<int> stageExternalTensors(const Graph& graph, const Stage& stage,
                                      const std::vector<bool>& engineOwned);

}  // namespace hostengine
