// bodyseg-model-pack: encrypt and decrypt round trips, refusals and messages.
#include <gtest/gtest.h>

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
        const std::string name = "model-" + std::to_string(size);
        const Bytes plain = fakeModel(size, static_cast<unsigned>(size));
        toolstest::writeBytes(tempPath(name + ".tflite"), plain);

        const auto encrypt =
            runTool(kPack, {"encrypt", tempPath(name + ".tflite"), tempPath(name + ".enc")});
        ASSERT_EQ(encrypt.exitCode, 0) << encrypt.err;
        EXPECT_EQ(encrypt.err, "");
        Bytes encrypted = readBytes(tempPath(name + ".enc"));
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

        const auto decrypt =
            runTool(kPack, {"decrypt", tempPath(name + ".enc"), tempPath(name + ".dec")});
        ASSERT_EQ(decrypt.exitCode, 0) << decrypt.err;
        EXPECT_EQ(decrypt.err, "");
        EXPECT_EQ(readBytes(tempPath(name + ".dec")), plain) << size;
    }
}

TEST(ModelPackTool, RefusesModelsUnder2048Bytes) {
    toolstest::writeBytes(tempPath("short.tflite"), fakeModel(2047, 1));
    for (const char* command : {"encrypt", "decrypt"}) {
        const auto run = runTool(kPack, {command, tempPath("short.tflite"), tempPath("short.out")});
        EXPECT_EQ(run.exitCode, 1) << command;
        EXPECT_NE(
            run.err.find("short.tflite has 2047 bytes; a model must hold at least 2048 bytes"),
            std::string::npos)
            << run.err;
        EXPECT_TRUE(readBytes(tempPath("short.out")).empty());
    }
}

TEST(ModelPackTool, ReportsUnreadableInputAndUnwritableOutput) {
    const auto missing = runTool(kPack, {"encrypt", tempPath("absent.tflite"), tempPath("x")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.err.find("cannot read " + tempPath("absent.tflite") +
                               ": No such file or directory"),
              std::string::npos)
        << missing.err;

    toolstest::writeBytes(tempPath("ok.tflite"), fakeModel(4096, 2));
    const std::string unwritable = tempPath("no-such-dir/out.enc");
    const auto blocked = runTool(kPack, {"encrypt", tempPath("ok.tflite"), unwritable});
    EXPECT_EQ(blocked.exitCode, 1);
    EXPECT_NE(blocked.err.find("cannot write " + unwritable), std::string::npos) << blocked.err;
}

TEST(ModelPackTool, WarnsWhenTheModelDoesNotLookLikeTflite) {
    toolstest::writeBytes(tempPath("plain.tflite"), fakeModel(4096, 3));
    const auto decrypt =
        runTool(kPack, {"decrypt", tempPath("plain.tflite"), tempPath("garbled.tflite")});
    EXPECT_EQ(decrypt.exitCode, 0);
    EXPECT_NE(decrypt.err.find("was not encrypted with this build's key"), std::string::npos)
        << decrypt.err;

    ASSERT_EQ(runTool(kPack, {"encrypt", tempPath("plain.tflite"), tempPath("once.enc")}).exitCode,
              0);
    const auto twice = runTool(kPack, {"encrypt", tempPath("once.enc"), tempPath("twice.enc")});
    EXPECT_EQ(twice.exitCode, 0);
    EXPECT_NE(twice.err.find("already encrypted?"), std::string::npos) << twice.err;
}

TEST(ModelPackTool, UsageAndHelp) {
    const auto help = runTool(kPack, {"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.out.rfind("usage: bodyseg-model-pack encrypt <plain.tflite> <out>\n", 0), 0u);
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{}, {"encrypt", "only-one"}, {"sign", "a", "b"}}) {
        const auto run = runTool(kPack, args);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_NE(run.err.find("usage: "), std::string::npos);
    }
}

}  // namespace
