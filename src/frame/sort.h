// Sorting the lists handed to the host. Their order compares times read from
// the disk, and a damaged disk can hold times whose comparison is not a strict
// order; both sorts here keep every step inside the list whatever the
// comparisons answer. Scratch comes from the allocation hook; without it the
// list is sorted in place.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "frame/buffer.h"

namespace rfs {

namespace sort_detail {

// Merges the sorted runs [lo, mid) and [mid, hi) of `from` into `to`.
template <typename T, typename Less>
void merge_runs(const T *from, T *to, size_t lo, size_t mid, size_t hi, Less less) {
    size_t a = lo, b = mid, out = lo;
    while (a < mid && b < hi) to[out++] = less(from[b], from[a]) ? from[b++] : from[a++];
    while (a < mid) to[out++] = from[a++];
    while (b < hi) to[out++] = from[b++];
}

} // namespace sort_detail

// A stable bottom-up merge sort; records of equal keys keep their order.
template <typename T, typename Less> void sort_records(T *list, size_t n, Less less) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (n < 2) return;
    MallocBuffer scratch(n * sizeof(T));
    if (!scratch) { // no scratch: an in-place heap sort, equal keys in any order
        std::make_heap(list, list + n, less);
        std::sort_heap(list, list + n, less);
        return;
    }
    T *from = list, *to = reinterpret_cast<T *>(scratch.data());
    for (size_t width = 1; width < n; width *= 2) {
        for (size_t lo = 0; lo < n; lo += 2 * width) {
            size_t mid = std::min(lo + width, n), hi = std::min(lo + 2 * width, n);
            sort_detail::merge_runs(from, to, lo, mid, hi, less);
        }
        std::swap(from, to);
    }
    if (from != list) std::memcpy(list, from, n * sizeof(T));
}

} // namespace rfs
