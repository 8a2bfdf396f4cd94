// AES-128 with a plain C interface: key schedule, one-block ECB, and in-place CBC and CTR over a
// caller-owned context. The plug-in exports these names unmangled; they allocate nothing and log
// nothing, and they check nothing either: the caller passes valid pointers.
#pragma once

#include <stdint.h>

#include "KavoExport.h"

#ifdef __cplusplus
extern "C" {
#endif

#define AES_BLOCKLEN 16
#define AES_KEYLEN 16
#define AES_KEYEXPSIZE 176

struct AesCtx {
    uint8_t RoundKey[AES_KEYEXPSIZE];  // 11 round keys; round key r at bytes 16r .. 16r+15
    uint8_t Iv[AES_BLOCKLEN];          // CBC chaining value, or the big-endian CTR counter
};

// Expands `key` (16 bytes) into the context; Iv is left as it was.
KAVO_EXPORT void AES_init_ctx(struct AesCtx* ctx, const uint8_t* key);
KAVO_EXPORT void AES_init_ctx_iv(struct AesCtx* ctx, const uint8_t* key, const uint8_t* iv);
KAVO_EXPORT void AES_ctx_set_iv(struct AesCtx* ctx, const uint8_t* iv);

// One 16-byte block, in place.
KAVO_EXPORT void AES_ECB_encrypt(const struct AesCtx* ctx, uint8_t* buf);
KAVO_EXPORT void AES_ECB_decrypt(const struct AesCtx* ctx, uint8_t* buf);

// In place over whole blocks; `length` must be a multiple of 16 (a trailing partial block is
// treated as a whole one and touches up to 15 bytes past the end). Iv ends as the last ciphertext
// block, so consecutive calls continue one stream.
KAVO_EXPORT void AES_CBC_encrypt_buffer(struct AesCtx* ctx, uint8_t* buf, uint32_t length);
KAVO_EXPORT void AES_CBC_decrypt_buffer(struct AesCtx* ctx, uint8_t* buf, uint32_t length);

// Encrypts and decrypts alike, any length. Iv ends as the next unused counter value; the unused
// rest of the last keystream block is dropped, so only splits at multiples of 16 continue a stream.
KAVO_EXPORT void AES_CTR_xcrypt_buffer(struct AesCtx* ctx, uint8_t* buf, uint32_t length);

#ifdef __cplusplus
}
#endif
