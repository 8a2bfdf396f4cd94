// Digests of masks, frames and model files, so that a test can hold every architecture to one
// recorded value.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace portability {

// 64-bit FNV-1a, written as "0x" and sixteen hex digits.
inline std::string digestOf(const std::vector<uint8_t>& bytes) {
    uint64_t value = 0xcbf29ce484222325ull;
    for (uint8_t byte : bytes)
        value = (value ^ byte) * 0x100000001b3ull;
    char text[19];
    std::snprintf(text, sizeof(text), "0x%016llx", static_cast<unsigned long long>(value));
    return text;
}

}  // namespace portability
