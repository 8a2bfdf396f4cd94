#include "TestInputs.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

#include "ModelPacking.h"
#include "PluginPaths.h"

namespace testsupport {

namespace {

std::string group(const std::string& aisdk, bool decrypt, const std::string& platform) {
    const std::string options =
        aisdk == "Neuropilot"
            ? R"("AccelerationMode": "NP_ACCELERATION_NEURON", "AcceleratorName": "mtk-neuron",
                 "ExecutionPreference": "kSustainedSpeed")"
            : R"("DeviceKind": "kEnvOptHardware", "MDLACoreOption": "Auto",
                 "RuntimeAPIQoSPreference": "NEURONRUNTIME_PREFER_PERFORMANCE",
                 "RuntimeAPIQoSPriority": "NEURONRUNTIME_PRIORITY_HIGH",
                 "RuntimeAPIQoSBoostValue": "NEURONRUNTIME_BOOSTVALUE_MAX")";
    return R"({"Product": "P1", "Platform": ")" + platform + R"(", "AISDK": ")" + aisdk + R"(", )" +
           options + R"(, "Decrption": )" + (decrypt ? "true" : "false") + "}";
}

}  // namespace

std::string configJson(const std::string& aisdk, bool decrypt, const std::string& platform) {
    return R"({"Module": "BodySegmentation", "Product": "P1", "Platform": ")" + platform +
           R"(", "AISDK": ")" + aisdk + R"(", "ParamGroup": [)" +
           group("Neuropilot", decrypt, platform) + ", " +
           group("NeuronRuntime", decrypt, platform) + "]}";
}

std::vector<uint8_t> plainModel(size_t size) {
    std::vector<uint8_t> model(size);
    std::mt19937 random(static_cast<unsigned>(size));
    for (uint8_t& byte : model)
        byte = static_cast<uint8_t>(random());
    if (size >= 8)
        std::copy_n("TFL3", 4, model.begin() + 4);
    return model;
}

std::vector<uint8_t> encryptedModel(const std::vector<uint8_t>& plain) {
    std::vector<uint8_t> stored = plain;
    modelpack::encryptModel(stored);
    return stored;
}

std::string writeTempFile(const std::string& name, const std::string& bytes) {
    const std::string path = tempDir() + "/" + name;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    return path;
}

std::string writeTempFile(const std::string& name, const std::vector<uint8_t>& bytes) {
    return writeTempFile(name, std::string(bytes.begin(), bytes.end()));
}

std::vector<uint8_t> readFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>());
}

}  // namespace testsupport
