// AES-128 against the published vectors of FIPS-197 (appendix C.1) and NIST SP 800-38A (F.2, F.5),
// plus the chaining rules of CBC and CTR across calls.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "aes.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes hex(const std::string& text) {
    Bytes out;
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        out.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return out;
}

Bytes ivOf(const AesCtx& ctx) {
    return Bytes(ctx.Iv, ctx.Iv + AES_BLOCKLEN);
}

const Bytes kSp800Key = hex("2b7e151628aed2a6abf7158809cf4f3c");
const Bytes kSp800Plain =
    hex("6bc1bee22e409f96e93d7e117393172a"
        "ae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52ef"
        "f69f2445df4f9b17ad2b417be66c3710");
const Bytes kCbcIv = hex("000102030405060708090a0b0c0d0e0f");
const Bytes kCbcCipher =
    hex("7649abac8119b246cee98e9b12e9197d"
        "5086cb9b507219ee95db113a917678b2"
        "73bed6b8e3c1743b7116e69e22229516"
        "3ff1caa1681fac09120eca307586e1a7");
const Bytes kCtrCounter = hex("f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff");
const Bytes kCtrCipher =
    hex("874d6191b620e3261bef6864990db6ce"
        "9806f66b7970fdff8617187bb9fffdff"
        "5ae4df3edbd5d35e5b4f09020db03eab"
        "1e031dda2fbe03d1792170a0f3009cee");

TEST(Aes, Fips197AppendixC1EncryptsAndDecryptsOneBlock) {
    AesCtx ctx;
    AES_init_ctx(&ctx, hex("000102030405060708090a0b0c0d0e0f").data());
    Bytes block = hex("00112233445566778899aabbccddeeff");
    AES_ECB_encrypt(&ctx, block.data());
    EXPECT_EQ(block, hex("69c4e0d86a7b0430d8cdb78070b4c55a"));
    AES_ECB_decrypt(&ctx, block.data());
    EXPECT_EQ(block, hex("00112233445566778899aabbccddeeff"));
}

TEST(Aes, KeyScheduleEndsWithThePublishedLastRoundKey) {
    // FIPS-197 appendix A.1: w[40..43] for the key 2b7e1516...
    AesCtx ctx;
    AES_init_ctx(&ctx, kSp800Key.data());
    EXPECT_EQ(Bytes(ctx.RoundKey + 160, ctx.RoundKey + 176),
              hex("d014f9a8c9ee2589e13f0cc8b6630ca6"));
}

TEST(Aes, Sp800_38aCbcEncryptF21AndDecryptF22) {
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, kSp800Key.data(), kCbcIv.data());
    Bytes buf = kSp800Plain;
    AES_CBC_encrypt_buffer(&ctx, buf.data(), static_cast<uint32_t>(buf.size()));
    EXPECT_EQ(buf, kCbcCipher);
    EXPECT_EQ(ivOf(ctx), Bytes(kCbcCipher.end() - 16, kCbcCipher.end()));

    AES_ctx_set_iv(&ctx, kCbcIv.data());
    AES_CBC_decrypt_buffer(&ctx, buf.data(), static_cast<uint32_t>(buf.size()));
    EXPECT_EQ(buf, kSp800Plain);
    EXPECT_EQ(ivOf(ctx), Bytes(kCbcCipher.end() - 16, kCbcCipher.end()));
}

TEST(Aes, CbcContinuesOneStreamAcrossCalls) {
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, kSp800Key.data(), kCbcIv.data());
    Bytes buf = kSp800Plain;
    AES_CBC_encrypt_buffer(&ctx, buf.data(), 16);
    AES_CBC_encrypt_buffer(&ctx, buf.data() + 16, 48);
    EXPECT_EQ(buf, kCbcCipher);

    AES_ctx_set_iv(&ctx, kCbcIv.data());
    AES_CBC_decrypt_buffer(&ctx, buf.data(), 32);
    AES_CBC_decrypt_buffer(&ctx, buf.data() + 32, 32);
    EXPECT_EQ(buf, kSp800Plain);
}

TEST(Aes, CbcOfLengthZeroChangesNothing) {
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, kSp800Key.data(), kCbcIv.data());
    uint8_t untouched = 0x5a;
    AES_CBC_encrypt_buffer(&ctx, &untouched, 0);
    AES_CBC_decrypt_buffer(&ctx, &untouched, 0);
    EXPECT_EQ(untouched, 0x5a);
    EXPECT_EQ(ivOf(ctx), kCbcIv);
}

TEST(Aes, Sp800_38aCtrEncryptF51AndDecryptF52) {
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, kSp800Key.data(), kCtrCounter.data());
    Bytes buf = kSp800Plain;
    AES_CTR_xcrypt_buffer(&ctx, buf.data(), static_cast<uint32_t>(buf.size()));
    EXPECT_EQ(buf, kCtrCipher);
    EXPECT_EQ(ivOf(ctx), hex("f0f1f2f3f4f5f6f7f8f9fafbfcfdff03"));

    AES_ctx_set_iv(&ctx, kCtrCounter.data());
    AES_CTR_xcrypt_buffer(&ctx, buf.data(), static_cast<uint32_t>(buf.size()));
    EXPECT_EQ(buf, kSp800Plain);
}

// The keystream of a 20-byte CTR run, taken in the given call lengths.
Bytes ctrInCalls(std::initializer_list<uint32_t> lengths) {
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, kSp800Key.data(), kCtrCounter.data());
    Bytes buf(20, 0);
    uint32_t offset = 0;
    for (uint32_t length : lengths) {
        AES_CTR_xcrypt_buffer(&ctx, buf.data() + offset, length);
        offset += length;
    }
    return buf;
}

TEST(Aes, CtrDropsTheRestOfAKeystreamBlockAtTheEndOfACall) {
    EXPECT_EQ(ctrInCalls({16, 4}), ctrInCalls({20}));
    EXPECT_NE(ctrInCalls({4, 16}), ctrInCalls({20}));
    // After a 4-byte call the next call starts on a fresh block, the one 20 bytes in one call
    // reach at byte 16.
    const Bytes split = ctrInCalls({4, 16});
    const Bytes whole = ctrInCalls({20});
    EXPECT_EQ(Bytes(split.begin() + 4, split.begin() + 8), Bytes(whole.begin() + 16, whole.end()));
}

TEST(Aes, CtrCounterWrapsFromAllOnesToZero) {
    AesCtx ctx;
    const Bytes allOnes(16, 0xff);
    AES_init_ctx_iv(&ctx, kSp800Key.data(), allOnes.data());
    Bytes buf(16, 0);
    AES_CTR_xcrypt_buffer(&ctx, buf.data(), 16);
    EXPECT_EQ(ivOf(ctx), Bytes(16, 0x00));

    Bytes expected = allOnes;
    AES_ECB_encrypt(&ctx, expected.data());
    EXPECT_EQ(buf, expected);
}

}  // namespace
