// 128-bit binary fixed-point numbers with 64 whole and 64 fraction bits, the arithmetic under
// AbsTime. The value is the 128-bit integer formed by four 32-bit words (least significant
// first: fraction low, fraction high, whole low, whole high) divided by 2^64; the signed form is
// two's complement. Every operation is exact integer arithmetic on 32-bit limbs, so the i386 and
// x86_64 builds give bit-identical results.
//
// Overflow wraps like two's-complement integers (the unit code detects it by a sign change).
// Multiplication and division truncate the exact result toward zero.
#pragma once

#include <cstdint>

namespace nKASS100 {

template <int WholeBits, bool IsSigned>
class tFixedPoint128 {
    static_assert(WholeBits == 64, "only the 64.64 layout is provided");

  public:
    typedef std::uint32_t Word;

    // Zero.
    constexpr tFixedPoint128() noexcept : w_{0, 0, 0, 0} {}
    // The words most significant first: w3 is the whole part's high word, w0 the fraction's low.
    constexpr tFixedPoint128(Word w3, Word w2, Word w1, Word w0) noexcept : w_{w0, w1, w2, w3} {}

    // Whole numbers. A negative number given to the unsigned form wraps (two's complement).
    constexpr tFixedPoint128(int v) noexcept : tFixedPoint128(static_cast<long long>(v)) {}
    constexpr tFixedPoint128(unsigned int v) noexcept
        : tFixedPoint128(static_cast<unsigned long long>(v)) {}
    constexpr tFixedPoint128(long v) noexcept : tFixedPoint128(static_cast<long long>(v)) {}
    constexpr tFixedPoint128(unsigned long v) noexcept
        : tFixedPoint128(static_cast<unsigned long long>(v)) {}
    constexpr tFixedPoint128(long long v) noexcept
        : w_{0, 0, static_cast<Word>(static_cast<unsigned long long>(v)),
             static_cast<Word>(static_cast<unsigned long long>(v) >> 32)} {}
    constexpr tFixedPoint128(unsigned long long v) noexcept
        : w_{0, 0, static_cast<Word>(v), static_cast<Word>(v >> 32)} {}

    // From floating point, truncating toward zero below 2^-64. Values beyond the range saturate
    // (+inf to the largest, -inf to the smallest value); NaN becomes the smallest value, which as
    // an AbsTime means "no time" (zero for the unsigned form).
    explicit tFixedPoint128(long double v) noexcept;
    explicit tFixedPoint128(double v) noexcept : tFixedPoint128(static_cast<long double>(v)) {}
    // The sum of the two values, each converted on its own.
    tFixedPoint128(long double a, long double b) noexcept;

    // The same 128 bits read as the other signedness.
    explicit constexpr tFixedPoint128(const tFixedPoint128<WholeBits, !IsSigned>& o) noexcept
        : w_{o.GetWord(0), o.GetWord(1), o.GetWord(2), o.GetWord(3)} {}

    // The largest and smallest values.
    static constexpr tFixedPoint128 Max() noexcept {
        return IsSigned ? tFixedPoint128(0x7FFFFFFFu, ~0u, ~0u, ~0u)
                        : tFixedPoint128(~0u, ~0u, ~0u, ~0u);
    }
    static constexpr tFixedPoint128 Min() noexcept {
        return IsSigned ? tFixedPoint128(0x80000000u, 0, 0, 0) : tFixedPoint128();
    }

    tFixedPoint128& operator+=(const tFixedPoint128& o) noexcept;
    tFixedPoint128& operator-=(const tFixedPoint128& o) noexcept;
    // Exact product truncated toward zero to 2^-64; bits above the range are dropped.
    tFixedPoint128& operator*=(const tFixedPoint128& o) noexcept;
    // Exact quotient truncated toward zero to 2^-64; bits above the range are dropped. A division
    // by zero gives what the float conversion gives for the matching infinity or NaN: the largest
    // value for a positive dividend, the smallest for a negative one or for zero.
    tFixedPoint128& operator/=(const tFixedPoint128& o) noexcept;
    tFixedPoint128& operator&=(const tFixedPoint128& o) noexcept {
        for (int i = 0; i < 4; ++i) {
            w_[i] &= o.w_[i];
        }
        return *this;
    }

