#include "BackendFixture.h"

#include "PluginPaths.h"

namespace mtktest {

const testsupport::StandinClient& tfliteStandin() {
    static const testsupport::StandinClient client(testsupport::standinDir(), "libtflite_mtk.so");
    return client;
}

const testsupport::StandinClient& neuronStandin() {
    static const testsupport::StandinClient client(testsupport::standinDir(),
                                                   "libneuron_runtime.6.so");
    return client;
}

void BackendTest::SetUp() {
    TracedRegistryTest::SetUp();
    if (HasFatalFailure())
        return;
    ASSERT_TRUE(tfliteStandin().loaded());
    ASSERT_TRUE(neuronStandin().loaded());
    tfliteStandin().reset();
    neuronStandin().reset();
    scriptTensor(0, kInputBytes, kTypeUint8);
    scriptTensor(1, kOutputBytes, kTypeInt32);
    liveOptions_ = tfliteStandin().recordedInt("live_options");
    liveInterpreters_ = tfliteStandin().recordedInt("live_interpreters");
    liveRuntimes_ = neuronStandin().recordedInt("live_runtimes");
    input_.resize(kInputBytes);
    for (size_t i = 0; i < input_.size(); ++i)
        input_[i] = static_cast<uint8_t>(7 * i + 3);
    capture_.clear();
}

void BackendTest::TearDown() {
    EXPECT_EQ(tfliteStandin().recordedInt("live_options"), liveOptions_)
        << "the test left NeuroPilot options objects alive";
    EXPECT_EQ(tfliteStandin().recordedInt("live_interpreters"), liveInterpreters_)
        << "the test left NeuroPilot interpreters alive";
    EXPECT_EQ(neuronStandin().recordedInt("live_runtimes"), liveRuntimes_)
        << "the test left Neuron runtime instances alive";
    TracedRegistryTest::TearDown();
}

void BackendTest::scriptTensor(uint32_t direction, uint32_t byteSize, uint32_t type) {
    tfliteStandin().setTensor(direction, byteSize, type);
    neuronStandin().setTensor(direction, byteSize, type);
}

std::vector<int> BackendTest::callCounts(const testsupport::StandinClient& client,
                                         const std::vector<std::string>& symbols) {
    std::vector<int> counts;
    for (const std::string& symbol : symbols)
        counts.push_back(client.callCount(symbol));
    return counts;
}

}  // namespace mtktest
