// assist::model_parse with any size and any bytes. A size under 2048 (negative ones included) or a
// null pointer must be refused without touching either buffer (both are sealed); any other call
// must succeed, copy every byte outside the two enciphered regions unchanged, and be undone
// exactly by the model packer's procedure (the two regions enciphered again as one CBC stream).
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "CapturedLog.h"
#include "Decryption.h"
#include "FuzzCheck.h"
#include "GuardedBuffer.h"
#include "ModelPacking.h"

namespace {

using hardening::FlushEdge;
using hardening::GuardedBuffer;

constexpr long kRegion = assist::kEncryptedRegionBytes;

bool inRegion(long offset, long size) {
    return offset < kRegion || (offset >= size / 2 && offset < size / 2 + kRegion);
}

// Sizes that cannot be a model, and pointers that cannot be followed: refused, nothing touched.
void expectRefusal(FuzzedDataProvider& in) {
    const long size = in.ConsumeBool() ? in.ConsumeIntegralInRange<long>(-4096, 2047)
                                       : in.ConsumeIntegral<long>();
    const bool nullInput = in.ConsumeBool();
    const bool nullOutput = in.ConsumeBool();
    const bool refusable = size < assist::kMinEncryptedModelBytes || nullInput || nullOutput;
    if (!refusable)
        return;
    GuardedBuffer input(0, FlushEdge::End);
    GuardedBuffer output(0, FlushEdge::End);
    fuzzsupport::clearLog();
    const int32_t result = assist::model_parse(nullInput ? nullptr : input.data(), size,
                                               nullOutput ? nullptr : output.data());
    FUZZ_CHECK(result == -1, "size %ld, input %s, output %s gave %d", size,
               nullInput ? "null" : "set", nullOutput ? "null" : "set", result);
    const char* expected = size < assist::kMinEncryptedModelBytes
                               ? "send wrong value to model_sparse"
                               : "send nullptr to model_sparse";
    const auto& lines = fuzzsupport::errorLines();
    FUZZ_CHECK(lines.size() == 1 && lines[0].find(expected) != std::string::npos,
               "size %ld: %zu ERROR lines, expected one with '%s'", size, lines.size(), expected);
}

// A real model: the remaining bytes, in a buffer of exactly their size.
void expectRoundTrip(FuzzedDataProvider& in) {
    const std::vector<uint8_t> bytes = in.ConsumeRemainingBytes<uint8_t>();
    const long size = static_cast<long>(bytes.size());
    if (size < assist::kMinEncryptedModelBytes)
        return;
    GuardedBuffer input(bytes.size(), FlushEdge::End);
    GuardedBuffer output(bytes.size(), FlushEdge::End);
    std::memcpy(input.data(), bytes.data(), bytes.size());
    fuzzsupport::clearLog();
    FUZZ_CHECK(assist::model_parse(input.data(), size, output.data()) == 0, "size %ld refused",
               size);
    FUZZ_CHECK(fuzzsupport::errorLines().empty(), "a success wrote an ERROR line");
    FUZZ_CHECK(std::memcmp(input.data(), bytes.data(), bytes.size()) == 0, "input changed");
    for (long i = 0; i < size; ++i) {
        FUZZ_CHECK(inRegion(i, size) || output.data()[i] == bytes[static_cast<size_t>(i)],
                   "plain byte %ld of %ld changed", i, size);
    }
    modelpack::encryptRegions(output.data(), bytes.size());
    FUZZ_CHECK(std::memcmp(output.data(), bytes.data(), bytes.size()) == 0,
               "enciphering the output does not give the input back (size %ld)", size);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzsupport::captureLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    expectRefusal(input);
    expectRoundTrip(input);
    return 0;
}
