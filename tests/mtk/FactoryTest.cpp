// The two factories: each CreateModelImp makes a new backend of the factory's class, registered
// with the memory accounting under the factory's source; the factory keeps nothing, so deleting
// it leaves its backends alive and working.
#include <android/log.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "ALGOGalloc.h"
#include "BackendFixture.h"
#include "BodySegFty.h"
#include "BodySegNeuron.h"
#include "BodySegNeuropilot.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"

namespace mtktest {
namespace {

using bodysegment::ModelImpBase;
using bodysegment::ModelImpFtyBase;

struct FactoryCase {
    const char* label;
    std::function<ModelImpFtyBase*()> makeFactory;
    std::function<bool(ModelImpBase*)> isExpectedClass;
    uint32_t objectSize;
    const char* constructedFile;  // where the backend's constructor logs "Construct"
    const char* constructor;      // the constructor's function name in that line
    const char* successLine;
};

void PrintTo(const FactoryCase& row, std::ostream* os) {
    *os << row.label;
}

const FactoryCase kFactories[] = {
    {"Neuropilot", [] { return new bodysegment::BodySegNeuropilotFty; },
     [](ModelImpBase* p) { return dynamic_cast<bodysegment::BodySegNeuropilot*>(p) != nullptr; },
     sizeof(bodysegment::BodySegNeuropilot), kNeuropilotFile, "BodySegNeuropilot",
     "new bodysegment::BodySegNeuropilot success"},
    {"Neuron", [] { return new bodysegment::BodySegNeuronFty; },
     [](ModelImpBase* p) { return dynamic_cast<bodysegment::BodySegNeuron*>(p) != nullptr; },
     sizeof(bodysegment::BodySegNeuron), kNeuronFile, "BodySegNeuron",
     "new bodysegment::BodySegNeuron success"},
};

size_t firstIndexOf(const testsupport::LogCapture& log, const KavoLine& expected) {
    const std::vector<testsupport::LogLine> lines = log.lines();
    for (size_t i = 0; i < lines.size(); ++i) {
        if (matches(lines[i], expected))
            return i;
    }
    return lines.size();
}

class FactoryTest : public BackendTest, public testing::WithParamInterface<FactoryCase> {
  protected:
    // How a handle frees a backend it got from a factory.
    static void destroy(ModelImpBase* backend) {
        backend->Release();
        KAVO_UNTRACK(backend);
        delete backend;
    }
};

TEST_P(FactoryTest, MakesARegisteredBackendOfItsClass) {
    const FactoryCase& row = GetParam();
    std::unique_ptr<ModelImpFtyBase> factory(row.makeFactory());
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    capture_.clear();

    ModelImpBase* backend = factory->CreateModelImp(cfg);

    ASSERT_NE(backend, nullptr);
    EXPECT_TRUE(row.isExpectedClass(backend));
    ASSERT_TRUE(registered(backend));
    const kavo::AlgoMemInfo record = recordOf(backend);
    EXPECT_EQ(record.size, row.objectSize);
    EXPECT_EQ(record.flag, 0);
    EXPECT_EQ(kavo::LogPrintf::baseName(record.file.c_str()), std::string(kFactoryFile));
    EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemSize(), row.objectSize);
    const KavoLine constructed{ANDROID_LOG_INFO, row.constructedFile, row.constructor, "Construct"};
    const KavoLine created{ANDROID_LOG_INFO, kFactoryFile, "CreateModelImp", row.successLine};
    EXPECT_TRUE(loggedOnce(capture_, constructed));
    EXPECT_TRUE(loggedOnce(capture_, created));
    EXPECT_LT(firstIndexOf(capture_, constructed), firstIndexOf(capture_, created))
        << "the success line came before the backend existed" << dump(capture_);
    destroy(backend);
}

TEST_P(FactoryTest, EachCallMakesANewSeparatelyRegisteredBackend) {
    const FactoryCase& row = GetParam();
    std::unique_ptr<ModelImpFtyBase> factory(row.makeFactory());
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);

    ModelImpBase* first = factory->CreateModelImp(cfg);
    ModelImpBase* second = factory->CreateModelImp(cfg);

    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(registeredCount(), 2u);
    EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemSize(), 2 * row.objectSize);
    destroy(first);
    EXPECT_FALSE(registered(first));
    EXPECT_TRUE(registered(second));
    EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemSize(), row.objectSize);
    destroy(second);
}

TEST_P(FactoryTest, BackendOutlivesItsFactory) {
    const FactoryCase& row = GetParam();
    std::unique_ptr<ModelImpFtyBase> factory(row.makeFactory());
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    ModelImpBase* backend = factory->CreateModelImp(cfg);
    ASSERT_NE(backend, nullptr);

    factory.reset();

    EXPECT_TRUE(registered(backend));
    ASSERT_EQ(backend->Init(), 1);
    std::vector<uint8_t> output(kOutputElements);
    EXPECT_EQ(backend->Inference(input_.data(), kInputBytes, output.data()), 1);
    EXPECT_TRUE(errorsAre(capture_, {}));
    destroy(backend);
}

INSTANTIATE_TEST_SUITE_P(BothRuntimes, FactoryTest, testing::ValuesIn(kFactories),
                         [](const testing::TestParamInfo<FactoryCase>& info) {
                             return info.param.label;
                         });

}  // namespace
}  // namespace mtktest
