// Whatever the configuration file holds, parse_json answers -1 with one ERROR line naming the step
// that failed (or succeeds); nothing escapes it and nothing crashes.
#include <android/log.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "AssistTestSupport.h"
#include "LogCapture.h"
#include "ParseParams.h"

namespace {

constexpr uint32_t kFailed = 0xFFFFFFFFu;

const std::string kValidConfig = R"({
  "Module": "BodySegmentation",
  "Product": "P1", "Platform": "MTK", "AISDK": "NeuronRuntime",
  "ParamGroup": [
    {"Product": "P1", "Platform": "MTK", "AISDK": "Neuropilot",
     "AccelerationMode": "NP_ACCELERATION_NEURON", "AcceleratorName": "mtk-neuron",
     "ExecutionPreference": "kSustainedSpeed", "Decrption": true},
    {"Product": "P1", "Platform": "MTK", "AISDK": "NeuronRuntime",
     "DeviceKind": "kEnvOptHardware", "MDLACoreOption": "Auto",
     "RuntimeAPIQoSPreference": "NEURONRUNTIME_PREFER_PERFORMANCE",
     "RuntimeAPIQoSPriority": "NEURONRUNTIME_PRIORITY_HIGH",
     "RuntimeAPIQoSBoostValue": "NEURONRUNTIME_BOOSTVALUE_MAX", "Decrption": true,
     "RunAiModel": true, "UseHistMatch": false}
  ]
})";

struct Outcome {
    uint32_t result;
    std::vector<std::string> errors;
};

Outcome parsePath(const std::string& path) {
    testsupport::LogCapture log;
    mtk_ai_type::ModelCfg model{};
    mtk_ai_type::GeneralCfg general{};
    Outcome outcome{assist::parse_json(path.c_str(), model, general), {}};
    for (const auto& line : log.lines()) {
        if (line.priority == ANDROID_LOG_ERROR)
            outcome.errors.push_back(line.text);
    }
    return outcome;
}

Outcome parseBytes(const std::string& bytes) {
    return parsePath(assisttest::writeTempFile("malformed.json", bytes));
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

std::string garbage(size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& b : bytes)
        b = static_cast<char>(random() & 0xff);
    return bytes;
}

TEST(MalformedConfig, EachEndsAsMinusOneWithOneErrorNamingTheStep) {
    const std::string readParameter = "parse_json fail to read parameter: ";
    const std::string parseJson = "parse_json fail to parse json: ";
    const std::string noGroup = "parse_json fail to parse parameter\n";
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    const std::string huge =
        R"({"Module": ")" + std::string(10 * 1024 * 1024, 'm') + R"(", "Product": "P1"})";
    const struct {
        const char* name;
        std::string bytes;
        std::string step;
    } cases[] = {
        {"Decrption as a string",
         replaced(kValidConfig, "true,\n     \"RunAiModel\"", "\"true\",\n     \"RunAiModel\""),
         readParameter},
        {"RunAiModel as an object",
         replaced(kValidConfig, "\"RunAiModel\": true", "\"RunAiModel\": {}"), readParameter},
        {"root an array", "[" + kValidConfig + "]", readParameter},
        {"root a string", "\"MTK\"", readParameter},
        {"root Product an array",
         replaced(kValidConfig, "\"Product\": \"P1\",", "\"Product\": [\"P1\"],"), readParameter},
        {"groups not objects", R"({"ParamGroup": [5, "x"]})", readParameter},
        {"ParamGroup an object", R"({"ParamGroup": {"Product": "P1"}})", readParameter},
        {"binary garbage", garbage(4096, 7), parseJson},
        {"empty file", "", parseJson},
        {"deeply nested arrays", deep, parseJson},
        {"10 MB without a group", huge, noGroup},
        {"JSON null", "null", noGroup},
    };
    for (const auto& c : cases) {
        const Outcome outcome = parseBytes(c.bytes);
        EXPECT_EQ(outcome.result, kFailed) << c.name;
        ASSERT_EQ(outcome.errors.size(), 1u) << c.name;
        EXPECT_NE(outcome.errors[0].find("parse_json() " + c.step), std::string::npos)
            << c.name << ": " << outcome.errors[0].substr(0, 200);
    }
}

