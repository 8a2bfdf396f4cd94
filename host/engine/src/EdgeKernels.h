// The engine's own kernels for the operators this XNNPACK lacks (CAST, ARG_MAX, GREATER,
// GREATER_EQUAL). They are plain loops: such operators sit at a model's edges, on small or
// already reduced tensors, where speed matters little and obviousness a lot.
#pragma once

#include <cstdint>
#include <vector>

#include "ModelGraph.h"

namespace hostengine {

// Runs `op`, which must have passed checkGraph. `data[t]` is the storage of tensor t (a
// constant's bytes or the engine's buffer); the kernel reads its inputs' entries and writes its
// output's.
void runEdgeKernel(const Graph& graph, const GraphOperator& op, const std::vector<uint8_t*>& data);

// Whether `cast` can run in one pass with `comparison`, the operator before it: a whole map
// compared with one value, whose truth values nothing but the cast reads (a threshold turned into
// labels).
bool castFusesWithThreshold(const Graph& graph, const GraphOperator& comparison,
                            const GraphOperator& cast);

// Runs both, writing the cast's output and not the truth values in between.
void runThresholdCast(const Graph& graph, const GraphOperator& comparison,
                      const GraphOperator& cast, const std::vector<uint8_t*>& data);

}  // namespace hostengine
