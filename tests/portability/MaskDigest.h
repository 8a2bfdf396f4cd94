// Digests of masks, and the name of the architecture a test program was built for, so that a
// test can hold the masks of each architecture to one recorded value.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace portability {

#if defined(__x86_64__)
constexpr const char* kArchitecture = "x86-64";
#elif defined(__aarch64__)
constexpr const char* kArchitecture = "aarch64";
#elif defined(__arm__)
constexpr const char* kArchitecture = "armhf";
#else
constexpr const char* kArchitecture = "unrecorded";
#endif

// 64-bit FNV-1a over every byte added, in order, written as "0x" and sixteen hex digits the way
// the tests record the expected values.
class Digest {
  public:
    void add(const uint8_t* bytes, size_t size) {
        for (size_t i = 0; i < size; ++i) {
            value_ ^= bytes[i];
            value_ *= 0x100000001b3ull;
        }
    }
    std::string hex() const {
        char text[19];
        std::snprintf(text, sizeof(text), "0x%016llx", static_cast<unsigned long long>(value_));
        return text;
    }

  private:
    uint64_t value_ = 0xcbf29ce484222325ull;
};

inline std::string digestOf(const uint8_t* bytes, size_t size) {
    Digest digest;
    digest.add(bytes, size);
    return digest.hex();
}

inline std::string digestOf(const std::vector<uint8_t>& bytes) {
    return digestOf(bytes.data(), bytes.size());
}

}  // namespace portability
