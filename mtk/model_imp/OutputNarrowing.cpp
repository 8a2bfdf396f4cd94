#include "OutputNarrowing.h"

#include <cstring>

namespace bodysegment {

void narrowFloat32(const unsigned char* src, uint32_t bytes, unsigned char* dst) {
    const uint32_t count = bytes / 4;
    for (uint32_t i = 0; i < count; ++i) {
        float value;
        std::memcpy(&value, src + 4 * i, sizeof(value));
        // NaN fails both comparisons of the clamp; converting it would be undefined, and the label
        // it stands for is background.
        if (value > 255.0f)
            value = 255.0f;
        dst[i] = value >= 0.0f ? static_cast<unsigned char>(static_cast<uint32_t>(value)) : 0;
    }
}

void narrowInt32LowByte(const unsigned char* src, uint32_t bytes, unsigned char* dst) {
    const uint32_t count = bytes / 4;
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t value;
        std::memcpy(&value, src + 4 * i, sizeof(value));
        dst[i] = static_cast<unsigned char>(value & 0xFFu);
    }
}

}  // namespace bodysegment
