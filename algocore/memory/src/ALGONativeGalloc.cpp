#include "ALGONativeGalloc.h"

#include <sys/mman.h>

#include <cstdlib>

#include "ALGOGalloc.h"
#include "LogPrintf.h"

namespace kavo {

namespace {

bool tracing() {
    return AlgorithmMemory::sDebugEnable != 0;
}

// Entry flags of the registry's records.
constexpr int kOwnedBlock = 0;
constexpr int kAttachedBuffer = 1;

void track(void* p, uint32_t size, const char* file, int line) {
    AlgorithmMemory::nativeMemAdd(AlgorithmMemory::mapInsert(p, size, kOwnedBlock, file, line));
}

void untrack(void* p, const char* file, int line) {
    AlgorithmMemory::nativeMemDec(AlgorithmMemory::mapDelete(p, file, line));
}

}  // namespace

void Native::create(void* p, uint32_t size, const char* file, int line) {
    if (p == nullptr)
        KAVO_LOGE("Native new error! Source File: %s, Line Num: %d", file, line);
    // The registry tests tracing and refuses a null pointer itself.
    track(p, size, file, line);
}

void* Native::malloc(uint32_t size, const char* file, int line) {
    void* const p = ::malloc(size);
    if (!tracing())
        return p;
    if (p != nullptr) {
        track(p, size, file, line);
    } else {
        KAVO_LOGE("Native malloc error! Source File: %s, Line Num: %d", file, line);
    }
    return p;
}

void* Native::calloc(uint32_t count, uint32_t size, const char* file, int line) {
    void* const p = ::calloc(count, size);
    if (!tracing())
        return p;
    if (p != nullptr) {
        track(p, count * size, file, line);
    } else {
        KAVO_LOGE("Native calloc error!, Source File: %s, Line Num: %d", file, line);
    }
    return p;
}

void* Native::realloc(void* old, uint32_t size, const char* file, int line) {
    if (!tracing())
        return ::realloc(old, size);
    // Unregistered before the platform call: once realloc returns, another thread may be handed
    // the old address and must be able to register it.
    if (old != nullptr)
        untrack(old, file, line);
    void* const p = ::realloc(old, size);
    if (p != nullptr) {
        track(p, size, file, line);
    } else {
        KAVO_LOGE("Native calloc error!, Source File: %s, Line Num: %d", file, line);
    }
    return p;
}

void Native::free(void* p, const char* file, int line) {
    if (p == nullptr)
        return;
    if (tracing())
        untrack(p, file, line);
    ::free(p);
}

void* Native::mmap(void* addr, uint32_t length, int prot, int flags, int fd, long offset,
                   const char* file, int line) {
    void* const p = ::mmap(addr, length, prot, flags, fd, offset);
    if (!tracing())
        return p;
    // Tested against null, not MAP_FAILED: callers test the result against MAP_FAILED themselves.
    if (p != nullptr) {
        track(p, length, file, line);
    } else {
        KAVO_LOGE("Native mmap error!, Source File: %s, Line Num:%d", file, line);
    }
    return p;
}

int Native::munmap(void* p, uint32_t length, const char* file, int line) {
    if (tracing())
        untrack(p, file, line);
    return ::munmap(p, length);
}

void* Native::attach(void* p, uint32_t size, const char* file, int line) {
    if (!tracing())
        return p;
    if (p != nullptr) {
        AlgorithmMemory::externalMemAdd(
            AlgorithmMemory::mapInsert(p, size, kAttachedBuffer, file, line));
    } else {
        KAVO_LOGE("Native malloc error! Source File: %s, Line Num: %d", file, line);
    }
    return p;
}

void Native::detach(void* p, const char* file, int line) {
    if (tracing())
        AlgorithmMemory::externalMemDec(AlgorithmMemory::mapDelete(p, file, line));
}

void* Native::get(void* base, uint32_t offset, uint32_t elementSize, uint32_t accessSize,
                  const char* file, int line) {
    // Integer arithmetic: a null or foreign base must not make the address computation undefined.
    void* const element =
        reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(base) + offset * elementSize);
    if (!tracing())
        return element;
    return AlgorithmMemory::mapCheck(base, offset, elementSize, accessSize, file, line) != 0
               ? element
               : nullptr;
}

}  // namespace kavo
