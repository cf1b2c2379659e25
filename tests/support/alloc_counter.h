// Counts every allocation through operator new in the binary that links alloc_counter.cc, so
// that a test or benchmark can check that a path allocates nothing.
#ifndef QUOTLINK_TESTS_SUPPORT_ALLOC_COUNTER_H_
#define QUOTLINK_TESTS_SUPPORT_ALLOC_COUNTER_H_

#include <cstdint>

namespace quotlink {

// Allocations so far.
int64_t AllocationCount();

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_ALLOC_COUNTER_H_
