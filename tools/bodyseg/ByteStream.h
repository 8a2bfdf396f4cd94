// A file written front to back as its bytes come, so that a long sequence's outputs never sit in
// memory whole. Every failure names the file.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include <string>

namespace bodyseg {

class ByteStream {
  public:
    ByteStream() = default;
    ~ByteStream();
    ByteStream(const ByteStream&) = delete;
    ByteStream& operator=(const ByteStream&) = delete;

    bool open(const std::string& path, std::string* error);
    bool write(const void* bytes, size_t size, std::string* error);
    bool write(const std::string& text, std::string* error) {
        return write(text.data(), text.size(), error);
    }
    // Reports what buffered writes could not flush.
    bool close(std::string* error);

  private:
    bool fail(std::string* error);

    FILE* file_ = nullptr;
    std::string path_;
};

}  // namespace bodyseg
