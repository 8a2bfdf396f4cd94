// The AES-128 modes over random keys, IVs and lengths, each buffer exactly as long as the length
// passed (CBC lengths are whole blocks, as the interface demands). Every mode must undo itself,
// leave the chaining value where the interface says, and continue one stream across calls split
// at block boundaries.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "FuzzCheck.h"
#include "aes.h"

namespace {

struct Secret {
    uint8_t key[AES_KEYLEN];
    uint8_t iv[AES_BLOCKLEN];
};

Secret consumeSecret(FuzzedDataProvider& in) {
    Secret s;
    in.ConsumeData(s.key, sizeof(s.key));
    in.ConsumeData(s.iv, sizeof(s.iv));
    return s;
}

// Exactly `bytes.size()` bytes on the heap, so an access past the length is an overflow.
struct ExactBuffer {
    explicit ExactBuffer(const std::vector<uint8_t>& bytes)
        : data(new uint8_t[bytes.empty() ? 1 : bytes.size()]), size(bytes.size()) {
        if (!bytes.empty())
            std::memcpy(data, bytes.data(), bytes.size());
    }
    ~ExactBuffer() { delete[] data; }
    ExactBuffer(const ExactBuffer&) = delete;
    ExactBuffer& operator=(const ExactBuffer&) = delete;
    bool equals(const std::vector<uint8_t>& bytes) const {
        return bytes.size() == size && (size == 0 || std::memcmp(data, bytes.data(), size) == 0);
    }
    uint8_t* data;
    size_t size;
};

void ecb(const Secret& s, const std::vector<uint8_t>& plain) {
    AesCtx ctx;
    AES_init_ctx(&ctx, s.key);
    for (size_t at = 0; at + AES_BLOCKLEN <= plain.size(); at += AES_BLOCKLEN) {
        uint8_t block[AES_BLOCKLEN];
        std::memcpy(block, plain.data() + at, sizeof(block));
        AES_ECB_encrypt(&ctx, block);
        AES_ECB_decrypt(&ctx, block);
        FUZZ_CHECK(std::memcmp(block, plain.data() + at, sizeof(block)) == 0,
                   "ECB block at %zu does not decrypt to itself", at);
    }
}

void cbc(const Secret& s, const std::vector<uint8_t>& plain, size_t split) {
    const uint32_t length = static_cast<uint32_t>(plain.size());
    ExactBuffer whole(plain);
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, s.key, s.iv);
    AES_CBC_encrypt_buffer(&ctx, whole.data, length);
    if (length > 0) {
        FUZZ_CHECK(std::memcmp(ctx.Iv, whole.data + length - AES_BLOCKLEN, AES_BLOCKLEN) == 0,
                   "CBC encrypt of %u bytes: Iv is not the last ciphertext block", length);
    }
    const std::vector<uint8_t> cipher(whole.data, whole.data + length);

    // The same stream in two calls on one context.
    ExactBuffer first(std::vector<uint8_t>(plain.begin(), plain.begin() + split));
    ExactBuffer second(std::vector<uint8_t>(plain.begin() + split, plain.end()));
    AES_ctx_set_iv(&ctx, s.iv);
    AES_CBC_encrypt_buffer(&ctx, first.data, static_cast<uint32_t>(first.size));
    AES_CBC_encrypt_buffer(&ctx, second.data, static_cast<uint32_t>(second.size));
    FUZZ_CHECK(first.equals(std::vector<uint8_t>(cipher.begin(), cipher.begin() + split)) &&
                   second.equals(std::vector<uint8_t>(cipher.begin() + split, cipher.end())),
               "CBC split at %zu of %u differs from one call", split, length);

    AES_ctx_set_iv(&ctx, s.iv);
    AES_CBC_decrypt_buffer(&ctx, whole.data, length);
    FUZZ_CHECK(whole.equals(plain), "CBC of %u bytes does not decrypt to the plain text", length);
    if (length > 0) {
        FUZZ_CHECK(std::memcmp(ctx.Iv, cipher.data() + length - AES_BLOCKLEN, AES_BLOCKLEN) == 0,
                   "CBC decrypt of %u bytes: Iv is not the last ciphertext block", length);
    }
}

void ctr(const Secret& s, const std::vector<uint8_t>& plain, size_t split) {
    const uint32_t length = static_cast<uint32_t>(plain.size());
    ExactBuffer whole(plain);
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, s.key, s.iv);
    AES_CTR_xcrypt_buffer(&ctx, whole.data, length);
    const std::vector<uint8_t> cipher(whole.data, whole.data + length);

    // Calls split at a block boundary continue the stream.
    ExactBuffer first(std::vector<uint8_t>(plain.begin(), plain.begin() + split));
    ExactBuffer second(std::vector<uint8_t>(plain.begin() + split, plain.end()));
    AES_ctx_set_iv(&ctx, s.iv);
    AES_CTR_xcrypt_buffer(&ctx, first.data, static_cast<uint32_t>(first.size));
    AES_CTR_xcrypt_buffer(&ctx, second.data, static_cast<uint32_t>(second.size));
    FUZZ_CHECK(first.equals(std::vector<uint8_t>(cipher.begin(), cipher.begin() + split)) &&
                   second.equals(std::vector<uint8_t>(cipher.begin() + split, cipher.end())),
               "CTR split at %zu of %u differs from one call", split, length);

    AES_ctx_set_iv(&ctx, s.iv);
    AES_CTR_xcrypt_buffer(&ctx, whole.data, length);
    FUZZ_CHECK(whole.equals(plain), "CTR of %u bytes twice does not give the plain text", length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    const Secret secret = consumeSecret(input);
    const uint8_t mode = input.ConsumeIntegralInRange<uint8_t>(0, 2);
    const size_t splitBlocks = input.ConsumeIntegral<uint16_t>();
    std::vector<uint8_t> text = input.ConsumeRemainingBytes<uint8_t>();
    if (mode != 2)
        text.resize(text.size() / AES_BLOCKLEN * AES_BLOCKLEN);
    const size_t split =
        std::min(splitBlocks * AES_BLOCKLEN, text.size() / AES_BLOCKLEN * AES_BLOCKLEN);
    switch (mode) {
        case 0:
            ecb(secret, text);
            break;
        case 1:
            cbc(secret, text, split);
            break;
        default:
            ctr(secret, text, split);
            break;
    }
    return 0;
}
