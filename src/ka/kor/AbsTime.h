// The system's one time stamp: seconds since 1904-01-01 00:00:00 UTC as a signed 64.64-bit
// fixed-point number, to 2^-64 s. AbsTime::min (the most negative value) marks an absent time.
// Serialized as 16 bytes: the four 32-bit words least significant first, each little-endian.
#pragma once

#include <cstdint>

#include "ka/kor/tFixedPoint128.h"

namespace ka {
namespace kor {

class AbsTime {
  public:
    typedef nKASS100::tFixedPoint128<64, true> Value;

    // Largest time (words 0x7FFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF).
    static const AbsTime max;
    // Smallest time (words 0x80000000 0 0 0), also the mark of "no time": it formats as "".
    static const AbsTime min;
    // Bytes in serialized form.
    static constexpr std::uint32_t size = 16;

    // 1904-01-01 00:00:00 UTC, the zero of the scale.
    constexpr AbsTime() noexcept : value_() {}
    constexpr explicit AbsTime(const Value& secondsSince1904) noexcept : value_(secondsSince1904) {}
    // The words most significant first, as in the table of the time encoding.
    constexpr AbsTime(std::uint32_t w3, std::uint32_t w2, std::uint32_t w1,
                      std::uint32_t w0) noexcept
        : value_(w3, w2, w1, w0) {}
    // seconds + fraction, each converted to fixed point on its own (see tFixedPoint128 for NaN
    // and infinities), then added.
    AbsTime(double seconds, double fraction) noexcept;

    const Value& value() const noexcept { return value_; }
    // Word i, 0 being the least significant (fraction low) and 3 the most (whole high).
    constexpr std::uint32_t word(unsigned int i) const noexcept { return value_.GetWord(i); }
    void getWords(std::uint32_t& w3, std::uint32_t& w2, std::uint32_t& w1,
                  std::uint32_t& w0) const noexcept {
        value_.Get(w3, w2, w1, w0);
    }

    // Whole seconds toward zero. When the fraction bits are within 2^-52 (relative) of a whole
    // second the result moves on by one second (away from zero for a negative whole part), so
    // that together with getFraction no fraction is ever shown that would print as 1.
    std::int64_t getSeconds() const noexcept;
    // The fraction bits (the value minus its whole part rounded toward -inf) as a double; 0.0
    // when getSeconds counted them as a whole second.
    double getFraction() const noexcept;

    // Moves the time by a number of seconds (wrapping at the ends of the range).
    AbsTime& operator+=(const Value& seconds) noexcept {
        value_ += seconds;
        return *this;
    }
    AbsTime& operator-=(const Value& seconds) noexcept {
        value_ -= seconds;
        return *this;
    }

    friend bool operator==(const AbsTime& a, const AbsTime& b) noexcept {
        return a.value_ == b.value_;
    }
    friend bool operator!=(const AbsTime& a, const AbsTime& b) noexcept {
        return a.value_ != b.value_;
    }
    friend bool operator<(const AbsTime& a, const AbsTime& b) noexcept {
        return a.value_ < b.value_;
    }
    friend bool operator<=(const AbsTime& a, const AbsTime& b) noexcept {
        return a.value_ <= b.value_;
    }
    friend bool operator>(const AbsTime& a, const AbsTime& b) noexcept {
        return a.value_ > b.value_;
    }
    friend bool operator>=(const AbsTime& a, const AbsTime& b) noexcept {
        return a.value_ >= b.value_;
    }

    // Whether the closed ranges [a1, a2] and [b1, b2] share a point; touching ends intersect.
    static bool doRangesIntersect(const AbsTime& a1, const AbsTime& a2, const AbsTime& b1,
                                  const AbsTime& b2) noexcept {
        return !(a1 > b2 || a2 < b1);
    }
    // Whether [a1, a2] lies within [b1, b2].
    static bool isSubRange(const AbsTime& a1, const AbsTime& a2, const AbsTime& b1,
                           const AbsTime& b2) noexcept {
        return a1 >= b1 && a2 <= b2;
    }

    std::uint32_t serializationSize() const noexcept { return size; }
    // Writes the 16 bytes at p (any alignment) and advances p; BufferOverflow without writing
    // anything when fewer than 16 bytes remain.
    void serialize(unsigned char*& p, const unsigned char* end) const;
    // Reads 16 bytes at p (any alignment) and advances p; DeserializationError, leaving this
    // time and p unchanged, when fewer than 16 bytes remain.
    void deserialize(const unsigned char*& p, const unsigned char* end);

  private:
    Value value_;
};

inline constexpr AbsTime AbsTime::max{0x7FFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu};
inline constexpr AbsTime AbsTime::min{0x80000000u, 0u, 0u, 0u};

}  // namespace kor
}  // namespace ka
