// The packer's side of the partially encrypted model: encipher the two 1024-byte regions that
// assist::model_parse deciphers, and check what the file looks like.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace modelpack {

// Enciphers regions A (offset 0) and B (offset size / 2) of a plain model in place, as one
// AES-128-CBC stream under the product key. The model must hold at least 2048 bytes.
void encryptRegions(uint8_t* model, size_t size);
void encryptModel(std::vector<uint8_t>& model);

// A plain TFLite flatbuffer carries the identifier "TFL3" at offset 4, inside region A; an
// encrypted one almost never does.
bool hasTfliteIdentifier(const std::vector<uint8_t>& model);

}  // namespace modelpack
