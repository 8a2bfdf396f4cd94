#include "MallocCounter.h"

#include <atomic>
#include <cstddef>

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
}

namespace {

std::atomic<bool> gCounting{false};
std::atomic<long> gBlocks{0};

void noteBlock() {
    if (gCounting.load(std::memory_order_relaxed))
        gBlocks.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

// glibc's own allocator does the work; free stays glibc's, which takes these blocks as its own.
extern "C" void* malloc(size_t size) noexcept {
    noteBlock();
    return __libc_malloc(size);
}

extern "C" void* calloc(size_t count, size_t size) noexcept {
    noteBlock();
    return __libc_calloc(count, size);
}

extern "C" void* realloc(void* block, size_t size) noexcept {
    noteBlock();
    return __libc_realloc(block, size);
}

namespace mtktest {

long mallocsDuring(const std::function<void()>& body) {
    gBlocks.store(0);
    gCounting.store(true);
    body();
    gCounting.store(false);
    return gBlocks.load();
}

}  // namespace mtktest
