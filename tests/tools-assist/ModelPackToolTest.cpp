// bodyseg-model-pack: encrypt and decrypt round trips, refusals and messages.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>

#include "Decryption.h"
#include "ToolRunner.h"

namespace {

using toolstest::readBytes;
using toolstest::runTool;
using toolstest::tempPath;
using Bytes = std::vector<uint8_t>;

const char* const kPack = "bodyseg-model-pack";

// Random bytes behind a TFLite-like head: root offset, then the identifier "TFL3".
Bytes fakeModel(size_t size, unsigned seed) {
    std::mt19937 random(seed);
    Bytes model(size);
    for (uint8_t& b : model)
        b = static_cast<uint8_t>(random() & 0xff);
    const uint8_t head[8] = {0x1c, 0x00, 0x00, 0x00, 'T', 'F', 'L', '3'};
    std::copy(head, head + 8, model.begin());
    return model;
}

TEST(ModelPackTool, EncryptThenDecryptIsByteIdentical) {
    for (const size_t size : {2048u, 2049u, 3000u, 300u * 1024u + 17u}) {
        const std::string name = tempPath("model-" + std::to_string(size));
        const Bytes plain = fakeModel(size, static_cast<unsigned>(size));
        toolstest::writeBytes(name + ".tflite", plain);

        const auto encrypt = runTool(kPack, {"encrypt", name + ".tflite", name + ".enc"});
        ASSERT_EQ(encrypt.exitCode, 0) << encrypt.err;
        EXPECT_EQ(encrypt.err, "");
        Bytes encrypted = readBytes(name + ".enc");
        ASSERT_EQ(encrypted.size(), size);
        // Only the two regions change.
        const size_t half = size / 2;
        EXPECT_NE(Bytes(encrypted.begin(), encrypted.begin() + 1024),
                  Bytes(plain.begin(), plain.begin() + 1024));
        EXPECT_TRUE(
            std::equal(encrypted.begin() + 1024, encrypted.begin() + half, plain.begin() + 1024));
        EXPECT_TRUE(std::equal(encrypted.begin() + half + 1024, encrypted.end(),
                               plain.begin() + half + 1024));

        // The library itself reads what the tool wrote.
        Bytes inProcess(size);
        ASSERT_EQ(assist::model_parse(encrypted.data(), static_cast<long>(size), inProcess.data()),
                  0);
        EXPECT_EQ(inProcess, plain) << size;

        const auto decrypt = runTool(kPack, {"decrypt", name + ".enc", name + ".dec"});
        ASSERT_EQ(decrypt.exitCode, 0) << decrypt.err;
        EXPECT_EQ(decrypt.err, "");
        EXPECT_EQ(readBytes(name + ".dec"), plain) << size;
    }
}

TEST(ModelPackTool, RefusesAndWarnsWithItsMessages) {
    const std::string shortModel = tempPath("short.tflite");
    const std::string plain = tempPath("plain.tflite");
    const std::string once = tempPath("once.enc");
    const std::string out = tempPath("pack.out");
    toolstest::writeBytes(shortModel, fakeModel(2047, 1));
    toolstest::writeBytes(plain, fakeModel(4096, 3));
    ASSERT_EQ(runTool(kPack, {"encrypt", plain, once}).exitCode, 0);
    // Refusals write nothing; the warnings about a model that does not look right still write it.
    const auto expectRun = [&](const std::string& command, const std::string& in, int exitCode,
                               const std::string& err) {
        std::remove(out.c_str());
        const auto run = runTool(kPack, {command, in, out});
        EXPECT_EQ(run.exitCode, exitCode) << command << " " << in;
        EXPECT_EQ(run.err, "bodyseg-model-pack: " + err);
        EXPECT_EQ(readBytes(out).empty(), exitCode != 0) << command << " " << in;
    };
    const std::string tooShort = " has 2047 bytes; a model must hold at least 2048 bytes\n";
    expectRun("encrypt", shortModel, 1, shortModel + tooShort);
    expectRun("decrypt", shortModel, 1, shortModel + tooShort);
    const std::string absent = tempPath("absent.tflite");
    expectRun("encrypt", absent, 1, "cannot read " + absent + ": No such file or directory\n");
    expectRun("decrypt", plain, 0,
              "warning: the result has no TFLite identifier \"TFL3\" at offset 4: " + plain +
                  " was not encrypted with this build's key, or is not a TFLite model\n");
    expectRun("encrypt", once, 0,
              "warning: " + once +
                  " has no TFLite identifier \"TFL3\" at offset 4 (already encrypted?); "
                  "encrypting it anyway\n");

    const std::string unwritable = tempPath("no-such-dir/out.enc");
    const auto blocked = runTool(kPack, {"encrypt", plain, unwritable});
    EXPECT_EQ(blocked.exitCode, 1);
    EXPECT_EQ(blocked.err,
              "bodyseg-model-pack: cannot write " + unwritable + ": No such file or directory\n");
}

TEST(ModelPackTool, UsageAndHelp) {
    const auto help = runTool(kPack, {"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.out.rfind("usage: bodyseg-model-pack encrypt <plain.tflite> <out>\n", 0), 0u);
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{}, {"encrypt", "only-one"}, {"sign", "a", "b"}}) {
        const auto run = runTool(kPack, args);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_EQ(run.err, help.out);
    }
}

}  // namespace
