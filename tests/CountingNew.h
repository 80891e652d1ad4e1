// Counts the heap allocations of the program, the plug-in's included: the program's operator new comes before
// the one of the C++ library for every library in the process.
#pragma once

#include <cstddef>

/// Calls of operator new since the program began.
size_t heapAllocations();

/// Lets the allocation after `count` more fail, once, with std::bad_alloc.
void failAllocationAfter(size_t count);
