#include "ka/kor/tFixedPoint128.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace {

typedef nKASS100::tFixedPoint128<64, true> Fixed;
typedef nKASS100::tFixedPoint128<64, false> UFixed;
typedef std::uint32_t Word;

// Reference arithmetic: bit-serial shift-and-add multiplication and restoring division on
// 256-bit numbers (eight words, least significant first). Slow, but unlike the limb algorithms
// under test, and it runs on i386, which has no 128-bit integer type.
typedef std::array<Word, 8> Big;

bool Bit(const Big& a, int i) {
    return (a[i / 32] >> (i % 32)) & 1u;
}
Big Shl1(Big a) {
    for (int i = 7; i > 0; --i) {
        a[i] = (a[i] << 1) | (a[i - 1] >> 31);
    }
    a[0] <<= 1;
    return a;
}
Big Add(Big a, const Big& b) {
    std::uint64_t carry = 0;
    for (int i = 0; i < 8; ++i) {
        carry += static_cast<std::uint64_t>(a[i]) + b[i];
        a[i] = static_cast<Word>(carry);
        carry >>= 32;
    }
    return a;
}
Big Negate(Big a) {
    for (Word& w : a) {
        w = ~w;
    }
    return Add(a, Big{1});
}
bool Less(const Big& a, const Big& b) {
    return std::lexicographical_compare(a.rbegin(), a.rend(), b.rbegin(), b.rend());
}
template <typename F>
Big ToBig(const F& f) {
    Big b{};
    f.Get(b[3], b[2], b[1], b[0]);
    return b;
}
template <typename F>
F FromBig(const Big& b) {
    return F(b[3], b[2], b[1], b[0]);
}
// The 128-bit value's magnitude, and whether it was negative.
Big Magnitude(const Big& a, bool isSigned, bool& negative) {
    negative = isSigned && (a[3] >> 31) != 0;
    Big m = negative ? Negate(a) : a;
    std::fill(m.begin() + 4, m.end(), 0u);
    return m;
}

// The signed or unsigned product or quotient of a and b, truncated toward zero like the type.
template <typename F>
F Reference(const F& a, const F& b, bool isSigned, bool divide) {
    bool na = false, nb = false;
    const Big ma = Magnitude(ToBig(a), isSigned, na);
    const Big mb = Magnitude(ToBig(b), isSigned, nb);
    Big r{};
    if (divide) {
        const Big dividend{0, 0, ma[0], ma[1], ma[2], ma[3]};  // scaled by 2^64
        Big remainder{};
        for (int i = 191; i >= 0; --i) {
            remainder = Shl1(remainder);
            remainder[0] |= Bit(dividend, i);
            if (!Less(remainder, mb)) {
                remainder = Add(remainder, Negate(mb));
                r[i / 32] |= 1u << (i % 32);
            }
        }
    } else {
        Big shifted = ma;
        Big product{};
        for (int i = 0; i < 128; ++i, shifted = Shl1(shifted)) {
            if (Bit(mb, i)) {
                product = Add(product, shifted);
            }
        }
        r = Big{product[2], product[3], product[4], product[5]};
    }
    return FromBig<F>(na != nb ? Negate(r) : r);
}

void CheckPair(const Fixed& a, const Fixed& b) {
    SCOPED_TRACE(::testing::Message()
                 << std::hex << a.GetWord(3) << ' ' << a.GetWord(2) << ' ' << a.GetWord(1) << ' '
                 << a.GetWord(0) << " and " << b.GetWord(3) << ' ' << b.GetWord(2) << ' '
                 << b.GetWord(1) << ' ' << b.GetWord(0));
    EXPECT_EQ(FromBig<Fixed>(Add(ToBig(a), ToBig(b))), a + b);
    EXPECT_EQ(FromBig<Fixed>(Add(ToBig(a), Negate(ToBig(b)))), a - b);
    EXPECT_EQ(Reference(a, b, true, false), a * b);
    EXPECT_EQ(Reference(UFixed(a), UFixed(b), false, false), UFixed(a) * UFixed(b));
    if (b != 0) {
        EXPECT_EQ(Reference(a, b, true, true), a / b);
        EXPECT_EQ(Reference(UFixed(a), UFixed(b), false, true), UFixed(a) / UFixed(b));
    }
    // Order: flipping the sign bits turns signed order into unsigned order.
    Big fa = ToBig(a), fb = ToBig(b);
    fa[3] ^= 0x80000000u;
    fb[3] ^= 0x80000000u;
    EXPECT_EQ(Less(fa, fb), a < b);
    EXPECT_EQ(Less(fb, fa), a > b);
    EXPECT_EQ(fa == fb, a == b);
}

