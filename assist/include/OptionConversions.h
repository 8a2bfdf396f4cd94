// Turn the option words of the model configuration into the numbers the two runtimes expect.
// Every converter compares the word with its vocabulary in table order (exact bytes, case
// matters) and returns the first match. An unknown word silently yields the option's default;
// where the default equals the last entry's value that entry is never compared, so the two are
// indistinguishable on purpose.
#pragma once

#include <cstdint>
#include <string>

namespace assist {

namespace NeuropilotParseParam {
// NP_ACCELERATION_CPU 0, NP_ACCELERATION_NNAPI 1, anything else 2 (NEURON).
int32_t String2AccelerationMode(const std::string& word);
// The matching vocabulary entry's own text, or "none"; valid for the life of the library.
const char* String2AcceleratorName(const std::string& word);
// kUndefined -1, kLowPower 0, kFastSingleAnswer 1, anything else 2 (kSustainedSpeed).
int32_t String2ExecutionPreference(const std::string& word);
}  // namespace NeuropilotParseParam

namespace NeuronRuntimeParseParam {
// kEnvOptNullDevice 1, kEnvOptCModelDevice 2, anything else 4 (kEnvOptHardware).
uint32_t String2DeviceKind(const std::string& word);
// Auto 0, Single 1, Dual 2, anything else 1.
uint32_t String2MDLACoreOption(const std::string& word);
// NEURONRUNTIME_PREFER_PERFORMANCE 0, anything else 1 (POWER).
int32_t String2RuntimeAPIQoSPreference(const std::string& word);
// LOW 0, MED 1, HIGH 2, anything else 1.
uint32_t String2RuntimeAPIQoSPriority(const std::string& word);
// PROFILED 101, MAX 100, MIN 0, anything else 100; always fits the runtime's 8-bit field.
uint32_t String2RuntimeAPIQoSBoostValue(const std::string& word);
}  // namespace NeuronRuntimeParseParam

namespace GeneralParseParam {
// Neuropilot 0, NeuronRuntime 1, anything else 0.
uint32_t String2AISDKTD(const std::string& word);
// true 1, false 0, anything else 1.
uint32_t String2Decrption(const std::string& word);
}  // namespace GeneralParseParam

}  // namespace assist
