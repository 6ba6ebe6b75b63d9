// A 128-bit globally unique identifier: a 32-bit field, two 16-bit fields and eight single bytes,
// the numeric fields held little-endian, so that the 16 stored bytes are also the serialized form.
// The text form is the 38-character "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

class Guid {
  public:
    static constexpr std::uint32_t kSize = 16;

    // The null Guid: all zero.
    Guid() noexcept : bytes_() {}
    // From the three numeric fields (host numbers) and the eight single bytes.
    Guid(std::uint32_t data1, std::uint16_t data2, std::uint16_t data3,
         const unsigned char (&data4)[8]) noexcept;
    // From the text form, as fromString.
    explicit Guid(const String& text);
    Guid(const Guid& other) noexcept = default;
    Guid& operator=(const Guid& other) noexcept = default;

    void swap(Guid& other) noexcept;

    // Replaces the value by a new time-based identifier (osdep::MakeGUID).
    void make();

    // The fields as host numbers, and the eight single bytes.
    std::uint32_t data1() const noexcept;
    std::uint16_t data2() const noexcept;
    std::uint16_t data3() const noexcept;
    const unsigned char* data4() const noexcept { return bytes_ + 8; }
    // The 16 bytes as held (and serialized).
    const unsigned char* bytes() const noexcept { return bytes_; }

    // Compare the 16 stored bytes in memory order, unsigned, the first difference deciding.
    // Because the numeric fields are held little-endian, this order deliberately differs from
    // the order of the text forms: it is the order stored identifiers are already sorted in.
    bool operator==(const Guid& other) const noexcept;
    bool operator!=(const Guid& other) const noexcept { return !(*this == other); }
    bool operator<(const Guid& other) const noexcept;

    bool isNull() const noexcept;

    // Serialized form: the 16 bytes as held.
    std::uint32_t serializationSize() const noexcept { return kSize; }
    // Writes the 16 bytes at p and advances p. Throws BufferOverflow (the little_endian range
    // check), writing nothing, when fewer than 16 bytes remain.
    void serialize(unsigned char*& p, const unsigned char* end) const;
    // Reads 16 bytes at p and advances p. Throws DeserializationError (the little_endian range
    // check), leaving the Guid and p as they were, when fewer than 16 bytes remain.
    void deserialize(const unsigned char*& p, const unsigned char* end);

    // Sets text to the 38-character form with upper-case hexadecimal digits, fields in the order
    // data1, data2, data3, then the eight bytes.
    void toString(String& text) const;
    // Reads the 38-character form: "{", 8 hex digits, "-", 4, "-", 4, "-", 4, "-", 12, "}".
    // Hex digits may be upper or lower case. Anything else (another length, a missing brace or
    // hyphen, any other character) throws BadGuidString ("Badly formatted Guid string.") and
    // leaves the Guid unchanged.
    void fromString(const String& text);

  private:
    unsigned char bytes_[kSize];
};

inline void swap(Guid& a, Guid& b) noexcept {
    a.swap(b);
}

}  // namespace kor
}  // namespace ka
