#include "ModelRunner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "ReferenceInterpreter.h"
#include "TensorBytes.h"

namespace enginetest {

using hostengine::ElementType;

hostengine::Graph readGraph(const std::vector<uint8_t>& model) {
    hostengine::Graph graph;
    std::string error;
    if (!hostengine::readModel(model.data(), model.size(), &graph, &error)) {
        ADD_FAILURE() << "model not read: " << error;
    }
    return graph;
}

std::vector<RefTensor> randomInputs(const hostengine::Graph& graph, uint32_t seed, double low,
                                    double high) {
    std::mt19937 random(seed);
    std::vector<RefTensor> inputs;
    for (int index : graph.inputs) {
        const hostengine::GraphTensor& tensor = graph.tensors[index];
        RefTensor t = makeTensor(tensor.shape);
        for (double& v : t.values) {
            switch (tensor.type) {
                case ElementType::Float32:
                    v = static_cast<float>(
                        std::uniform_real_distribution<double>(low, high)(random));
                    break;
                case ElementType::Uint8:
                    v = std::uniform_int_distribution<int>(0, 255)(random);
                    break;
                case ElementType::Bool:
                    v = std::uniform_int_distribution<int>(0, 1)(random);
                    break;
                default:
                    v = std::uniform_int_distribution<int>(-100, 100)(random);
                    break;
            }
        }
        inputs.push_back(t);
    }
    return inputs;
}

std::vector<float> randomFloats(size_t count, uint32_t seed, double low, double high) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> distribution(low, high);
    std::vector<float> values(count);
    for (float& v : values) {
        v = static_cast<float>(distribution(random));
    }
    return values;
}

std::vector<RefTensor> runEngine(const std::vector<uint8_t>& model,
                                 const std::vector<RefTensor>& inputs, int threads) {
    std::string error;
    hostengine::EngineOptions options;
    options.threads = threads;
    auto engine = hostengine::Engine::fromBytes(model.data(), model.size(), options, &error);
    if (!engine) {
        ADD_FAILURE() << "engine creation failed: " << error;
        return {};
    }
    for (size_t i = 0; i < inputs.size(); ++i) {
        const std::vector<uint8_t> bytes = toBytes(inputs[i], engine->input(i).type);
        if (!engine->setInput(i, bytes.data(), bytes.size(), &error)) {
            ADD_FAILURE() << error;
            return {};
        }
    }
    if (!engine->invoke(&error)) {
        ADD_FAILURE() << error;
        return {};
    }
    std::vector<RefTensor> outputs;
    for (size_t i = 0; i < engine->outputCount(); ++i) {
        const hostengine::TensorInfo& info = engine->output(i);
        std::vector<uint8_t> bytes(info.byteSize);
        if (!engine->getOutput(i, bytes.data(), bytes.size(), &error)) {
            ADD_FAILURE() << error;
            return {};
        }
        outputs.push_back(fromBytes(info.type, info.shape, bytes));
    }
    return outputs;
}

void expectClose(const RefTensor& actual, const RefTensor& expected, const Tolerance& tolerance) {
    ASSERT_EQ(actual.shape, expected.shape);
    ASSERT_EQ(actual.values.size(), expected.values.size());
    size_t mismatches = 0;
    for (size_t i = 0; i < actual.values.size(); ++i) {
        const double allowed =
            tolerance.absolute + tolerance.relative * std::fabs(expected.values[i]);
        if (!(std::fabs(actual.values[i] - expected.values[i]) <= allowed) && ++mismatches <= 5) {
            ADD_FAILURE() << "element " << i << ": engine " << actual.values[i] << ", reference "
                          << expected.values[i];
        }
    }
    EXPECT_EQ(mismatches, 0u) << "elements outside the tolerance";
}

void expectMatchesReference(const std::vector<uint8_t>& model, const Tolerance& tolerance,
                            uint32_t seed, double low, double high) {
    const hostengine::Graph graph = readGraph(model);
    const std::vector<RefTensor> inputs = randomInputs(graph, seed, low, high);
    const std::vector<RefTensor> expected = runReference(graph, inputs);
    const std::vector<RefTensor> actual = runEngine(model, inputs);
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < actual.size(); ++i) {
        SCOPED_TRACE("output " + std::to_string(i));
        expectClose(actual[i], expected[i], tolerance);
    }
}

}  // namespace enginetest
