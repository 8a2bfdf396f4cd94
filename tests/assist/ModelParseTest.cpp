// model_parse: argument checks, the two regions, and the round trip with the packer's inverse.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "AssistTestSupport.h"
#include "Decryption.h"
#include "LogCapture.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes randomBytes(size_t size, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(size);
    for (uint8_t& b : bytes)
        b = static_cast<uint8_t>(random() & 0xff);
    return bytes;
}

// The CBC decryption of `bytes` under the product key, as one stream.
Bytes cbcDecrypt(Bytes bytes) {
    uint8_t key[assist::kModelKeyBytes];
    uint8_t iv[assist::kModelKeyBytes];
    assist::model_key_iv(key, iv);
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, key, iv);
    AES_CBC_decrypt_buffer(&ctx, bytes.data(), static_cast<uint32_t>(bytes.size()));
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
        const auto lines = log.lines();
        ASSERT_EQ(lines.size(), 1u) << c.size;
        EXPECT_EQ(lines[0].priority, ANDROID_LOG_ERROR);
        const std::string expected = std::string("model_parse() ") + c.message;
        EXPECT_EQ(lines[0].text.substr(lines[0].text.size() - expected.size()), expected);
    }
    EXPECT_EQ(output, Bytes(4096, 0xee));
}

TEST(ModelParse, Size2048IsOneCbcStream) {
    const Bytes input = randomBytes(2048, 1);
    Bytes output(2048);
    ASSERT_EQ(assist::model_parse(const_cast<uint8_t*>(input.data()), 2048, output.data()), 0);
    EXPECT_EQ(output, cbcDecrypt(input));
}

TEST(ModelParse, RegionBStartsAtHalfTheSizeRoundedDown) {
    const struct {
        size_t size, regionB;
    } cases[] = {{2049, 1024}, {3000, 1500}, {3001, 1500}, {300 * 1024, 150 * 1024}};
    for (const auto& c : cases) {
        const Bytes input = randomBytes(c.size, static_cast<unsigned>(c.size));
        Bytes output(c.size);
        ASSERT_EQ(assist::model_parse(const_cast<uint8_t*>(input.data()), static_cast<long>(c.size),
                                      output.data()),
                  0);
        Bytes gathered = slice(input, 0, 1024);
        const Bytes b = slice(input, c.regionB, c.regionB + 1024);
        gathered.insert(gathered.end(), b.begin(), b.end());
        const Bytes plain = cbcDecrypt(gathered);
        EXPECT_EQ(slice(output, 0, 1024), slice(plain, 0, 1024)) << c.size;
        EXPECT_EQ(slice(output, c.regionB, c.regionB + 1024), slice(plain, 1024, 2048)) << c.size;
        EXPECT_EQ(slice(output, 1024, c.regionB), slice(input, 1024, c.regionB)) << c.size;
        EXPECT_EQ(slice(output, c.regionB + 1024, c.size), slice(input, c.regionB + 1024, c.size))
            << c.size;
    }
}

TEST(ModelParse, UndoesThePackerByteForByte) {
    for (const size_t size : {2048u, 2049u, 3000u, 65537u}) {
        const Bytes plain = randomBytes(size, 99);
        Bytes encrypted = assisttest::encryptModel(plain);
        EXPECT_NE(encrypted, plain);
        Bytes output(size);
        ASSERT_EQ(assist::model_parse(encrypted.data(), static_cast<long>(size), output.data()), 0);
        EXPECT_EQ(output, plain) << size;
    }
}

TEST(ModelParse, ReportsSuccessAtInfo) {
    assisttest::ScopedLogLevel level(kavo::kLogError | kavo::kLogInfo);
    testsupport::LogCapture log;
    Bytes input(2048, 0), output(2048);
    ASSERT_EQ(assist::model_parse(input.data(), 2048, output.data()), 0);
    const auto lines = log.matching("model_parse() model_sparse success\n");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_INFO);
    EXPECT_EQ(log.errorCount(), 0u);
}

}  // namespace