TEST(tFixedPoint128, RandomAndEdgeValuesMatchReference) {
    const Fixed edges[] = {
        Fixed(), Fixed(0, 0, 0, 1), Fixed(1), Fixed(0, 0, 0x80000000u, 0), Fixed(-1),
        Fixed(~0u, ~0u, ~0u, ~0u), Fixed::Min(), Fixed::Max(), Fixed(1, 0, 0, 0),
        Fixed(0, 0, ~0u, ~0u), Fixed(1000000),
        // Divisions whose quotient digit estimate is still one too large after correction, so
        // that the long division must add the divisor back (found by search; they are rare).
        Fixed(0, 1, 0, 1), Fixed(1, 0, 1, 0)};
    for (const Fixed& a : edges) {
        for (const Fixed& b : edges) {
            CheckPair(a, b);
        }
    }
    // Random words favouring zeros, all-ones and small words, so magnitudes and signs vary.
    std::mt19937 rng(20240611);
    auto word = [&rng]() -> Word {
        const Word shapes[] = {0, ~0u, static_cast<Word>(rng() % 100), static_cast<Word>(rng())};
        return shapes[rng() % 4];
    };
    for (int i = 0; i < 1500; ++i) {
        const Fixed a(word(), word(), word(), word());
        CheckPair(a, Fixed(word(), word(), word(), word()));
    }
}

TEST(tFixedPoint128, KnownProductsAndQuotients) {
    struct Case {
        Fixed a, b, product, quotient;
    };
    // Vectors from exact rational arithmetic.
    const Case cases[] = {
        // 1.5 and 2.25: 3.375, and 2/3 truncated.
        {Fixed(0, 1, 0x80000000u, 0), Fixed(0, 2, 0x40000000u, 0), Fixed(0, 3, 0x60000000u, 0),
         Fixed(0, 0, 0xAAAAAAAAu, 0xAAAAAAAAu)},
        // -1.5 and 2.25: truncation toward zero makes -2/3 the negation of 2/3.
        {Fixed(~0u, 0xFFFFFFFEu, 0x80000000u, 0), Fixed(0, 2, 0x40000000u, 0),
         Fixed(~0u, 0xFFFFFFFCu, 0xA0000000u, 0), Fixed(~0u, ~0u, 0x55555555u, 0x55555556u)},
        // One microsecond is 2^64 / 10^6 units, truncated.
        {Fixed(1), Fixed(1000000), Fixed(1000000), Fixed(0, 0, 0x10C6u, 0xF7A0B5EDu)},
        // A day in seconds against a value with every fraction bit in use.
        {Fixed(86400), Fixed(0, 3, 0x9ABCDEF0u, 0x0FEDCBA9u),
         Fixed(0, 0x0004C07Fu, 0xFFE97CFFu, 0xFFFF4D80u),
         Fixed(0, 0x00005DA2u, 0x682CA996u, 0x5F2656B3u)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<double>(c.a));
        EXPECT_EQ(c.product, c.a * c.b);
        EXPECT_EQ(c.quotient, c.a / c.b);
    }
    // Division by zero saturates by the dividend's sign; 0/0 is the smallest value.
    EXPECT_EQ(Fixed::Max(), Fixed(5) / Fixed());
    EXPECT_EQ(Fixed::Min(), Fixed(-5) / Fixed());
    EXPECT_EQ(Fixed::Min(), Fixed() / Fixed());
    EXPECT_EQ(UFixed::Max(), UFixed(5) / UFixed());
}

