// The ground of the in-process backend tests: both stand-in vendor runtimes loaded before any
// backend binds its vendor functions (binding happens once per process and is never retried),
// reset before each test to small scripted tensors; memory tracing on, and a check after each test
// that it gave back every tracked block and every vendor object it made.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "MemoryTestSupport.h"
#include "StandinClient.h"

namespace mtktest {

const testsupport::StandinClient& tfliteStandin();
const testsupport::StandinClient& neuronStandin();

// Tensors of every test unless it scripts others: a 24-byte uint8 input, an 8-element int32 output.
constexpr uint32_t kInputBytes = 24;
constexpr uint32_t kOutputBytes = 32;
constexpr uint32_t kOutputElements = kOutputBytes / 4;
// What a backend must leave alone in the caller's output.
constexpr uint8_t kUntouched = 0xAA;

// TFLite tensor type codes as the stand-in reports them.
constexpr uint32_t kTypeNone = 0;
constexpr uint32_t kTypeFloat32 = 1;
constexpr uint32_t kTypeUint8 = 2;
constexpr uint32_t kTypeInt32 = 3;

class BackendTest : public algocoretest::TracedRegistryTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Both stand-ins get `byteSize`/`type` for tensor `direction` of the models made from now on.
    static void scriptTensor(uint32_t direction, uint32_t byteSize, uint32_t type);

    // The calls `client` counted for each of `symbols`, in order.
    static std::vector<int> callCounts(const testsupport::StandinClient& client,
                                       const std::vector<std::string>& symbols);

    // kInputBytes of a pattern with no two equal neighbours.
    std::vector<uint8_t> input_;

  private:
    int64_t liveOptions_ = 0;
    int64_t liveInterpreters_ = 0;
    int64_t liveRuntimes_ = 0;
};

// The bytes of `values` as the runtime lays them out.
template <typename Value>
std::vector<uint8_t> bytesOf(const std::vector<Value>& values) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(values.data());
    return std::vector<uint8_t>(bytes, bytes + values.size() * sizeof(Value));
}
inline std::vector<uint8_t> floatBytes(const std::vector<float>& values) {
    return bytesOf(values);
}
inline std::vector<uint8_t> int32Bytes(const std::vector<int32_t>& values) {
    return bytesOf(values);
}

}  // namespace mtktest
