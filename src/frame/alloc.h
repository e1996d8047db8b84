// Allocation hook for the library's own tables and lists. Production code
// calls straight through to malloc/realloc; tests can make the N-th request
// fail to walk the out-of-memory paths, and benchmarks count the requests.
#pragma once

#include <cstddef>

namespace rfs {

void *rfs_malloc(size_t size);
void *rfs_realloc(void *p, size_t size);

// Fail the request that comes `after` further successful ones (0 = the next
// one); a negative value switches failures off.
void set_alloc_failure(long after);

// Heap requests so far through rfs_malloc and rfs_realloc, which every
// block of the library comes from, scratch buffers included. Benchmarks use
// it to show that no search allocates per event.
unsigned long long allocation_count();

} // namespace rfs
