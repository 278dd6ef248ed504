#pragma once

#include <cstddef>

namespace quillon::testing {

/// Counts the calling thread's heap allocations, those of C libraries included.
class AllocationCounter {
  public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    /// Since construction.
    size_t count() const;
    /// False where a sanitizer owns the heap.
    static bool works();
};

}  // namespace quillon::testing
