#include "MaskDigest.h"

#include <cstdio>

namespace portability {

void Digest::add(const uint8_t* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        value_ ^= bytes[i];
        value_ *= 0x100000001b3ull;
    }
}

uint64_t digestOf(const std::vector<uint8_t>& bytes) {
    Digest digest;
    digest.add(bytes);
    return digest.value();
}

std::string hex(uint64_t value) {
    char text[19];
    std::snprintf(text, sizeof(text), "0x%016llx", static_cast<unsigned long long>(value));
    return text;
}

}  // namespace portability
