// AES-128 against the published vectors of FIPS-197 (A.1, C.1) and NIST SP 800-38A (F.2, F.5),
// the chaining rules of CBC and CTR across calls, and model_parse: its refusals, and the packer's
// model deciphered under the configured key back to the plain bytes.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Decryption.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "LogLevelScope.h"
#include "TestInputs.h"
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

const std::string kKey = "2b7e151628aed2a6abf7158809cf4f3c";
const std::string kPlain =
    "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710";
const std::string kCbcCipher =
    "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
    "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7";
const std::string kCtrCipher =
    "874d6191b620e3261bef6864990db6ce9806f66b7970fdff8617187bb9fffdff"
    "5ae4df3edbd5d35e5b4f09020db03eab1e031dda2fbe03d1792170a0f3009cee";
const std::string kCbcIv = "000102030405060708090a0b0c0d0e0f";
const std::string kCtrIv = "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";

void ecbEncrypt(AesCtx* ctx, uint8_t* buf, uint32_t) {
    AES_ECB_encrypt(ctx, buf);
}
void ecbDecrypt(AesCtx* ctx, uint8_t* buf, uint32_t) {
    AES_ECB_decrypt(ctx, buf);
}

// Iv ends as the last ciphertext block (CBC) or the next counter (CTR), so calls split at block
// boundaries (an empty one too) continue one stream; CTR drops the rest of a partial block.
TEST(Aes, PublishedVectorsInOneCallOrSeveral) {
    const std::string ones(32, 'f'), zeros(32, '0');
    // FIPS-197 C.1: one block under the key 000102..0f.
    const std::string c1Plain = "00112233445566778899aabbccddeeff";
    const std::string c1Cipher = "69c4e0d86a7b0430d8cdb78070b4c55a";
    // After a 4-byte call the next starts on a fresh block, the second block's keystream.
    const std::string cut = kPlain.substr(0, 8) + kPlain.substr(32, 32);
    const std::string cutCipher = kCtrCipher.substr(0, 8) + kCtrCipher.substr(32, 32);
    // The keystream at counter all-ones is that block enciphered; the counter then wraps.
    const std::string onesCipher = "8af2860142f786f409307c1a3f7eaaac";
    const std::string ctrIvAfter = "f0f1f2f3f4f5f6f7f8f9fafbfcfdff03";
    const struct {
        Mode mode;
        std::string key, iv, in, out, ivAfter;
        std::vector<uint32_t> calls;  // lengths of the first calls; the last takes the rest
    } cases[] = {
        {AES_CBC_encrypt_buffer, kKey, kCbcIv, kPlain, kCbcCipher, kCbcCipher.substr(96), {}},
        {AES_CBC_decrypt_buffer, kKey, kCbcIv, kCbcCipher, kPlain, kCbcCipher.substr(96), {}},
        {AES_CBC_encrypt_buffer, kKey, kCbcIv, kPlain, kCbcCipher, "", {16, 0, 32}},
        {AES_CBC_decrypt_buffer, kKey, kCbcIv, kCbcCipher, kPlain, "", {32, 0}},
        {AES_CTR_xcrypt_buffer, kKey, kCtrIv, kPlain, kCtrCipher, ctrIvAfter, {}},
        {AES_CTR_xcrypt_buffer, kKey, kCtrIv, kCtrCipher, kPlain, "", {16, 32}},
        {AES_CTR_xcrypt_buffer, kKey, kCtrIv, cut, cutCipher, "", {4}},
        {AES_CTR_xcrypt_buffer, kKey, ones, zeros, onesCipher, zeros, {}},
        {ecbEncrypt, kCbcIv, zeros, c1Plain, c1Cipher, "", {}},
        {ecbDecrypt, kCbcIv, zeros, c1Cipher, c1Plain, "", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        AesCtx ctx;
        AES_init_ctx(&ctx, hex(c.key).data());
        AES_ctx_set_iv(&ctx, hex(c.iv).data());
        Bytes buf = hex(c.in);
        uint32_t offset = 0;
        for (uint32_t length : c.calls) {
            c.mode(&ctx, buf.data() + offset, length);
            offset += length;
        }
        c.mode(&ctx, buf.data() + offset, static_cast<uint32_t>(buf.size()) - offset);
        EXPECT_EQ(buf, hex(c.out));
        if (!c.ivAfter.empty()) {
            EXPECT_EQ(Bytes(ctx.Iv, ctx.Iv + AES_BLOCKLEN), hex(c.ivAfter));
        }
    }
}

TEST(ModelParse, RefusesShortSizesBeforeNullPointers) {
    Bytes input(4096, 0x11);
    Bytes output(4096, 0xee);
    const struct {
        void* input;
        long size;
        void* output;
        const char* message;
    } cases[] = {{input.data(), 2047, output.data(), "send wrong value to model_sparse\n"},
                 {input.data(), -1, output.data(), "send wrong value to model_sparse\n"},
                 {input.data(), 1000, nullptr, "send wrong value to model_sparse\n"},
                 {nullptr, 2048, output.data(), "send nullptr to model_sparse\n"},
                 {input.data(), 2048, nullptr, "send nullptr to model_sparse\n"}};
    for (const auto& c : cases) {
        testsupport::LogCapture log;
        EXPECT_EQ(assist::model_parse(c.input, c.size, c.output), -1) << c.size;
        EXPECT_TRUE(testsupport::onlyLine(log, ANDROID_LOG_ERROR, "model_parse", c.message));
    }
    EXPECT_EQ(output, Bytes(4096, 0xee));
}

// Regions A (offset 0) and B (offset N / 2, rounded down) are one CBC stream under the configured
// key and IV; every other byte is copied as it is.
TEST(ModelParse, DeciphersThePackersRegionsUnderTheConfiguredKey) {
    for (const size_t size : {2048u, 2049u, 3001u, 300u * 1024}) {
        const Bytes plain = testsupport::plainModel(size);
        const Bytes stored = testsupport::encryptedModel(plain);
        const size_t b = size / 2;
        Bytes regions(stored.begin(), stored.begin() + 1024);
        regions.insert(regions.end(), stored.begin() + b, stored.begin() + b + 1024);
        AesCtx ctx;
        AES_init_ctx_iv(&ctx, hex(BODYSEG_MODEL_KEY_HEX).data(), hex(BODYSEG_MODEL_IV_HEX).data());
        AES_CBC_decrypt_buffer(&ctx, regions.data(), 2048);
        EXPECT_EQ(Bytes(regions.begin(), regions.begin() + 1024),
                  Bytes(plain.begin(), plain.begin() + 1024));
        EXPECT_EQ(Bytes(regions.begin() + 1024, regions.end()),
                  Bytes(plain.begin() + b, plain.begin() + b + 1024));

        Bytes output(size);
        testsupport::LogLevelScope level(kavo::kLogError | kavo::kLogInfo);
        testsupport::LogCapture log;
        ASSERT_EQ(assist::model_parse(const_cast<uint8_t*>(stored.data()), static_cast<long>(size),
                                      output.data()),
                  0);
        EXPECT_TRUE(
            testsupport::onlyLine(log, ANDROID_LOG_INFO, "model_parse", "model_sparse success\n"));
        EXPECT_EQ(output, plain) << size;
    }
}

}  // namespace
