// Digests of masks, and the name of the architecture a test program was built for, so that a
// test can hold the masks of each architecture to one recorded value.
#pragma once

#include <cstdint>
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

// 64-bit FNV-1a over every byte added, in order.
class Digest {
  public:
    void add(const uint8_t* bytes, size_t size);
    void add(const std::vector<uint8_t>& bytes) { add(bytes.data(), bytes.size()); }
    uint64_t value() const { return value_; }

  private:
    uint64_t value_ = 0xcbf29ce484222325ull;
};

uint64_t digestOf(const std::vector<uint8_t>& bytes);

// "0x" and sixteen hex digits, as the expected values are written in the tests.
std::string hex(uint64_t value);

}  // namespace portability