TEST(MalformedConfig, UnreadablePathsFailToOpen) {
    for (const std::string& path :
         {testsupport::tempDir() + "/missing.json", testsupport::tempDir()}) {
        const Outcome outcome = parsePath(path);
        EXPECT_EQ(outcome.result, kFailed) << path;
        ASSERT_EQ(outcome.errors.size(), 1u) << path;
        EXPECT_NE(outcome.errors[0].find("parse_json fail to "), std::string::npos)
            << outcome.errors[0];
    }
}

TEST(MalformedConfig, ModuleOfAnyTypeDoesNotChangeTheResultWithInfoOn) {
    const std::string arrayModule =
        replaced(kValidConfig, "\"BodySegmentation\"", "[\"Body\", \"Segmentation\"]");
    for (const uint32_t level : {uint32_t{kavo::kLogError}, uint32_t{0x3F}}) {
        assisttest::ScopedLogLevel scoped(level);
        EXPECT_EQ(parseBytes(arrayModule).result, 0u) << "log mask " << level;
    }
}

// One random edit of the configuration text.
std::string mutate(std::string text, std::mt19937& random) {
    static const std::vector<std::string> kTokens = {
        "{",    "}", "[",      "]",     ",",  ":",  "\"",      "null",
        "true", "0", "-1e999", "\"x\"", "{}", "[]", "\\u0000", "\xff\xfe"};
    static const std::vector<std::string> kValues = {
        "\"true\"", "1", "[]", "{}", "null", "false", "[1, 2]", "{\"a\": 1}", "\"\"", "1.5"};
    auto pick = [&random](size_t n) { return static_cast<size_t>(random() % n); };
    if (text.empty())
        return kTokens[pick(kTokens.size())];
    const size_t at = pick(text.size());
    switch (pick(5)) {
        case 0:  // byte flip
            text[at] = static_cast<char>(text[at] ^ (1 << pick(8)));
            break;
        case 1:  // insertion
            text.insert(at, kTokens[pick(kTokens.size())]);
            break;
        case 2:  // deletion
            text.erase(at, 1 + pick(16));
            break;
        case 3:  // truncation
            text.resize(at);
            break;
        default: {  // type swap: replace the value after a ':' by a value of another type
            const size_t colon = text.find(':', at);
            if (colon == std::string::npos)
                break;
            size_t end = colon + 1;
            while (end < text.size() && text[end] == ' ')
                ++end;
            size_t stop = text.find_first_of(",}]\n", end);
            if (text[end] == '"')
                stop = text.find('"', end + 1) + 1;
            if (stop == std::string::npos || stop == 0)
                stop = text.size();
            text.replace(end, stop - end, kValues[pick(kValues.size())]);
        }
    }
    return text;
}

TEST(MalformedConfig, RandomMutationsNeverCrashAndFailWithTheirOwnErrors) {
    std::mt19937 random(20240611);
    int succeeded = 0;
    int contained = 0;
    for (int i = 0; i < 4000; ++i) {
        std::string text = kValidConfig;
        for (int edits = 1 + static_cast<int>(random() % 3); edits > 0; --edits) {
            text = mutate(text, random);
        }
        const Outcome outcome = parseBytes(text);
        if (outcome.result == 0) {
            ++succeeded;
            EXPECT_TRUE(outcome.errors.empty()) << text;
            continue;
        }
        ASSERT_EQ(outcome.result, kFailed) << text;
        ASSERT_GE(outcome.errors.size(), 1u) << text;
        // A group naming a foreign platform or runtime is reported before "no usable group".
        if (outcome.errors.size() == 2) {
            EXPECT_NE(outcome.errors[0].find(" is wrong, now is "), std::string::npos) << text;
            EXPECT_NE(outcome.errors[1].find("parse_json fail to parse parameter\n"),
                      std::string::npos);
        } else {
            ASSERT_EQ(outcome.errors.size(), 1u) << text;
        }
        contained += outcome.errors.back().find("fail to read parameter") != std::string::npos;
    }
    // The mix must exercise both outcomes and the contained type errors.
    EXPECT_GT(succeeded, 100);
    EXPECT_GT(contained, 100);
}

}  // namespace
