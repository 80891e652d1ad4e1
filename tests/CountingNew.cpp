#include "CountingNew.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {
size_t allocations = 0;
size_t failing = 0;  // the allocation that fails; 0: none
}  // namespace

size_t heapAllocations() { return allocations; }

void failAllocationAfter(size_t count) { failing = allocations + count + 1; }

// NOLINTBEGIN(cppcoreguidelines-no-malloc): this is what others should use instead of malloc.

void* operator new(size_t size) {
    if (++allocations == failing) {
        throw std::bad_alloc();
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        std::abort();
    }
    return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { std::free(memory); }
// NOLINTEND(cppcoreguidelines-no-malloc)
