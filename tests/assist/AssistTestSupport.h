// Helpers shared by the assist tests (and the end-to-end host): temporary files and the packer's
// inverse of model_parse.
#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "Decryption.h"
#include "ModelKey.h"
#include "PluginPaths.h"
#include "aes.h"

namespace assisttest {

inline std::string writeTempFile(const std::string& name, const std::string& bytes) {
    const std::string path = testsupport::tempDir() + "/" + name;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    return path;
}

// What the model packer does: encipher regions A (offset 0) and B (offset N / 2) as one stream.
inline std::vector<uint8_t> encryptModel(std::vector<uint8_t> model) {
    const size_t half = model.size() / 2;
    uint8_t regions[assist::kMinEncryptedModelBytes];
    std::memcpy(regions, model.data(), assist::kEncryptedRegionBytes);
    std::memcpy(regions + assist::kEncryptedRegionBytes, model.data() + half,
                assist::kEncryptedRegionBytes);
    uint8_t key[assist::kModelKeyBytes];
    uint8_t iv[assist::kModelKeyBytes];
    assist::model_key_iv(key, iv);
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, key, iv);
    AES_CBC_encrypt_buffer(&ctx, regions, sizeof(regions));
    std::memcpy(model.data(), regions, assist::kEncryptedRegionBytes);
    std::memcpy(model.data() + half, regions + assist::kEncryptedRegionBytes,
                assist::kEncryptedRegionBytes);
    return model;
}

}  // namespace assisttest
