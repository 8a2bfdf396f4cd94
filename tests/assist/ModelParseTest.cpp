// model_parse: argument checks, and which bytes it deciphers.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "Decryption.h"
#include "LogCapture.h"
#include "LogExpect.h"
#include "LogLevelScope.h"
#include "ModelKey.h"
#include "aes.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes randomBytes(size_t size) {
    std::mt19937 random(static_cast<unsigned>(size));
    Bytes bytes(size);
    for (uint8_t& b : bytes)
        b = static_cast<uint8_t>(random() & 0xff);
    return bytes;
}

Bytes slice(const Bytes& bytes, size_t from, size_t to) {
    return Bytes(bytes.begin() + static_cast<long>(from), bytes.begin() + static_cast<long>(to));
}

TEST(ModelParse, RejectsShortSizesBeforeNullPointers) {
    Bytes input(4096, 0x11);
    Bytes output(4096, 0xee);
    const struct {
        void* input;
        long size;
        void* output;
        const char* message;
    } cases[] = {
        {input.data(), 2047, output.data(), "send wrong value to model_sparse\n"},
        {input.data(), -1, output.data(), "send wrong value to model_sparse\n"},
        {input.data(), 1000, nullptr, "send wrong value to model_sparse\n"},
        {nullptr, 2048, output.data(), "send nullptr to model_sparse\n"},
        {input.data(), 2048, nullptr, "send nullptr to model_sparse\n"},
    };
    for (const auto& c : cases) {
        testsupport::LogCapture log;
        EXPECT_EQ(assist::model_parse(c.input, c.size, c.output), -1) << c.size;
        EXPECT_TRUE(testsupport::onlyLine(log, ANDROID_LOG_ERROR, "model_parse", c.message));
    }
    EXPECT_EQ(output, Bytes(4096, 0xee));
}

// Regions A (offset 0) and B (offset N / 2, rounded down) are one CBC stream under the product
// key; every other byte is copied as it is.
TEST(ModelParse, DeciphersRegionsAAndBAsOneStream) {
    uint8_t key[assist::kModelKeyBytes];
    uint8_t iv[assist::kModelKeyBytes];
    assist::model_key_iv(key, iv);
    for (const size_t size : {2048u, 2049u, 3000u, 3001u, 300u * 1024}) {
        const size_t b = size / 2;
        const Bytes input = randomBytes(size);
        Bytes output(size);
        testsupport::LogLevelScope level(kavo::kLogError | kavo::kLogInfo);
        testsupport::LogCapture log;
        ASSERT_EQ(assist::model_parse(const_cast<uint8_t*>(input.data()), static_cast<long>(size),
                                      output.data()),
                  0);
        EXPECT_TRUE(
            testsupport::onlyLine(log, ANDROID_LOG_INFO, "model_parse", "model_sparse success\n"));

        Bytes plain = slice(input, 0, 1024);
        const Bytes regionB = slice(input, b, b + 1024);
        plain.insert(plain.end(), regionB.begin(), regionB.end());
        AesCtx ctx;
        AES_init_ctx_iv(&ctx, key, iv);
        AES_CBC_decrypt_buffer(&ctx, plain.data(), static_cast<uint32_t>(plain.size()));
        EXPECT_EQ(slice(output, 0, 1024), slice(plain, 0, 1024)) << size;
        EXPECT_EQ(slice(output, b, b + 1024), slice(plain, 1024, 2048)) << size;
        EXPECT_EQ(slice(output, 1024, b), slice(input, 1024, b)) << size;
        EXPECT_EQ(slice(output, b + 1024, size), slice(input, b + 1024, size)) << size;
    }
}

}  // namespace
