// How each backend narrows the raw output tensor to one byte per element, driven through the
// stand-ins' scripted output. NeuroPilot narrows by the tensor's element type (float clamped and
// truncated, uint8 copied, int32 and anything else by low byte, the unknown types with a warning);
// the Neuron backend takes every output as int32 and keeps the low byte. Both ignore a trailing
// part element, and neither writes past the element count.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "BackendFixture.h"
#include "BackendKind.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"

namespace mtktest {
namespace {

struct NarrowingCase {
    const BackendKind& (*kind)();
    const char* label;
    uint32_t type;                  // the output tensor's element type as the runtime reports it
    uint32_t outputBytes;           // the output tensor's byte size
    std::vector<uint8_t> pattern;   // the runtime's output, repeated or cut to outputBytes
    std::vector<uint8_t> expected;  // the caller's output after the frame
    bool warns;                     // NeuroPilot only: the unknown-type warning
};

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();
const auto kNp = neuropilotKind;
const auto kNr = neuronKind;

NarrowingCase narrowing(const BackendKind& (*kind)(), const char* label, uint32_t type,
                        uint32_t outputBytes, std::vector<uint8_t> pattern,
                        std::vector<uint8_t> expected, bool warns = false) {
    return {kind, label, type, outputBytes, std::move(pattern), std::move(expected), warns};
}

const NarrowingCase kCases[] = {
    narrowing(kNp, "FloatClampedAndTruncated", kTypeFloat32, 20,
              floatBytes({-3.5f, 0.7f, 254.9f, 300.0f, kNaN}), {0, 0, 254, 255, 0}),
    narrowing(
        kNp, "FloatEdges", kTypeFloat32, 40,
        floatBytes({255.0f, 0.0f, -0.0f, kInf, -kInf, 1.99f, 128.5f, FLT_MAX, 1e-30f, -1e-30f}),
        {255, 0, 0, 255, 0, 1, 128, 255, 0, 0}),
    narrowing(kNp, "FloatPartElementIgnored", kTypeFloat32, 10, floatBytes({1.5f, 2.5f, 3.5f}),
              {1, 2}),
    narrowing(kNp, "Int32LowByteUnclamped", kTypeInt32, 32,
              int32Bytes({256, -1, 257, 0x12345678, -256, 255, INT32_MIN, INT32_MAX}),
              {0, 255, 1, 0x78, 0, 255, 0, 255}),
    narrowing(kNp, "Int32PartElementIgnored", kTypeInt32, 7, int32Bytes({258, 3}), {2}),
    narrowing(kNp, "Uint8Copied", kTypeUint8, 6, {0, 1, 127, 128, 254, 255},
              {0, 1, 127, 128, 254, 255}),
    narrowing(kNp, "UnknownType9AsInt32", 9, 12, int32Bytes({256, -1, 257}), {0, 255, 1}, true),
    narrowing(kNp, "NoneType0AsInt32", kTypeNone, 8, int32Bytes({513, -2}), {1, 254}, true),
    narrowing(kNr, "Int32LowByteUnclamped", kTypeInt32, 20,
              int32Bytes({257, -1, 256, 0x7FFFFFFF, 1}), {1, 255, 0, 255, 1}),
    narrowing(kNr, "PartElementIgnored", kTypeInt32, 10, int32Bytes({513, 1027, 9}), {1, 3}),
    // The bits of 0.1f are 0x3DCCCCCD and of -3.5f 0xC0600000: no float conversion happens.
    narrowing(kNr, "FloatTensorReadAsInt32", kTypeFloat32, 8, floatBytes({0.1f, -3.5f}),
              {0xCD, 0x00}),
    narrowing(kNr, "Uint8TensorReadAsInt32", kTypeUint8, 8, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 5}),
};

class NarrowingTest : public BackendTest, public testing::WithParamInterface<NarrowingCase> {};

TEST_P(NarrowingTest, WritesOneByteForEachWholeElement) {
    const NarrowingCase& row = GetParam();
    scriptTensor(1, row.outputBytes, row.type);
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    const auto backend = row.kind().make(cfg);
    ASSERT_EQ(backend->Init(), 1);
    row.kind().standin().setOutputPattern(row.pattern);
    const size_t margin = 4;
    std::vector<uint8_t> output(row.expected.size() + margin, kUntouched);
    std::vector<uint8_t> input(kInputBytes, 0);

    ASSERT_EQ(backend->Inference(input.data(), kInputBytes, output.data()), 1);

    EXPECT_EQ(std::vector<uint8_t>(output.begin(), output.begin() + row.expected.size()),
              row.expected);
    EXPECT_EQ(std::vector<uint8_t>(output.begin() + row.expected.size(), output.end()),
              std::vector<uint8_t>(margin, kUntouched))
        << "written past the element count";
    backend->Release();
    size_t warnings = 0;
    for (const testsupport::LogLine& line : capture_.lines())
        warnings += line.priority == ANDROID_LOG_WARN;
    EXPECT_EQ(warnings, row.warns ? 1u : 0u) << dump(capture_);
    const KavoLine warning{ANDROID_LOG_WARN, kNeuropilotFile, "ModelInference",
                           "TFLITE_TENSOR_TYPE_NONE treated as TFLITE_TENSOR_TYPE_INT32"};
    EXPECT_TRUE(loggedTimes(capture_, warning, row.warns ? 1 : 0));
    EXPECT_TRUE(errorsAre(capture_, {}));
}

INSTANTIATE_TEST_SUITE_P(OutputTypes, NarrowingTest, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<NarrowingCase>& info) {
                             return std::string(info.param.kind().label) + "_" + info.param.label;
                         });

}  // namespace
}  // namespace mtktest
