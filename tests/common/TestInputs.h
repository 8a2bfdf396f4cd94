// Inputs every area's tests hand to the plug-in, the backends or the tools: configuration files,
// model bytes (plain and partially encrypted as the model packer writes them) and files in the
// test program's temporary directory.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

// A configuration whose root "AISDK" is `aisdk` ("Neuropilot" or "NeuronRuntime") with one group
// per runtime, "Decrption" as given; `platform` goes into the root and both groups.
std::string configJson(const std::string& aisdk, bool decrypt = true,
                       const std::string& platform = "MTK");

// `size` pseudo-random bytes with the TFLite identifier at offset 4.
std::vector<uint8_t> plainModel(size_t size = 8192);
// `plain` with its two regions enciphered, as the model packer stores it.
std::vector<uint8_t> encryptedModel(const std::vector<uint8_t>& plain);

// Writes `bytes` as `name` in the test program's temporary directory; returns the path.
std::string writeTempFile(const std::string& name, const std::string& bytes);
std::string writeTempFile(const std::string& name, const std::vector<uint8_t>& bytes);
std::vector<uint8_t> readFileBytes(const std::string& path);

}  // namespace testsupport
