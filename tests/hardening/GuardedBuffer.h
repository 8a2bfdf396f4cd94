// Host memory whose edges fault. The frame path reads pixels inside libyuv, which the distribution
// ships without sanitizer instrumentation, so AddressSanitizer alone cannot see an overread there;
// an inaccessible page directly against the buffer catches it in any build, instrumented or not.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hardening {

// Which end of the buffer touches its guard page exactly. Both ends have a guard page, but a
// buffer whose size is not a multiple of the page size can sit flush against only one of them.
enum class FlushEdge { End, Start };

class GuardedBuffer {
  public:
    // `size` bytes, zero-filled, reserved without committing memory, so a frame the host declares
    // as hundreds of megabytes costs only the pages that are touched. A size of 0 gives a pointer
    // to the guard page itself: any read through it faults.
    GuardedBuffer(size_t size, FlushEdge flush);
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    // False when the address space could not be reserved; data() is then null.
    bool ok() const { return data_ != nullptr; }
    uint8_t* data() const { return data_; }
    size_t size() const { return size_; }

    // Makes every byte inaccessible: for frames that must be refused before a pixel is read.
    void seal();

  private:
    void* mapping_ = nullptr;
    size_t mappingBytes_ = 0;
    size_t pageBytes_ = 0;
    uint8_t* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace hardening
