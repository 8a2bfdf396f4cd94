// The product's model key and IV, for model_parse and the model packer only; never exported.
// They are compiled in from BODYSEG_MODEL_KEY_HEX / BODYSEG_MODEL_IV_HEX and exist only in the
// caller's stack arrays while a model is being processed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace assist {

constexpr size_t kModelKeyBytes = 16;

void model_key_iv(uint8_t (&key)[kModelKeyBytes], uint8_t (&iv)[kModelKeyBytes]);

// Clears a secret in a way the compiler may not drop as a dead store.
void wipe_secret(void* secret, size_t bytes);

}  // namespace assist
