// An owning, growable byte buffer. Copies share one reference-counted body until one of them is
// changed (copy-on-write), so copying is constant time, and copies may be made and destroyed on
// different threads. The bytes are not locked: buffers sharing a body must not be changed at the
// same time, nor changed while another reads them.
#pragma once

#include <cstdint>

#include "ka/kor/BufferWrapper.h"

namespace ka {
namespace kor {

class AutoBufferGuts;

class AutoBuffer {
  public:
    // Absent: owns nothing.
    AutoBuffer() noexcept : guts_(nullptr) {}
    // A private body with a block of exactly n bytes (none for 0); length 0.
    explicit AutoBuffer(std::uint32_t n);
    // A copy of the n bytes at p; absent when n is 0.
    AutoBuffer(const unsigned char* p, std::uint32_t n);
    // A copy of the view's bytes; absent when the view is empty.
    explicit AutoBuffer(const BufferWrapper& bytes);
    // Shares other's body.
    AutoBuffer(const AutoBuffer& other) noexcept;
    // Takes other's body; other is left absent.
    AutoBuffer(AutoBuffer&& other) noexcept;
    ~AutoBuffer();

    // Shares other's body, releasing this buffer's own first. Assigning a buffer to itself, or one
    // that already shares this buffer's body, does nothing.
    AutoBuffer& operator=(const AutoBuffer& other) noexcept;
    AutoBuffer& operator=(AutoBuffer&& other) noexcept;
    // Replaces the contents by a copy of the view's bytes (which may lie in this buffer).
    AutoBuffer& operator=(const BufferWrapper& bytes);

    // First byte, null when absent. Bytes are changed only through the members below, which
    // keep copies apart.
    const unsigned char* Data() const noexcept;
    std::uint32_t Len() const noexcept;
    // Size of the block in bytes, 0 when absent.
    std::uint32_t MemUsage() const noexcept;

    // Ensures a capacity of at least n; a block too small is resized to exactly n. 0 does
    // nothing; otherwise a shared body is copied first and an absent one created.
    void Reserve(std::uint32_t n);
    // Adds n bytes at the end, growing the block to L + max(L / 10, 128) for the new length L
    // when it is too small. 0 does nothing, and leaves an absent buffer absent. p may point into
    // this buffer.
    void Append(const unsigned char* p, std::uint32_t n);
    // Overwrites n bytes at offset, growing the block like Append when offset + n exceeds the
    // capacity. Never changes the length, even when writing past it: Skip or Append extend it.
    void Modify(std::uint32_t offset, const unsigned char* p, std::uint32_t n);
    // Drops the last n bytes and returns n. n must not exceed Len(); it is not checked.
    std::uint32_t UnAppend(std::uint32_t n);
    // Extends the length by n bytes whose content is whatever the block holds there (the block
    // grows to exactly the new length when needed); returns n.
    std::uint32_t Skip(std::uint32_t n);
    // Length 0, capacity kept. A shared body is not cleared: this buffer just lets go of it
    // (as Free), so the other copies keep their bytes.
    void Erase() noexcept;
    // Lets go of the body (the last holder frees it); the buffer is absent afterwards.
    void Free() noexcept;

    void swap(AutoBuffer& other) noexcept;

    // Byte-wise order of CompareBuffers.
    bool operator==(const AutoBuffer& other) const noexcept;
    bool operator<(const AutoBuffer& other) const noexcept;

    // Serialized form: the length as 4 bytes little-endian, then the bytes. Len() + 4.
    std::uint32_t serializationSize() const noexcept;
    // Writes the serialized form at p and advances p past it. Throws BufferOverflow, writing
    // nothing, when the room end - p (as a signed 32-bit number) is below Len() + 4.
    void serialize(unsigned char*& p, const unsigned char* end) const;
    // Replaces the contents by the serialized form read at p and advances p past it. Throws
    // DeserializationError, leaving the buffer and p as they were, when fewer than 4 bytes remain
    // or fewer than the length read (room and length compared as signed 32-bit numbers; a length
    // of 2 GiB or more is never satisfied).
    void deserialize(const unsigned char*& p, const unsigned char* end);

    // Ring-buffer forms: the serialized form written to or read from the ring
    // [ringBegin, ringEnd) starting at pos, wrapping from ringEnd to ringBegin. pos ends just
    // past what was written or read, wrapped to ringBegin when it lands on ringEnd.

    // Writes the 4 length bytes, least significant first. Throws BufferOverflow, writing nothing,
    // when the ring holds fewer than 4 bytes or pos lies outside it.
    void circularSerializeLength(unsigned char* ringBegin, const unsigned char* ringEnd,
                                 unsigned char*& pos) const;
    // Writes the length bytes, then the bytes. Throws BufferOverflow, writing nothing, when the
    // ring holds fewer than Len() + 4 bytes (the form would overwrite itself) or pos lies
    // outside it.
    void circularSerialize(unsigned char* ringBegin, const unsigned char* ringEnd,
                           unsigned char*& pos) const;
    // Reads what circularSerialize wrote. Throws DeserializationError, leaving the buffer and pos
    // as they were, when the ring holds fewer than 4 bytes, pos lies outside it, or the ring is
    // smaller than the length read + 4.
    void circularDeserialize(const unsigned char* ringBegin, const unsigned char* ringEnd,
                             const unsigned char*& pos);
    // pos + 1, or ringBegin when that reaches ringEnd.
    static void circularIncrement(unsigned char* ringBegin, const unsigned char* ringEnd,
                                  unsigned char*& pos) noexcept;
    static void circularIncrement(const unsigned char* ringBegin, const unsigned char* ringEnd,
                                  const unsigned char*& pos) noexcept;

  private:
    // Gives the buffer a body of its own before a change: a shared body is replaced by a private
    // copy; an absent buffer gets an empty body when createWhenAbsent. Throws std::bad_alloc with
    // the contents unchanged.
    void makePrivate(bool createWhenAbsent);
    // Offset of p inside this buffer's block, or -1: bytes taken from the buffer itself must be
    // found again after the block moves.
    std::int64_t offsetInBlock(const unsigned char* p) const noexcept;

    AutoBufferGuts* guts_;
};

inline void swap(AutoBuffer& a, AutoBuffer& b) noexcept {
    a.swap(b);
}

}  // namespace kor
}  // namespace ka