TEST(tFixedPoint128, ConstructorsAndUnsignedOrder) {
    EXPECT_EQ(Fixed(~0u, 0xFFFFFFFBu, 0, 0), Fixed(-5L));
    EXPECT_EQ(Fixed(0, ~0u, 0, 0), Fixed(0xFFFFFFFFu));
    EXPECT_EQ(Fixed(~0u, ~0u, 0, 0), Fixed(std::uint64_t{UINT64_MAX}));
    EXPECT_EQ(UFixed(~0u, ~0u, 0, 0), UFixed(-1));
    EXPECT_GT(UFixed(0x80000000u, 0, 0, 0), UFixed(1));  // the top word is unsigned too
}

TEST(tFixedPoint128, LongDoubleConversions) {
    const long double inf = std::numeric_limits<long double>::infinity();
    struct Case {
        Fixed value;
        long double number;
        bool bothWays;
    };
    const Case cases[] = {
        {Fixed(0, 1, 0x80000000u, 0), 1.5L, true},
        {Fixed(0, 0, 0, 1), std::ldexp(1.0L, -64), true},
        {Fixed(~0u, ~0u, ~0u, ~0u), -std::ldexp(1.0L, -64), true},
        {Fixed(0, 0, ~0u, ~0u), 1.0L - std::ldexp(1.0L, -64), true},
        {Fixed::Min(), -std::ldexp(1.0L, 63), true},
        {Fixed::Max(), std::ldexp(1.0L, 63), true},  // rounds up; saturates back
        {Fixed(), std::ldexp(1.0L, -65), false},     // below the last bit: truncated
        {Fixed::Min(), -std::ldexp(1.0L, 64), false},
        {Fixed::Max(), inf, false},
        {Fixed::Min(), std::numeric_limits<long double>::quiet_NaN(), false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<double>(c.number));
        EXPECT_EQ(c.value, Fixed(c.number));
        if (c.bothWays) {
            EXPECT_EQ(c.number, static_cast<long double>(c.value));
        }
    }
    EXPECT_EQ(UFixed(), UFixed(-1.0L));
    EXPECT_EQ(std::ldexp(1.0L, 64), static_cast<long double>(UFixed::Max()));

    // Every long double of magnitude in [1, 2^63) is held exactly.
    std::mt19937_64 rng(7);
    for (int i = 0; i < 500; ++i) {
        const long double mantissa = static_cast<long double>(rng() | (1ull << 63));
        const long double v = (rng() & 1 ? -1 : 1) * std::ldexp(mantissa, -1 - int(rng() % 63));
        EXPECT_EQ(v, static_cast<long double>(Fixed(v))) << static_cast<double>(v);
    }
}

TEST(tFixedPoint128, ShiftsAndSmallOperations) {
    const Fixed pattern(0x86543210u, 0xFEDCBA98u, 0x01234567u, 0x89ABCDEFu);
    Big left = ToBig(pattern);
    for (unsigned n = 0; n <= 130; ++n, left = Shl1(left)) {
        SCOPED_TRACE(n);
        Fixed l = pattern;
        l.LeftShift(n);
        EXPECT_EQ(FromBig<Fixed>(left), l);
        // Shifting back right restores the bits that stayed, with sign or zero fill on top.
        Fixed r = l;
        r.RightShift(n);
        UFixed u(l);
        u.RightShift(n);
        for (unsigned bit = 0; bit < 128; ++bit) {
            const bool kept = bit + n < 128 && Bit(ToBig(pattern), bit);
            const bool top = bit + n >= 128;
            ASSERT_EQ(top ? l.IsNegative() : kept, Bit(ToBig(r), bit)) << bit;
            ASSERT_EQ(top ? false : kept, Bit(ToBig(u), bit)) << bit;
        }
    }

    Fixed f(0, 0, ~0u, ~0u);
    f.IncrementLSB();
    EXPECT_EQ(Fixed(1), f);
    Fixed m = Fixed::Min();
    m.Negate();
    EXPECT_EQ(Fixed::Min(), m);
    // IsOdd looks at the whole part rounded toward -inf: -2.5 lies in [-3, -2).
    EXPECT_TRUE(Fixed(-2.5L).IsOdd());
    EXPECT_FALSE(Fixed(4).IsOdd());
}

}  // namespace
