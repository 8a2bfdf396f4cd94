#include "ByteStream.h"

#include <cerrno>
#include <cstring>

namespace bodyseg {

ByteStream::~ByteStream() {
    if (file_ != nullptr)
        std::fclose(file_);
}

bool ByteStream::open(const std::string& path, std::string* error) {
    path_ = path;
    file_ = std::fopen(path.c_str(), "wb");
    return file_ != nullptr || fail(error);
}

bool ByteStream::write(const void* bytes, size_t size, std::string* error) {
    return std::fwrite(bytes, 1, size, file_) == size || fail(error);
}

bool ByteStream::close(std::string* error) {
    FILE* file = file_;
    file_ = nullptr;
    return file == nullptr || std::fclose(file) == 0 || fail(error);
}

bool ByteStream::fail(std::string* error) {
    *error = "cannot write " + path_ + ": " + std::strerror(errno);
    return false;
}

}  // namespace bodyseg
