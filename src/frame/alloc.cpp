#include "frame/alloc.h"

#include <cstdlib>

namespace rfs {

namespace {
long g_fail_countdown = -1;
unsigned long long g_allocations = 0;

bool injected_failure() {
    ++g_allocations;
    if (g_fail_countdown < 0) return false;
    if (g_fail_countdown == 0) {
        g_fail_countdown = -1;
        return true;
    }
    --g_fail_countdown;
    return false;
}
} // namespace

void *rfs_malloc(size_t size) { return injected_failure() ? nullptr : std::malloc(size); }

void *rfs_realloc(void *p, size_t size) {
    return injected_failure() ? nullptr : std::realloc(p, size);
}

void set_alloc_failure(long after) { g_fail_countdown = after; }

unsigned long long allocation_count() { return g_allocations; }

} // namespace rfs
