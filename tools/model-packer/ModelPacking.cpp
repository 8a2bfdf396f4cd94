#include "ModelPacking.h"

#include <cstring>

#include "Decryption.h"
#include "ModelKey.h"
#include "aes.h"

namespace modelpack {

void encryptRegions(uint8_t* model, size_t size) {
    uint8_t* regionA = model;
    uint8_t* regionB = model + size / 2;
    uint8_t regions[assist::kMinEncryptedModelBytes];
    std::memcpy(regions, regionA, assist::kEncryptedRegionBytes);
    std::memcpy(regions + assist::kEncryptedRegionBytes, regionB, assist::kEncryptedRegionBytes);

    uint8_t key[assist::kModelKeyBytes];
    uint8_t iv[assist::kModelKeyBytes];
    assist::model_key_iv(key, iv);
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, key, iv);
    AES_CBC_encrypt_buffer(&ctx, regions, sizeof(regions));
    assist::wipe_secret(key, sizeof(key));
    assist::wipe_secret(iv, sizeof(iv));
    assist::wipe_secret(&ctx, sizeof(ctx));

    std::memcpy(regionA, regions, assist::kEncryptedRegionBytes);
    std::memcpy(regionB, regions + assist::kEncryptedRegionBytes, assist::kEncryptedRegionBytes);
}

void encryptModel(std::vector<uint8_t>& model) {
    encryptRegions(model.data(), model.size());
}

bool hasTfliteIdentifier(const std::vector<uint8_t>& model) {
    return model.size() >= 8 && std::memcmp(model.data() + 4, "TFL3", 4) == 0;
}

}  // namespace modelpack
