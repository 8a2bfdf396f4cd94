#include "Decryption.h"

#include <cstring>

#include "LogPrintf.h"
#include "ModelKey.h"
#include "aes.h"

namespace assist {

int32_t model_parse(void* input, long size, void* output) {
    if (size < kMinEncryptedModelBytes) {
        KAVO_LOGE("send wrong value to model_sparse\n");
        return -1;
    }
    if (input == nullptr || output == nullptr) {
        KAVO_LOGE("send nullptr to model_sparse\n");
        return -1;
    }
    const uint8_t* in = static_cast<const uint8_t*>(input);
    uint8_t* out = static_cast<uint8_t*>(output);
    const long half = size / 2;
    std::memcpy(out, in, static_cast<size_t>(size));

    uint8_t regions[kMinEncryptedModelBytes];
    std::memcpy(regions, in, kEncryptedRegionBytes);
    std::memcpy(regions + kEncryptedRegionBytes, in + half, kEncryptedRegionBytes);

    uint8_t key[kModelKeyBytes];
    uint8_t iv[kModelKeyBytes];
    model_key_iv(key, iv);
    AesCtx ctx;
    AES_init_ctx_iv(&ctx, key, iv);
    AES_CBC_decrypt_buffer(&ctx, regions, sizeof(regions));
    wipe_secret(key, sizeof(key));
    wipe_secret(iv, sizeof(iv));
    wipe_secret(&ctx, sizeof(ctx));

    std::memcpy(out, regions, kEncryptedRegionBytes);
    std::memcpy(out + half, regions + kEncryptedRegionBytes, kEncryptedRegionBytes);
    KAVO_LOGI("model_sparse success\n");
    return 0;
}

}  // namespace assist
