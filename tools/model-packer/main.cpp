// bodyseg-model-pack: turns a plain TFLite model into the partially encrypted file the plug-in
// reads when its configuration sets "Decrption", and back. The key and IV are the ones this build
// was configured with (BODYSEG_MODEL_KEY_HEX / BODYSEG_MODEL_IV_HEX).
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Decryption.h"
#include "ModelPacking.h"

namespace {

constexpr const char* kTool = "bodyseg-model-pack";
constexpr int kFailure = 1;
constexpr int kUsageError = 2;

void printUsage(FILE* to) {
    std::fprintf(
        to,
        "usage: %s encrypt <plain.tflite> <out>\n"
        "       %s decrypt <encrypted> <out>\n"
        "\n"
        "encrypt  enciphers the 1024-byte regions at offset 0 and at half the file size\n"
        "         (AES-128-CBC, one stream) as the plug-in expects with \"Decrption\": true\n"
        "decrypt  writes the plain model back, exactly as the plug-in deciphers it\n"
        "\n"
        "Models must hold at least %ld bytes. The key and IV are those this build was\n"
        "configured with (BODYSEG_MODEL_KEY_HEX, BODYSEG_MODEL_IV_HEX).\n",
        kTool, kTool, assist::kMinEncryptedModelBytes);
}

bool readFile(const std::string& path, std::vector<uint8_t>& bytes) {
    FILE* in = std::fopen(path.c_str(), "rb");
    bool failed = in == nullptr;
    if (in != nullptr) {
        uint8_t chunk[1 << 16];
        size_t got;
        while ((got = std::fread(chunk, 1, sizeof(chunk), in)) > 0) {
            bytes.insert(bytes.end(), chunk, chunk + got);
        }
        failed = std::ferror(in) != 0;
        std::fclose(in);
    }
    if (failed) {
        std::fprintf(stderr, "%s: cannot read %s: %s\n", kTool, path.c_str(), std::strerror(errno));
    }
    return !failed;
}

bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    FILE* out = std::fopen(path.c_str(), "wb");
    bool failed = out == nullptr;
    if (out != nullptr) {
        failed = std::fwrite(bytes.data(), 1, bytes.size(), out) != bytes.size();
        failed = std::fclose(out) != 0 || failed;
    }
    if (failed) {
        std::fprintf(stderr, "%s: cannot write %s: %s\n", kTool, path.c_str(),
                     std::strerror(errno));
    }
    return !failed;
}

// The plug-in takes the model size as a signed 32-bit length of at least two regions.
bool checkSize(const std::string& path, const std::vector<uint8_t>& model) {
    if (model.size() < static_cast<size_t>(assist::kMinEncryptedModelBytes)) {
        std::fprintf(stderr, "%s: %s has %zu bytes; a model must hold at least %ld bytes\n", kTool,
                     path.c_str(), model.size(), assist::kMinEncryptedModelBytes);
        return false;
    }
    if (model.size() > static_cast<size_t>(INT32_MAX)) {
        std::fprintf(stderr, "%s: %s has %zu bytes; the plug-in takes at most %d bytes\n", kTool,
                     path.c_str(), model.size(), INT32_MAX);
        return false;
    }
    return true;
}

int encrypt(const std::string& inPath, const std::string& outPath) {
    std::vector<uint8_t> model;
    if (!readFile(inPath, model) || !checkSize(inPath, model))
        return kFailure;
    if (!modelpack::hasTfliteIdentifier(model)) {
        std::fprintf(stderr,
                     "%s: warning: %s has no TFLite identifier \"TFL3\" at offset 4 (already "
                     "encrypted?); encrypting it anyway\n",
                     kTool, inPath.c_str());
    }
    modelpack::encryptModel(model);
    return writeFile(outPath, model) ? 0 : kFailure;
}

int decrypt(const std::string& inPath, const std::string& outPath) {
    std::vector<uint8_t> encrypted;
    if (!readFile(inPath, encrypted) || !checkSize(inPath, encrypted))
        return kFailure;
    std::vector<uint8_t> plain(encrypted.size());
    if (assist::model_parse(encrypted.data(), static_cast<long>(encrypted.size()), plain.data()) !=
        0) {
        std::fprintf(stderr, "%s: cannot decrypt %s\n", kTool, inPath.c_str());
        return kFailure;
    }
    if (!modelpack::hasTfliteIdentifier(plain)) {
        std::fprintf(stderr,
                     "%s: warning: the result has no TFLite identifier \"TFL3\" at offset 4: %s "
                     "was not encrypted with this build's key, or is not a TFLite model\n",
                     kTool, inPath.c_str());
    }
    return writeFile(outPath, plain) ? 0 : kFailure;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "--help" || command == "-h") {
        printUsage(stdout);
        return 0;
    }
    if (argc != 4 || (command != "encrypt" && command != "decrypt")) {
        printUsage(stderr);
        return kUsageError;
    }
    return command == "encrypt" ? encrypt(argv[2], argv[3]) : decrypt(argv[2], argv[3]);
}
