// A non-owning view of bytes held elsewhere: a pointer and a 32-bit length. It lets bytes be
// compared, serialized and deserialized without copying, and is valid only as long as the bytes
// it points to.
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

class AutoBuffer;

class BufferWrapper {
  public:
    // Empty: no bytes.
    BufferWrapper() noexcept : data_(nullptr), length_(0) {}
    BufferWrapper(const unsigned char* data, std::uint32_t length) noexcept
        : data_(data), length_(length) {}
    // Views of the buffer's or the string's current bytes (the string without its terminator);
    // changing the source invalidates the view.
    BufferWrapper(const AutoBuffer& buffer) noexcept;
    BufferWrapper(const AString& text) noexcept;

    const unsigned char* data() const noexcept { return data_; }
    std::uint32_t length() const noexcept { return length_; }

    // Byte-wise order of CompareBuffers.
    bool operator==(const BufferWrapper& other) const noexcept;
    bool operator<(const BufferWrapper& other) const noexcept;

    // Serialized form: the length as 4 bytes little-endian, then the bytes. length() + 4.
    std::uint32_t serializationSize() const noexcept { return length_ + 4; }
    // Writes the serialized form at p and advances p past it. Throws BufferOverflow (from the
    // little_endian range check), writing nothing, when fewer than length() + 4 bytes remain.
    void serialize(unsigned char*& p, const unsigned char* end) const;
    // Points the view at the bytes of the serialized form read at p, without copying, and
    // advances p past them. Throws DeserializationError, leaving the view and p as they were,
    // when fewer than 4 bytes remain or fewer than the length read (room and length compared as
    // signed 32-bit numbers; a length of 2 GiB or more is never satisfied).
    void deserialize(const unsigned char*& p, const unsigned char* end);

  private:
    const unsigned char* data_;
    std::uint32_t length_;
};

}  // namespace kor
}  // namespace ka
