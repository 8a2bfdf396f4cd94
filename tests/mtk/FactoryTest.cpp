// The two factories: each CreateModelImp makes a new backend of the factory's class, registered
// with the memory accounting under the factory's source; the factory keeps nothing, so deleting
// it leaves its backends alive and working.
#include <android/log.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ALGOGalloc.h"
#include "BackendFixture.h"
#include "BackendKind.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"

namespace mtktest {
namespace {

using bodysegment::ModelImpBase;
using bodysegment::ModelImpFtyBase;

size_t firstIndexOf(const testsupport::LogCapture& log, const KavoLine& expected) {
    const std::vector<testsupport::LogLine> lines = log.lines();
    for (size_t i = 0; i < lines.size(); ++i) {
        if (matches(lines[i], expected))
            return i;
    }
    return lines.size();
}

class FactoryTest : public BackendTest, public testing::WithParamInterface<const BackendKind*> {
  protected:
    // How a handle frees a backend it got from a factory.
    static void destroy(ModelImpBase* backend) {
        backend->Release();
        KAVO_UNTRACK(backend);
        delete backend;
    }
};

TEST_P(FactoryTest, EachCallMakesANewRegisteredBackendOfItsClassThatOutlivesTheFactory) {
    const BackendKind& kind = *GetParam();
    std::unique_ptr<ModelImpFtyBase> factory(kind.makeFactory());
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kFile);
    capture_.clear();

    ModelImpBase* first = factory->CreateModelImp(cfg);

    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(kind.isOwnClass(first));
    ASSERT_TRUE(registered(first));
    const kavo::AlgoMemInfo record = recordOf(first);
    EXPECT_EQ(record.size, kind.objectSize);
    EXPECT_EQ(record.flag, 0);
    EXPECT_EQ(kavo::LogPrintf::baseName(record.file.c_str()), std::string(kFactoryFile));
    EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemSize(), kind.objectSize);
    const KavoLine constructed{ANDROID_LOG_INFO, kind.file, kind.className, "Construct"};
    const KavoLine created{ANDROID_LOG_INFO, kFactoryFile, "CreateModelImp",
                           std::string("new bodysegment::") + kind.className + " success"};
    EXPECT_TRUE(loggedTimes(capture_, constructed, 1));
    EXPECT_TRUE(loggedTimes(capture_, created, 1));
    EXPECT_LT(firstIndexOf(capture_, constructed), firstIndexOf(capture_, created))
        << "the success line came before the backend existed" << dump(capture_);

    ModelImpBase* second = factory->CreateModelImp(cfg);

    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(registeredCount(), 2u);
    EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemSize(), 2 * kind.objectSize);
    destroy(first);
    EXPECT_FALSE(registered(first));
    EXPECT_TRUE(registered(second));
    EXPECT_EQ(kavo::AlgorithmMemory::getInternalMemSize(), kind.objectSize);

    factory.reset();

    EXPECT_TRUE(registered(second));
    ASSERT_EQ(second->Init(), 1);
    std::vector<uint8_t> output(kOutputElements);
    EXPECT_EQ(second->Inference(input_.data(), kInputBytes, output.data()), 1);
    EXPECT_TRUE(errorsAre(capture_, {}));
    destroy(second);
}

INSTANTIATE_TEST_SUITE_P(BothRuntimes, FactoryTest, testing::ValuesIn(bothKinds()),
                         [](const testing::TestParamInfo<const BackendKind*>& info) {
                             return info.param->label;
                         });

}  // namespace
}  // namespace mtktest
