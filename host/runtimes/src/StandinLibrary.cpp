#include "StandinLibrary.h"

#include <android/log.h>

#include <cstdarg>
#include <cstdio>

namespace standin {

void logError(const char* format, ...) {
    va_list args;
    va_start(args, format);
    __android_log_vprint(ANDROID_LOG_ERROR, logTag(), format, args);
    va_end(args);
}

bool readFile(const char* path, std::vector<uint8_t>* bytes) {
    if (path == nullptr)
        return false;
    FILE* file = std::fopen(path, "rb");
    if (file == nullptr)
        return false;
    bytes->clear();
    uint8_t chunk[1 << 16];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof(chunk), file)) > 0) {
        bytes->insert(bytes->end(), chunk, chunk + got);
    }
    const bool ok = std::ferror(file) == 0;
    std::fclose(file);
    return ok;
}

}  // namespace standin
