// Decryption, the option converters and the parser share nothing between calls, so hosts may run
// them on several threads at once.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "Decryption.h"
#include "OptionConversions.h"
#include "ParseParams.h"
#include "TestInputs.h"

namespace {

TEST(AssistConcurrency, ModelParseConvertersAndParserRunOnManyThreads) {
    const std::vector<uint8_t> plain = testsupport::plainModel(5000);
    const std::vector<uint8_t> encrypted = testsupport::encryptedModel(plain);
    const std::string config =
        testsupport::writeTempFile("threads.json", testsupport::configJson("Neuropilot"));
    std::vector<std::thread> threads;
    std::vector<int> failures(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                std::vector<uint8_t> input = encrypted;
                std::vector<uint8_t> output(input.size());
                failures[t] += assist::model_parse(input.data(), static_cast<long>(input.size()),
                                                   output.data()) != 0 ||
                               output != plain;
                mtk_ai_type::ModelCfg model{};
                mtk_ai_type::GeneralCfg general{};
                failures[t] += assist::parse_json(config.c_str(), model, general) != 0 ||
                               std::string(model.acc_name) != "mtk-neuron";
                failures[t] += assist::NeuronRuntimeParseParam::String2RuntimeAPIQoSPriority(
                                   "NEURONRUNTIME_PRIORITY_HIGH") != 2;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, std::vector<int>(4, 0));
}

}  // namespace
