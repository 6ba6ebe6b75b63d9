// The body that copies of one AutoBuffer share: a reference count and one heap block of bytes.
// AutoBuffer alone creates and changes bodies; a body is destroyed by its last release().
#pragma once

#include <cstdint>

#include "ka/kor/DLLAlloc.h"
#include "ka/kor/osdep/AtomicInt.h"

namespace ka {
namespace kor {

class AutoBufferGuts : public DLLAlloced {
  public:
    // Count 1, no block, capacity 0.
    AutoBufferGuts();
    ~AutoBufferGuts();
    AutoBufferGuts(const AutoBufferGuts&) = delete;
    AutoBufferGuts& operator=(const AutoBufferGuts&) = delete;

    // A new private body (count 1) with the same bytes and the same capacity as other. Only the
    // used bytes are copied; the block is as large as the capacity, so capacity always states
    // the block's real size. Throws std::bad_alloc.
    static AutoBufferGuts* Clone(const AutoBufferGuts& other);

    // The capacity given to a block that must hold newLength bytes and is too small:
    // newLength + max(newLength / 10, 128), the tenth taken by signed 32-bit division. Growth by
    // a tenth with a 128-byte floor is deliberate and kept exactly, since MemUsage reports it.
    // Throws std::bad_alloc when the result does not fit in 32 bits.
    static std::uint32_t GrownCapacity(std::uint64_t newLength);

    std::uint32_t length() const noexcept { return static_cast<std::uint32_t>(end - data); }

    // Resizes the block to exactly newCapacity bytes (not 0), keeping the bytes and the length.
    // Throws std::bad_alloc leaving the body unchanged.
    void reallocate(std::uint32_t newCapacity);

    // Drops one reference; the last one destroys the body and its block.
    void release() noexcept;

    osdep::AtomicInt refCount;
    // Block from the library heap, null while nothing was ever reserved.
    unsigned char* data;
    // Size of the block in bytes.
    std::uint32_t capacity;
    // One past the last used byte.
    unsigned char* end;
};

}  // namespace kor
}  // namespace ka
