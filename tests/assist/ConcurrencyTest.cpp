// Decryption, the option converters and the parser share nothing between calls, so hosts may run
// them on several threads at once.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "AssistTestSupport.h"
#include "ModelPacking.h"
#include "Decryption.h"
#include "OptionConversions.h"
#include "ParseParams.h"

namespace {

TEST(AssistConcurrency, ModelParseConvertersAndParserRunOnManyThreads) {
    const std::vector<uint8_t> plain(5000, 0x42);
    std::vector<uint8_t> encrypted = plain;
    modelpack::encryptModel(encrypted);
    const std::string config = assisttest::writeTempFile(
        "threads.json", R"({"Product": "P", "Platform": "MTK", "AISDK": "Neuropilot",
        "ParamGroup": [{"Product": "P", "Platform": "MTK", "AISDK": "Neuropilot",
        "AcceleratorName": "mtk-mdla"}]})");
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
                               std::string(model.acc_name) != "mtk-mdla";
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
