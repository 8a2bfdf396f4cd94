#include "ModelKey.h"

#include <cstring>

#include "ModelKeyBytes.h"

namespace assist {

void model_key_iv(uint8_t (&key)[kModelKeyBytes], uint8_t (&iv)[kModelKeyBytes]) {
    const uint8_t keyBytes[kModelKeyBytes] = {BODYSEG_MODEL_KEY_BYTES};
    const uint8_t ivBytes[kModelKeyBytes] = {BODYSEG_MODEL_IV_BYTES};
    std::memcpy(key, keyBytes, kModelKeyBytes);
    std::memcpy(iv, ivBytes, kModelKeyBytes);
}

void wipe_secret(void* secret, size_t bytes) {
    volatile uint8_t* p = static_cast<volatile uint8_t*>(secret);
    for (size_t i = 0; i < bytes; ++i)
        p[i] = 0;
}

}  // namespace assist
