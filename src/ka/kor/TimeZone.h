// A time zone as the system names it and its offset from UTC in minutes (east positive).
// Serialized as the offset (2 bytes, little-endian) followed by the name in the wide string form
// (a 32-bit byte count and UTF-8).
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

class TimeZone {
  public:
    // UTC without a name.
    TimeZone() : name_(), offset_(0) {}
    TimeZone(const String& name, std::int16_t offsetMinutes)
        : name_(name), offset_(offsetMinutes) {}

    const String& name() const noexcept { return name_; }
    // Minutes east of UTC.
    std::int16_t offset() const noexcept { return offset_; }

    void swap(TimeZone& other) noexcept;

    std::uint32_t serializationSize() const { return name_.serializationSize() + 2; }
    // Writes the zone at p and advances p; BufferOverflow, with nothing written, when the whole
    // zone does not fit before end.
    void serialize(unsigned char*& p, const unsigned char* end) const;
    // Reads a zone at p and advances p. DeserializationError when the bytes run short,
    // InvalidSequence for a malformed name; on any failure this zone and p are unchanged.
    void deserialize(const unsigned char*& p, const unsigned char* end);

  private:
    String name_;
    std::int16_t offset_;
};

inline void swap(TimeZone& a, TimeZone& b) noexcept {
    a.swap(b);
}

}  // namespace kor
}  // namespace ka
