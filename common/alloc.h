// The library's allocations, with a seam for allocation-failure tests.
#ifndef SFPDRV_COMMON_ALLOC_H
#define SFPDRV_COMMON_ALLOC_H

#include <cstddef>
#include <cstdint>

namespace sfpdrv {

// calloc, except that it returns null for an allocation that a test has
// asked to fail.
void *lib_calloc(std::size_t count, std::size_t size);
// malloc, with the same seam: for scratch that is always written before it
// is read.
void *lib_malloc(std::size_t size);

namespace testing {
// Makes the n-th allocation from now fail (1 = the next); 0 disarms. With
// `onward` every later allocation fails too, until disarmed.
void fail_allocation(uint64_t nth, bool onward = false);
// Calls `observer` with the byte count of every allocation asked for (null:
// none); for tests that tell allocations apart.
void set_allocation_observer(void (*observer)(std::size_t bytes));
} // namespace testing

} // namespace sfpdrv

#endif // SFPDRV_COMMON_ALLOC_H
