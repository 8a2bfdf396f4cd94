// The frame path allocates nothing: every buffer a backend needs per frame is made by Init, so a
// run of Inference calls leaves the memory registry exactly as it found it.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "ALGOGalloc.h"
#include "BackendFixture.h"
#include "BodySegNeuron.h"
#include "BodySegNeuropilot.h"
#include "ModelMaterial.h"

namespace mtktest {
namespace {

// What the registry holds: every record's size by address, and the counters.
struct RegistryState {
    std::map<void*, uint32_t> records;
    uint32_t total;
    uint32_t internal;
    uint32_t highWater;

    bool operator==(const RegistryState& other) const {
        return records == other.records && total == other.total && internal == other.internal &&
               highWater == other.highWater;
    }
};

RegistryState registryState() {
    RegistryState state;
    {
        std::lock_guard<std::mutex> guard(kavo::AlgorithmMemory::sMapLock);
        for (const auto& entry : kavo::AlgorithmMemory::sMemMap) {
            state.records[entry.first] = entry.second.size;
        }
    }
    state.total = kavo::AlgorithmMemory::getTotalMemSize();
    state.internal = kavo::AlgorithmMemory::getInternalMemSize();
    state.highWater = kavo::AlgorithmMemory::getInternalMemMaxSize();
    return state;
}

struct BackendKind {
    const char* label;
    std::function<std::unique_ptr<bodysegment::ModelImpBase>(mtk_ai_type::ModelCfg&)> make;
};

void PrintTo(const BackendKind& row, std::ostream* os) {
    *os << row.label;
}

const BackendKind kBackends[] = {
    {"Neuropilot",
     [](mtk_ai_type::ModelCfg& cfg) {
         return std::unique_ptr<bodysegment::ModelImpBase>(new bodysegment::BodySegNeuropilot(cfg));
     }},
    {"Neuron",
     [](mtk_ai_type::ModelCfg& cfg) {
         return std::unique_ptr<bodysegment::ModelImpBase>(new bodysegment::BodySegNeuron(cfg));
     }},
};

class InferenceAllocationTest : public BackendTest,
                                public testing::WithParamInterface<BackendKind> {};

TEST_P(InferenceAllocationTest, FramesLeaveTheRegistryUnchanged) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    std::unique_ptr<bodysegment::ModelImpBase> backend = GetParam().make(cfg);
    ASSERT_EQ(backend->Init(), 1);
    const RegistryState afterInit = registryState();
    ASSERT_EQ(afterInit.records.size(), 1u) << "Init should have made the staging buffer";
    std::vector<uint8_t> output(kOutputElements);

    for (int frame = 0; frame < 3; ++frame) {
        ASSERT_EQ(backend->Inference(input_.data(), kInputBytes, output.data()), 1);
        EXPECT_TRUE(registryState() == afterInit) << "frame " << frame << " changed the registry";
    }
    backend->Release();
}

INSTANTIATE_TEST_SUITE_P(BothRuntimes, InferenceAllocationTest, testing::ValuesIn(kBackends),
                         [](const testing::TestParamInfo<BackendKind>& info) {
                             return info.param.label;
                         });

}  // namespace
}  // namespace mtktest
