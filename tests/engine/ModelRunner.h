// Shared steps of the engine tests: random inputs with a fixed seed, running a written model
// through the engine, and comparing its outputs with the reference interpreter's.
#pragma once

#include <cstdint>
#include <vector>

#include "HostEngine.h"
#include "ModelGraph.h"
#include "ReferenceOps.h"

namespace enginetest {

// Results may differ from the double-precision reference by absolute + relative * |expected|.
struct Tolerance {
    double absolute = 1e-4;
    double relative = 1e-4;
};

// The graph the engine reads from `model`; a refusal fails the current test.
hostengine::Graph readGraph(const std::vector<uint8_t>& model);

// Values for every graph input: floats uniform in [low, high], integers in their natural small
// range (uint8 0..255, others -100..100), booleans 0 or 1.
std::vector<RefTensor> randomInputs(const hostengine::Graph& graph, uint32_t seed,
                                    double low = -2.0, double high = 2.0);
std::vector<float> randomFloats(size_t count, uint32_t seed, double low = -1.0, double high = 1.0);

// Runs the model once; fails the current test (and returns nothing) on any engine error.
std::vector<RefTensor> runEngine(const std::vector<uint8_t>& model,
                                 const std::vector<RefTensor>& inputs, int threads = 2);

void expectClose(const RefTensor& actual, const RefTensor& expected, const Tolerance& tolerance);

// Runs the model on random inputs through the engine and the reference, and expects every output
// to agree within `tolerance`.
void expectMatchesReference(const std::vector<uint8_t>& model,
                            const Tolerance& tolerance = Tolerance(), uint32_t seed = 7,
                            double low = -2.0, double high = 2.0);

}  // namespace enginetest