    // Two's-complement negation; the smallest signed value stays as it is.
    void Negate() noexcept;
    // Flips every bit.
    void Invert() noexcept {
        for (Word& w : w_) {
            w = ~w;
        }
    }
    void Zero() noexcept {
        for (Word& w : w_) {
            w = 0;
        }
    }
    // Always false for the unsigned form.
    constexpr bool IsNegative() const noexcept { return IsSigned && (w_[3] & 0x80000000u) != 0; }
    // Whether the whole part (the value rounded toward -inf) is odd.
    constexpr bool IsOdd() const noexcept { return (w_[2] & 1u) != 0; }
    // Shifts the 128 bits by n; 128 or more clears them (the right shift of the signed form is
    // arithmetic and fills with the sign).
    void LeftShift(unsigned int n) noexcept;
    void RightShift(unsigned int n) noexcept;
    // Adds 2^-64, the smallest step, wrapping at the top.
    void IncrementLSB() noexcept;

    // word0·2^-64 + word1·2^-32 + word2 + word3·2^32 with the words unsigned; a negative value is
    // negated first and the sum negated after.
    explicit operator long double() const noexcept;
    explicit operator double() const noexcept {
        return static_cast<double>(static_cast<long double>(*this));
    }

    void Get(Word& w3, Word& w2, Word& w1, Word& w0) const noexcept {
        w3 = w_[3];
        w2 = w_[2];
        w1 = w_[1];
        w0 = w_[0];
    }
    // Word i, 0 being the least significant; i must be below 4.
    constexpr Word GetWord(unsigned int i) const noexcept { return w_[i]; }

    // Word 3 compares signed (for the signed form), then words 2, 1 and 0 unsigned.
    friend constexpr int Compare(const tFixedPoint128& a, const tFixedPoint128& b) noexcept {
        if (a.w_[3] != b.w_[3]) {
            if (IsSigned) {
                return static_cast<std::int32_t>(a.w_[3]) < static_cast<std::int32_t>(b.w_[3]) ? -1
                                                                                               : 1;
            }
            return a.w_[3] < b.w_[3] ? -1 : 1;
        }
        for (int i = 2; i >= 0; --i) {
            if (a.w_[i] != b.w_[i]) {
                return a.w_[i] < b.w_[i] ? -1 : 1;
            }
        }
        return 0;
    }
    friend constexpr bool operator==(const tFixedPoint128& a, const tFixedPoint128& b) noexcept {
        return Compare(a, b) == 0;
    }
    friend constexpr bool operator!=(const tFixedPoint128& a, const tFixedPoint128& b) noexcept {
        return Compare(a, b) != 0;
    }
    friend constexpr bool operator<(const tFixedPoint128& a, const tFixedPoint128& b) noexcept {
        return Compare(a, b) < 0;
    }
    friend constexpr bool operator<=(const tFixedPoint128& a, const tFixedPoint128& b) noexcept {
        return Compare(a, b) <= 0;
    }
    friend constexpr bool operator>(const tFixedPoint128& a, const tFixedPoint128& b) noexcept {
        return Compare(a, b) > 0;
    }
    friend constexpr bool operator>=(const tFixedPoint128& a, const tFixedPoint128& b) noexcept {
        return Compare(a, b) >= 0;
    }

    // Binary forms of the compound operators; whole numbers convert implicitly, so `1L - x` and
    // `x == 0` work as written.
    friend tFixedPoint128 operator+(tFixedPoint128 a, const tFixedPoint128& b) noexcept {
        return a += b;
    }
    friend tFixedPoint128 operator-(tFixedPoint128 a, const tFixedPoint128& b) noexcept {
        return a -= b;
    }
    friend tFixedPoint128 operator*(tFixedPoint128 a, const tFixedPoint128& b) noexcept {
        return a *= b;
    }
    friend tFixedPoint128 operator/(tFixedPoint128 a, const tFixedPoint128& b) noexcept {
        return a /= b;
    }
    friend tFixedPoint128 operator&(tFixedPoint128 a, const tFixedPoint128& b) noexcept {
        return a &= b;
    }

  private:
    Word w_[4];  // least significant first
};

extern template class tFixedPoint128<64, true>;
extern template class tFixedPoint128<64, false>;

}  // namespace nKASS100
