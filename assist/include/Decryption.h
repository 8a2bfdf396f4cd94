// Deciphers a partially encrypted TFLite model.
//
// Of a model of N bytes (N >= 2048) only two 1024-byte regions are enciphered: A at offset 0 and
// B at offset N / 2. Their concatenation is one AES-128-CBC stream of 2048 bytes under the
// product key and IV; everything else is plain. There is no integrity check: a wrong key yields
// garbage in the two regions, not an error.
#pragma once

#include <cstdint>

namespace assist {

constexpr long kEncryptedRegionBytes = 1024;
constexpr long kMinEncryptedModelBytes = 2 * kEncryptedRegionBytes;

// Writes the plain model of `size` bytes to `output` (caller-owned, at least `size` bytes, not
// overlapping `input`). 0 on success; -1 with one ERROR line for a size under 2048 (tested before
// the pointers) or a null pointer, leaving `output` untouched. Allocates nothing.
int32_t model_parse(void* input, long size, void* output);

}  // namespace assist
