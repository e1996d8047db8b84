// Heap scratch that never throws: a null data() means the allocation failed,
// and the caller turns that into its listed out-of-memory code. It comes
// from the allocation hook like every other block of the library.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "frame/alloc.h"

namespace rfs {

class MallocBuffer {
  public:
    MallocBuffer() = default;
    explicit MallocBuffer(size_t size, bool zeroed = false) { allocate(size, zeroed); }
    ~MallocBuffer() { std::free(data_); }
    MallocBuffer(const MallocBuffer &) = delete;
    MallocBuffer &operator=(const MallocBuffer &) = delete;

    bool allocate(size_t size, bool zeroed = false) {
        std::free(data_);
        data_ = size ? static_cast<uint8_t *>(rfs_malloc(size)) : nullptr;
        size_ = data_ ? size : 0;
        if (data_ && zeroed) std::memset(data_, 0, size);
        return data_ != nullptr;
    }
    uint8_t *data() const { return data_; }
    size_t size() const { return size_; }
    explicit operator bool() const { return data_ != nullptr; }

  private:
    uint8_t *data_ = nullptr;
    size_t size_ = 0;
};

} // namespace rfs
