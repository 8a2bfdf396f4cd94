// kavo::Native: the allocation front end the plug-in uses instead of bare malloc/calloc/realloc/
// free/mmap/munmap. Each call does the real work and, while tracing is on, registers or
// unregisters the block with the caller's source file and line (the last two arguments of every
// operation). Allocation failures come back as null after one ERROR line; nothing throws.
#pragma once

#include <cstdint>

namespace kavo {

class Native {
  public:
    Native() = delete;

    // Registers an object the caller made with `new`; released with KAVO_UNTRACK, then `delete`.
    static void create(void* p, uint32_t size, const char* file, int line);
    static void* malloc(uint32_t size, const char* file, int line);
    static void* calloc(uint32_t count, uint32_t size, const char* file, int line);
    static void* realloc(void* old, uint32_t size, const char* file, int line);
    static void free(void* p, const char* file, int line);
    static void* mmap(void* addr, uint32_t length, int prot, int flags, int fd, long offset,
                      const char* file, int line);
    static int munmap(void* p, uint32_t length, const char* file, int line);
    // Registers a buffer the plug-in does not own (external counter); nothing is freed later.
    static void* attach(void* p, uint32_t size, const char* file, int line);
    static void detach(void* p, const char* file, int line);
    // base + offset * elementSize when that access of accessSize bytes lies inside the tracked
    // block `base`, else null.
    static void* get(void* base, uint32_t offset, uint32_t elementSize, uint32_t accessSize,
                     const char* file, int line);
};

}  // namespace kavo
