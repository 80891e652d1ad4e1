#include "CountingNew.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {
thread_local size_t allocations = 0;
thread_local size_t firstFailing = 0;  // 0: none
thread_local size_t afterFailing = 0;
thread_local bool isWithoutOthers = false;          // the thread that lets others fail
std::atomic<size_t> untilOthersFail{SIZE_MAX / 2};  // allocations
std::atomic<bool> hasFailed{false};

bool isFailing() {
    ++allocations;
    bool const isOthers = !isWithoutOthers && untilOthersFail.load(std::memory_order_relaxed) < SIZE_MAX / 4 &&
                          untilOthersFail.fetch_sub(1, std::memory_order_relaxed) == 0;
    return isOthers || (allocations >= firstFailing && allocations < afterFailing);
}
}  // namespace

size_t heapAllocations() { return allocations; }

void failAllocationAfter(size_t count, size_t inARow) {
    hasFailed = false;
    firstFailing = allocations + count + 1;
    afterFailing = firstFailing + inARow;
}

void failAllocationOfOthersAfter(size_t count) {
    hasFailed = false;
    isWithoutOthers = true;
    untilOthersFail = count;
}

bool hasAllocationFailed() { return hasFailed; }

// NOLINTBEGIN(cppcoreguidelines-no-malloc): this is what others should use instead of malloc.

void* operator new(size_t size, std::nothrow_t const& /*tag*/) noexcept {
    if (isFailing()) {
        hasFailed = true;
        return nullptr;
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        std::abort();
    }
    return memory;
}

void* operator new(size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { std::free(memory); }
// NOLINTEND(cppcoreguidelines-no-malloc)
