#include "GuardedBuffer.h"

#include <sys/mman.h>
#include <unistd.h>

namespace hardening {

GuardedBuffer::GuardedBuffer(size_t size, FlushEdge flush) : size_(size) {
    pageBytes_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t bodyBytes = (size + pageBytes_ - 1) / pageBytes_ * pageBytes_;
    mappingBytes_ = bodyBytes + 2 * pageBytes_;
    void* mapping =
        mmap(nullptr, mappingBytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapping == MAP_FAILED)
        return;
    mapping_ = mapping;
    uint8_t* body = static_cast<uint8_t*>(mapping) + pageBytes_;
    if (bodyBytes > 0 && mprotect(body, bodyBytes, PROT_READ | PROT_WRITE) != 0)
        return;
    data_ = flush == FlushEdge::Start ? body : body + bodyBytes - size;
}

GuardedBuffer::~GuardedBuffer() {
    if (mapping_ != nullptr)
        munmap(mapping_, mappingBytes_);
}

void GuardedBuffer::seal() {
    if (mapping_ != nullptr)
        mprotect(mapping_, mappingBytes_, PROT_NONE);
}

}  // namespace hardening
