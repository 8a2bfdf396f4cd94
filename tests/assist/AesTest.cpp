// AES-128 against the published vectors of FIPS-197 (appendices A.1, C.1) and NIST SP 800-38A
// (F.2, F.5), plus the chaining rules of CBC and CTR across calls.
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "aes.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Mode = void (*)(AesCtx*, uint8_t*, uint32_t);

Bytes hex(const std::string& text) {
    Bytes out;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return out;
}

const Bytes kSp800Key = hex("2b7e151628aed2a6abf7158809cf4f3c");
const Bytes kSp800Plain =
    hex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
const Bytes kCbcIv = hex("000102030405060708090a0b0c0d0e0f");
const Bytes kCbcCipher =
    hex("7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
        "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7");
const Bytes kCtrCounter = hex("f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff");
const Bytes kCtrCipher =
    hex("874d6191b620e3261bef6864990db6ce9806f66b7970fdff8617187bb9fffdff"
        "5ae4df3edbd5d35e5b4f09020db03eab1e031dda2fbe03d1792170a0f3009cee");

// Runs `mode` over `buf` under the SP 800-38A key in calls of the given lengths (the rest of the
// buffer in the last call when they fall short); `ivAfter` receives the context's final Iv.
Bytes run(Mode mode, const Bytes& iv, Bytes buf, std::initializer_list<uint32_t> calls = {},
          Bytes* ivAfter = nullptr) {
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, kSp800Key.data(), iv.data());
    uint32_t offset = 0;
    for (uint32_t length : calls) {
        mode(&ctx, buf.data() + offset, length);
        offset += length;
    }
    mode(&ctx, buf.data() + offset, static_cast<uint32_t>(buf.size()) - offset);
    if (ivAfter != nullptr)
        *ivAfter = Bytes(ctx.Iv, ctx.Iv + AES_BLOCKLEN);
    return buf;
}

TEST(Aes, Fips197KeyScheduleAndOneBlock) {
    AesCtx ctx;
    AES_init_ctx(&ctx, kSp800Key.data());
    // A.1: the last round key, w[40..43], at the end of the context's schedule.
    EXPECT_EQ(Bytes(ctx.RoundKey + 160, ctx.RoundKey + 176),
              hex("d014f9a8c9ee2589e13f0cc8b6630ca6"));

    // C.1: one block under the key 000102..0f.
    AES_init_ctx(&ctx, hex("000102030405060708090a0b0c0d0e0f").data());
    Bytes block = hex("00112233445566778899aabbccddeeff");
    AES_ECB_encrypt(&ctx, block.data());
    EXPECT_EQ(block, hex("69c4e0d86a7b0430d8cdb78070b4c55a"));
    AES_ECB_decrypt(&ctx, block.data());
    EXPECT_EQ(block, hex("00112233445566778899aabbccddeeff"));
}

// Iv ends as the last ciphertext block, so split calls (an empty one too) continue one stream.
TEST(Aes, Sp800_38aCbcInOneCallOrSeveral) {
    const Bytes lastBlock(kCbcCipher.end() - 16, kCbcCipher.end());
    Bytes iv;
    EXPECT_EQ(run(AES_CBC_encrypt_buffer, kCbcIv, kSp800Plain, {}, &iv), kCbcCipher);
    EXPECT_EQ(iv, lastBlock);
    EXPECT_EQ(run(AES_CBC_decrypt_buffer, kCbcIv, kCbcCipher, {}, &iv), kSp800Plain);
    EXPECT_EQ(iv, lastBlock);
    EXPECT_EQ(run(AES_CBC_encrypt_buffer, kCbcIv, kSp800Plain, {16, 0, 32}), kCbcCipher);
    EXPECT_EQ(run(AES_CBC_decrypt_buffer, kCbcIv, kCbcCipher, {32, 0}), kSp800Plain);
}

TEST(Aes, Sp800_38aCtrEncryptsAndDecryptsAlike) {
    Bytes iv;
    EXPECT_EQ(run(AES_CTR_xcrypt_buffer, kCtrCounter, kSp800Plain, {}, &iv), kCtrCipher);
    EXPECT_EQ(iv, hex("f0f1f2f3f4f5f6f7f8f9fafbfcfdff03"));
    EXPECT_EQ(run(AES_CTR_xcrypt_buffer, kCtrCounter, kCtrCipher, {16, 32}), kSp800Plain);
}

TEST(Aes, CtrDropsTheRestOfAKeystreamBlockAtTheEndOfACall) {
    const Bytes whole = run(AES_CTR_xcrypt_buffer, kCtrCounter, Bytes(20, 0));
    EXPECT_EQ(run(AES_CTR_xcrypt_buffer, kCtrCounter, Bytes(20, 0), {16}), whole);
    // After a 4-byte call the next call starts on a fresh block, the one a single call reaches
    // at byte 16.
    const Bytes split = run(AES_CTR_xcrypt_buffer, kCtrCounter, Bytes(20, 0), {4});
    EXPECT_EQ(Bytes(split.begin(), split.begin() + 4), Bytes(whole.begin(), whole.begin() + 4));
    EXPECT_EQ(Bytes(split.begin() + 4, split.begin() + 8), Bytes(whole.begin() + 16, whole.end()));
}

TEST(Aes, CtrCounterWrapsFromAllOnesToZero) {
    const Bytes allOnes(16, 0xff);
    Bytes iv;
    const Bytes keystream = run(AES_CTR_xcrypt_buffer, allOnes, Bytes(16, 0), {}, &iv);
    EXPECT_EQ(iv, Bytes(16, 0x00));
    AesCtx ctx;
    AES_init_ctx(&ctx, kSp800Key.data());
    Bytes expected = allOnes;
    AES_ECB_encrypt(&ctx, expected.data());
    EXPECT_EQ(keystream, expected);
}

}  // namespace
