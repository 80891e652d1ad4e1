// Counts the heap allocations of the program, the plug-in's included: the program's operator new comes before
// the one of the C++ library for every library in the process.
#pragma once

#include <cstddef>

/// Calls of operator new by this thread since it began.
size_t heapAllocations();

/// Lets the allocation of this thread after `count` more fail with std::bad_alloc, and those behind it, so many in
/// all.
void failAllocationAfter(size_t count, size_t inARow = 1);
/// Likewise for the allocations of all other threads.
void failAllocationOfOthersAfter(size_t count);
/// Whether one has failed since failure was asked for.
bool hasAllocationFailed();
