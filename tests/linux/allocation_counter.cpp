#include "tests/linux/allocation_counter.hpp"

#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUILLON_HEAP_IS_OWNED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUILLON_HEAP_IS_OWNED 1
#endif
#endif

namespace {
thread_local bool counting = false;
thread_local size_t allocations = 0;
}  // namespace

#ifndef QUILLON_HEAP_IS_OWNED
// glibc's own allocator lies under these names, so that its entry points can be replaced.
extern "C" {
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t count, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void* __libc_memalign(size_t alignment, size_t bytes);

void* malloc(size_t bytes) {
    if (counting) ++allocations;
    return __libc_malloc(bytes);
}
void* calloc(size_t count, size_t bytes) {
    if (counting) ++allocations;
    return __libc_calloc(count, bytes);
}
void* realloc(void* block, size_t bytes) {
    if (counting) ++allocations;
    return __libc_realloc(block, bytes);
}
void* aligned_alloc(size_t alignment, size_t bytes) {
    if (counting) ++allocations;
    return __libc_memalign(alignment, bytes);
}
}
#endif

namespace quillon::testing {

AllocationCounter::AllocationCounter() {
    allocations = 0;
    counting = true;
}

AllocationCounter::~AllocationCounter() {
    counting = false;
}

size_t AllocationCounter::count() const {
    return allocations;
}

bool AllocationCounter::works() {
#ifdef QUILLON_HEAP_IS_OWNED
    return false;
#else
    return true;
#endif
}

}  // namespace quillon::testing
