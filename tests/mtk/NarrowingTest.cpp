// How each backend narrows the raw output tensor to one byte per element, driven through the
// stand-ins' scripted output. NeuroPilot narrows by the tensor's element type (float clamped and
// truncated, uint8 copied, int32 and anything else by low byte, the unknown types with a warning);
// the Neuron backend takes every output as int32 and keeps the low byte. Both ignore a trailing
// part element, and neither writes past the element count.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "BackendFixture.h"
#include "BodySegNeuron.h"
#include "BodySegNeuropilot.h"
#include "ModelMaterial.h"
#include "MtkLogExpect.h"

namespace mtktest {
namespace {

struct NarrowingCase {
    const char* label;
    uint32_t type;                  // the output tensor's element type as the runtime reports it
    uint32_t outputBytes;           // the output tensor's byte size
    std::vector<uint8_t> pattern;   // the runtime's output, repeated or cut to outputBytes
    std::vector<uint8_t> expected;  // the caller's output after the frame
    bool warns;                     // NeuroPilot only: the unknown-type warning
};

void PrintTo(const NarrowingCase& row, std::ostream* os) {
    *os << row.label;
}

// Runs one frame and checks the bytes written and the bytes left alone.
template <typename Backend>
void expectNarrowed(const testsupport::StandinClient& runtime, const NarrowingCase& row) {
    mtk_ai_type::ModelCfg cfg = makeCfg(BuildPath::kBuffer);
    Backend backend(cfg);
    ASSERT_EQ(backend.Init(), 1);
    runtime.setOutputPattern(row.pattern);
    const size_t margin = 4;
    std::vector<uint8_t> output(row.expected.size() + margin, kUntouched);
    std::vector<uint8_t> input(kInputBytes, 0);

    ASSERT_EQ(backend.Inference(input.data(), kInputBytes, output.data()), 1);

    EXPECT_EQ(std::vector<uint8_t>(output.begin(), output.begin() + row.expected.size()),
              row.expected);
    EXPECT_EQ(std::vector<uint8_t>(output.begin() + row.expected.size(), output.end()),
              std::vector<uint8_t>(margin, kUntouched))
        << "written past the element count";
    backend.Release();
}

size_t warnings(const testsupport::LogCapture& log) {
    size_t count = 0;
    for (const testsupport::LogLine& line : log.lines())
        count += line.priority == ANDROID_LOG_WARN;
    return count;
}

std::string caseName(const testing::TestParamInfo<NarrowingCase>& info) {
    return info.param.label;
}

// ---------------------------------------------------------------------------------------------

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

const NarrowingCase kNeuropilotCases[] = {
    {"FloatClampedAndTruncated",
     kTypeFloat32,
     20,
     floatBytes({-3.5f, 0.7f, 254.9f, 300.0f, kNaN}),
     {0, 0, 254, 255, 0},
     false},
    {"FloatEdges",
     kTypeFloat32,
     40,
     floatBytes({255.0f, 0.0f, -0.0f, kInf, -kInf, 1.99f, 128.5f, FLT_MAX, 1e-30f, -1e-30f}),
     {255, 0, 0, 255, 0, 1, 128, 255, 0, 0},
     false},
    {"FloatPartElementIgnored", kTypeFloat32, 10, floatBytes({1.5f, 2.5f, 3.5f}), {1, 2}, false},
    {"Int32LowByteUnclamped",
     kTypeInt32,
     32,
     int32Bytes({256, -1, 257, 0x12345678, -256, 255, INT32_MIN, INT32_MAX}),
     {0, 255, 1, 0x78, 0, 255, 0, 255},
     false},
    {"Int32PartElementIgnored", kTypeInt32, 7, int32Bytes({258, 3}), {2}, false},
    {"Uint8Copied", kTypeUint8, 6, {0, 1, 127, 128, 254, 255}, {0, 1, 127, 128, 254, 255}, false},
    {"UnknownType9AsInt32", 9, 12, int32Bytes({256, -1, 257}), {0, 255, 1}, true},
    {"NoneType0AsInt32", kTypeNone, 8, int32Bytes({513, -2}), {1, 254}, true},
};

class NeuropilotNarrowingTest : public BackendTest,
                                public testing::WithParamInterface<NarrowingCase> {};

TEST_P(NeuropilotNarrowingTest, NarrowsByTheOutputType) {
    const NarrowingCase& row = GetParam();
    scriptTensor(1, row.outputBytes, row.type);

    expectNarrowed<bodysegment::BodySegNeuropilot>(tfliteStandin(), row);

    const KavoLine warning{ANDROID_LOG_WARN, kNeuropilotFile, "ModelInference",
                           "TFLITE_TENSOR_TYPE_NONE treated as TFLITE_TENSOR_TYPE_INT32"};
    if (row.warns) {
        EXPECT_TRUE(loggedOnce(capture_, warning));
        EXPECT_EQ(warnings(capture_), 1u);
    } else {
        EXPECT_EQ(warnings(capture_), 0u) << dump(capture_);
    }
    EXPECT_TRUE(errorsAre(capture_, {}));
}

INSTANTIATE_TEST_SUITE_P(OutputTypes, NeuropilotNarrowingTest, testing::ValuesIn(kNeuropilotCases),
                         caseName);

// ---------------------------------------------------------------------------------------------

const NarrowingCase kNeuronCases[] = {
    {"Int32LowByteUnclamped",
     kTypeInt32,
     20,
     int32Bytes({257, -1, 256, 0x7FFFFFFF, 1}),
     {1, 255, 0, 255, 1},
     false},
    {"PartElementIgnored", kTypeInt32, 10, int32Bytes({513, 1027, 9}), {1, 3}, false},
    // The bits of 0.1f are 0x3DCCCCCD and of -3.5f 0xC0600000: no float conversion happens.
    {"FloatTensorReadAsInt32", kTypeFloat32, 8, floatBytes({0.1f, -3.5f}), {0xCD, 0x00}, false},
    {"Uint8TensorReadAsInt32", kTypeUint8, 8, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 5}, false},
};

class NeuronNarrowingTest : public BackendTest,
                            public testing::WithParamInterface<NarrowingCase> {};

TEST_P(NeuronNarrowingTest, KeepsTheLowByteOfEach32BitElement) {
    const NarrowingCase& row = GetParam();
    scriptTensor(1, row.outputBytes, row.type);

    expectNarrowed<bodysegment::BodySegNeuron>(neuronStandin(), row);

    EXPECT_EQ(warnings(capture_), 0u) << dump(capture_);
    EXPECT_TRUE(errorsAre(capture_, {}));
}

INSTANTIATE_TEST_SUITE_P(OutputTypes, NeuronNarrowingTest, testing::ValuesIn(kNeuronCases),
                         caseName);

}  // namespace
}  // namespace mtktest
