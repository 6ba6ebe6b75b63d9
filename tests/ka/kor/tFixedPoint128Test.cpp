#include "ka/kor/tFixedPoint128.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace {

using nKASS100::tFixedPoint128;
typedef tFixedPoint128<64, true> Fixed;
typedef tFixedPoint128<64, false> UFixed;
typedef std::uint32_t Word;

// ---- Reference arithmetic ---------------------------------------------------------------------
// Bit-serial shift-and-add multiplication and restoring division on 256-bit numbers: slow, but
// built differently from the limb algorithms under test and available on i386, which has no
// 128-bit integer type.

struct Big {
    Word w[8] = {0, 0, 0, 0, 0, 0, 0, 0};
};

bool Bit(const Big& a, int i) {
    return (a.w[i / 32] >> (i % 32)) & 1u;
}
void SetBit(Big& a, int i) {
    a.w[i / 32] |= 1u << (i % 32);
}
void ShiftLeft1(Big& a) {
    for (int i = 7; i > 0; --i) {
        a.w[i] = (a.w[i] << 1) | (a.w[i - 1] >> 31);
    }
    a.w[0] <<= 1;
}
void Add(Big& a, const Big& b) {
    unsigned carry = 0;
    for (int i = 0; i < 256; ++i) {
        const unsigned s = Bit(a, i) + Bit(b, i) + carry;
        a.w[i / 32] = (a.w[i / 32] & ~(1u << (i % 32))) | ((s & 1u) << (i % 32));
        carry = s >> 1;
    }
}
void Subtract(Big& a, const Big& b) {
    Big nb;
    for (int i = 0; i < 8; ++i) {
        nb.w[i] = ~b.w[i];
    }
    Big one;
    one.w[0] = 1;
    Add(nb, one);
    Add(a, nb);
}
int CompareBig(const Big& a, const Big& b) {
    for (int i = 7; i >= 0; --i) {
        if (a.w[i] != b.w[i]) {
            return a.w[i] < b.w[i] ? -1 : 1;
        }
    }
    return 0;
}

Big FromWords(const Word* w4) {
    Big b;
    for (int i = 0; i < 4; ++i) {
        b.w[i] = w4[i];
    }
    return b;
}

struct Words {
    Word w[4];  // least significant first
};

Words WordsOf(const Fixed& f) {
    Words r;
    f.Get(r.w[3], r.w[2], r.w[1], r.w[0]);
    return r;
}
Words WordsOf(const UFixed& f) {
    Words r;
    f.Get(r.w[3], r.w[2], r.w[1], r.w[0]);
    return r;
}
Fixed FixedOf(const Words& w) {
    return Fixed(w.w[3], w.w[2], w.w[1], w.w[0]);
}

bool NegativeWords(const Words& a) {
    return (a.w[3] >> 31) != 0;
}
Words NegateWords(Words a) {
    Big b = FromWords(a.w);
    Big zero;
    Subtract(zero, b);
    for (int i = 0; i < 4; ++i) {
        a.w[i] = zero.w[i];
    }
    return a;
}

// (|a| * |b|) >> 64, low 128 bits, sign applied.
Words ReferenceMultiply(const Words& a, const Words& b, bool isSigned) {
    const bool na = isSigned && NegativeWords(a);
    const bool nb = isSigned && NegativeWords(b);
    const Words ma = na ? NegateWords(a) : a;
    const Words mb = nb ? NegateWords(b) : b;
    Big acc;
    Big shifted = FromWords(ma.w);
    const Big mbBig = FromWords(mb.w);
    for (int i = 0; i < 128; ++i) {
        if (Bit(mbBig, i)) {
            Add(acc, shifted);
        }
        ShiftLeft1(shifted);
    }
    Words r;
    for (int i = 0; i < 4; ++i) {
        r.w[i] = acc.w[i + 2];
    }
    return na != nb ? NegateWords(r) : r;
}

// (|a| << 64) / |b|, low 128 bits, sign applied; b must not be zero.
Words ReferenceDivide(const Words& a, const Words& b, bool isSigned) {
    const bool na = isSigned && NegativeWords(a);
    const bool nb = isSigned && NegativeWords(b);
    const Words ma = na ? NegateWords(a) : a;
    const Words mb = nb ? NegateWords(b) : b;
    Big dividend;
    for (int i = 0; i < 4; ++i) {
        dividend.w[i + 2] = ma.w[i];
    }
    const Big divisor = FromWords(mb.w);
    Big remainder;
    Big quotient;
    for (int i = 191; i >= 0; --i) {
        ShiftLeft1(remainder);
        if (Bit(dividend, i)) {
            remainder.w[0] |= 1u;
        }
        if (CompareBig(remainder, divisor) >= 0) {
            Subtract(remainder, divisor);
            SetBit(quotient, i);
        }
    }
    Words r;
    for (int i = 0; i < 4; ++i) {
        r.w[i] = quotient.w[i];
    }
    return na != nb ? NegateWords(r) : r;
}

// Random words that favour the interesting shapes: zeros and all-ones words, small and large
// magnitudes, both signs.
Words RandomWords(std::mt19937& rng) {
    Words r;
    for (Word& w : r.w) {
        switch (rng() % 5) {
            case 0:
                w = 0;
                break;
            case 1:
                w = 0xFFFFFFFFu;
                break;
            case 2:
                w = rng() % 100;
                break;
            default:
                w = static_cast<Word>(rng());
        }
    }
    return r;
}

std::vector<Words> EdgeValues() {
    return {
        {{0, 0, 0, 0}},
        {{1, 0, 0, 0}},                                          // 2^-64
        {{0, 0, 1, 0}},                                          // 1
        {{0, 0x80000000u, 0, 0}},                                // 0.5
        {{0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu}},  // -2^-64
        {{0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu}},                      // -1
        {{0, 0, 0, 0x80000000u}},                                // smallest
        {{0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0x7FFFFFFFu}},  // largest
        {{0, 0, 0, 1}},                                          // 2^32
        {{0xFFFFFFFFu, 0xFFFFFFFFu, 0, 0}},                      // 1 - 2^-64
        {{0, 0, 1000000, 0}},
        // Divisions whose first quotient estimate is one too large even after correction, so
        // that the long division must add the divisor back (found by search, as they are rare).
        {{1, 0, 1, 0}},
        {{0, 1, 0, 1}},
    };
}

::testing::AssertionResult SameWords(const Words& expected, const Words& actual) {
    for (int i = 0; i < 4; ++i) {
        if (expected.w[i] != actual.w[i]) {
            char text[160];
            std::snprintf(text, sizeof text,
                          "expected %08X %08X %08X %08X, got %08X %08X %08X %08X", expected.w[3],
                          expected.w[2], expected.w[1], expected.w[0], actual.w[3], actual.w[2],
                          actual.w[1], actual.w[0]);
            return ::testing::AssertionFailure() << text;
        }
    }
    return ::testing::AssertionSuccess();
}

void CheckPair(const Words& a, const Words& b) {
    SCOPED_TRACE(::testing::Message()
                 << std::hex << "a=" << a.w[3] << ' ' << a.w[2] << ' ' << a.w[1] << ' ' << a.w[0]
                 << " b=" << b.w[3] << ' ' << b.w[2] << ' ' << b.w[1] << ' ' << b.w[0]);
    const Fixed fa = FixedOf(a);
    const Fixed fb = FixedOf(b);

    Big sum = FromWords(a.w);
    Add(sum, FromWords(b.w));
    Big difference = FromWords(a.w);
    Subtract(difference, FromWords(b.w));
    Words s;
    Words d;
    Words conjunction;
    for (int i = 0; i < 4; ++i) {
        s.w[i] = sum.w[i];
        d.w[i] = difference.w[i];
        conjunction.w[i] = a.w[i] & b.w[i];
    }
    EXPECT_TRUE(SameWords(s, WordsOf(fa + fb)));
    EXPECT_TRUE(SameWords(d, WordsOf(fa - fb)));
    EXPECT_TRUE(SameWords(conjunction, WordsOf(fa & fb)));
    EXPECT_TRUE(SameWords(ReferenceMultiply(a, b, true), WordsOf(fa * fb)));

    const UFixed ua(fa);
    const UFixed ub(fb);
    EXPECT_TRUE(SameWords(ReferenceMultiply(a, b, false), WordsOf(ua * ub)));
    if (b.w[0] | b.w[1] | b.w[2] | b.w[3]) {
        EXPECT_TRUE(SameWords(ReferenceDivide(a, b, true), WordsOf(fa / fb)));
        EXPECT_TRUE(SameWords(ReferenceDivide(a, b, false), WordsOf(ua / ub)));
    }

    // Signed order: the sign of a - b unless the subtraction overflows; compare magnitudes of
    // the top word as signed and the rest as unsigned instead.
    int expectedOrder = 0;
    const std::int32_t ta = static_cast<std::int32_t>(a.w[3]);
    const std::int32_t tb = static_cast<std::int32_t>(b.w[3]);
    if (ta != tb) {
        expectedOrder = ta < tb ? -1 : 1;
    } else {
        for (int i = 2; i >= 0 && expectedOrder == 0; --i) {
            if (a.w[i] != b.w[i]) {
                expectedOrder = a.w[i] < b.w[i] ? -1 : 1;
            }
        }
    }
    EXPECT_EQ(expectedOrder < 0, fa < fb);
    EXPECT_EQ(expectedOrder <= 0, fa <= fb);
    EXPECT_EQ(expectedOrder > 0, fa > fb);
    EXPECT_EQ(expectedOrder >= 0, fa >= fb);
    EXPECT_EQ(expectedOrder == 0, fa == fb);
    EXPECT_EQ(expectedOrder != 0, fa != fb);

#if defined(__SIZEOF_INT128__)
    // Where the compiler has 128-bit integers, they confirm the reference itself.
    auto toInt = [](const Words& w) {
        unsigned __int128 v = 0;
        for (int i = 3; i >= 0; --i) {
            v = (v << 32) | w.w[i];
        }
        return static_cast<__int128>(v);
    };
    auto toWords = [](__int128 v) {
        Words w;
        for (int i = 0; i < 4; ++i) {
            w.w[i] = static_cast<Word>(static_cast<unsigned __int128>(v) >> (32 * i));
        }
        return w;
    };
    const unsigned __int128 ia = static_cast<unsigned __int128>(toInt(a));
    const unsigned __int128 ib = static_cast<unsigned __int128>(toInt(b));
    EXPECT_TRUE(SameWords(toWords(static_cast<__int128>(ia + ib)), s));
    EXPECT_TRUE(SameWords(toWords(static_cast<__int128>(ia - ib)), d));
    EXPECT_EQ(toInt(a) < toInt(b), fa < fb);
#endif
}

// ---- Tests -----------------------------------------------------------------------------------

TEST(tFixedPoint128, RandomArithmeticMatchesReference) {
    std::mt19937 rng(20240611);
    for (int i = 0; i < 1500; ++i) {
        CheckPair(RandomWords(rng), RandomWords(rng));
    }
}

TEST(tFixedPoint128, EdgeValuesMatchReference) {
    const std::vector<Words> edges = EdgeValues();
    for (const Words& a : edges) {
        for (const Words& b : edges) {
            CheckPair(a, b);
        }
    }
}

TEST(tFixedPoint128, MultiplicationAndDivisionAreExact) {
    struct Case {
        Fixed a, b, product, quotient;
    };
    const Fixed one(1);
    const Case cases[] = {
        // 1.5 * 2.25 = 3.375; 1.5 / 2.25 = 2/3 truncated.
        {Fixed(0, 1, 0x80000000u, 0), Fixed(0, 2, 0x40000000u, 0), Fixed(0, 3, 0x60000000u, 0),
         Fixed(0, 0, 0xAAAAAAAAu, 0xAAAAAAAAu)},
        // Signs: truncation is toward zero, so -2/3 is the negation of 2/3.
        {Fixed(0xFFFFFFFFu, 0xFFFFFFFEu, 0x80000000u, 0), Fixed(0, 2, 0x40000000u, 0),
         Fixed(0xFFFFFFFFu, 0xFFFFFFFCu, 0xA0000000u, 0),
         Fixed(0xFFFFFFFFu, 0xFFFFFFFFu, 0x55555555u, 0x55555556u)},
        // One microsecond: 2^64 / 10^6 = 18446744073709.55... units.
        {one, Fixed(1000000), Fixed(1000000), Fixed(0, 0, 0x10C6u, 0xF7A0B5EDu)},
        // The smallest step squared underflows to zero; divided by 2 likewise.
        {Fixed(0, 0, 0, 1), Fixed(0, 0, 0, 1), Fixed(), Fixed(1)},
        // A day in seconds against a value with every fraction bit in use (vectors from exact
        // rational arithmetic).
        {Fixed(86400), Fixed(0, 3, 0x9ABCDEF0u, 0x0FEDCBA9u),
         Fixed(0, 0x0004C07Fu, 0xFFE97CFFu, 0xFFFF4D80u),
         Fixed(0, 0x00005DA2u, 0x682CA996u, 0x5F2656B3u)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<double>(c.a));
        EXPECT_EQ(c.product, c.a * c.b);
        EXPECT_EQ(c.quotient, c.a / c.b);
    }
    // The magnitude of the smallest value does not fit: the quotient wraps back to it.
    EXPECT_EQ(Fixed::Min(), Fixed::Min() / Fixed(-1));
    EXPECT_EQ(Fixed::Min(), Fixed::Min() * Fixed(-1));
    // A product past the top wraps and shows a sign change.
    EXPECT_TRUE((Fixed(0x40000000, 0, 0, 0) * Fixed(2)).IsNegative());
}

TEST(tFixedPoint128, DivisionByZeroSaturates) {
    EXPECT_EQ(Fixed::Max(), Fixed(5) / Fixed());
    EXPECT_EQ(Fixed::Min(), Fixed(-5) / Fixed());
    EXPECT_EQ(Fixed::Min(), Fixed() / Fixed());
    EXPECT_EQ(UFixed::Max(), UFixed(5) / UFixed());
    EXPECT_EQ(UFixed(), UFixed() / UFixed());
}

TEST(tFixedPoint128, ComparesTopWordSignedAndTheRestUnsigned) {
    EXPECT_LT(Fixed(-1), Fixed(0));
    EXPECT_LT(Fixed::Min(), Fixed::Max());
    EXPECT_GT(Fixed(0, 0x80000000u, 0, 0), Fixed(0, 1, 0, 0));
    EXPECT_GT(Fixed(0, 0, 0x80000000u, 0), Fixed(0, 0, 1, 0));
    EXPECT_LT(Fixed(0xFFFFFFFFu, 0, 0, 0), Fixed(0xFFFFFFFFu, 0, 0, 1));
    EXPECT_TRUE(Fixed(0) == 0);
    EXPECT_TRUE(Fixed(3) != 2);
    EXPECT_TRUE(2L - Fixed(3) == -1);
    // The unsigned form reads the top word unsigned.
    EXPECT_GT(UFixed(0x80000000u, 0, 0, 0), UFixed(1));
    EXPECT_FALSE(UFixed(0x80000000u, 0, 0, 0).IsNegative());
}

TEST(tFixedPoint128, WholeNumberConstructorsAgreeAcrossWidths) {
    EXPECT_EQ(Fixed(0xFFFFFFFFu, 0xFFFFFFFBu, 0, 0), Fixed(-5));
    EXPECT_EQ(Fixed(-5), Fixed(-5L));
    EXPECT_EQ(Fixed(-5), Fixed(-5LL));
    EXPECT_EQ(Fixed(0, 0xFFFFFFFFu, 0, 0), Fixed(0xFFFFFFFFu));
    EXPECT_EQ(Fixed(0x7FFFFFFFu, 0xFFFFFFFFu, 0, 0), Fixed(std::int64_t{INT64_MAX}));
    EXPECT_EQ(Fixed(0xFFFFFFFFu, 0xFFFFFFFFu, 0, 0), Fixed(std::uint64_t{UINT64_MAX}));
    EXPECT_EQ(UFixed(0xFFFFFFFFu, 0xFFFFFFFFu, 0, 0), UFixed(-1));
}

TEST(tFixedPoint128, ConvertsToLongDouble) {
    struct Case {
        Fixed value;
        long double expected;
    };
    const Case cases[] = {
        {Fixed(0, 1, 0x80000000u, 0), 1.5L},
        {Fixed(0xFFFFFFFFu, 0xFFFFFFFEu, 0x80000000u, 0), -1.5L},
        {Fixed(0, 0, 0, 1), std::ldexp(1.0L, -64)},
        {Fixed(0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu), -std::ldexp(1.0L, -64)},
        {Fixed(0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu), 1.0L - std::ldexp(1.0L, -64)},
        {Fixed::Min(), -std::ldexp(1.0L, 63)},
        // 2^63 - 2^-64 needs 127 bits: it rounds to 2^63.
        {Fixed::Max(), std::ldexp(1.0L, 63)},
        {Fixed(2082844800), 2082844800.0L},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<double>(c.expected));
        EXPECT_EQ(c.expected, static_cast<long double>(c.value));
        EXPECT_EQ(static_cast<double>(c.expected), static_cast<double>(c.value));
    }
    EXPECT_EQ(static_cast<long double>(UFixed::Max()), std::ldexp(1.0L, 64));
}

TEST(tFixedPoint128, ConvertsFromLongDouble) {
    const long double inf = std::numeric_limits<long double>::infinity();
    struct Case {
        long double value;
        Fixed expected;
    };
    const Case cases[] = {
        {1.5L, Fixed(0, 1, 0x80000000u, 0)},
        {-1.5L, Fixed(0xFFFFFFFFu, 0xFFFFFFFEu, 0x80000000u, 0)},
        {std::ldexp(1.0L, -64), Fixed(0, 0, 0, 1)},
        {std::ldexp(1.0L, -65), Fixed()},  // below the last bit: truncated
        {-std::ldexp(1.0L, -65), Fixed()},
        {std::ldexp(1.0L, 62), Fixed(0x40000000u, 0, 0, 0)},
        {-std::ldexp(1.0L, 63), Fixed::Min()},
        {std::ldexp(1.0L, 63), Fixed::Max()},
        {-std::ldexp(1.0L, 64), Fixed::Min()},
        {inf, Fixed::Max()},
        {-inf, Fixed::Min()},
        {std::numeric_limits<long double>::quiet_NaN(), Fixed::Min()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<double>(c.value));
        EXPECT_EQ(c.expected, Fixed(c.value));
    }
    EXPECT_EQ(Fixed(3, 0, 0, 0) + Fixed(0, 0, 0x40000000u, 0), Fixed(std::ldexp(3.0L, 32), 0.25L));
    EXPECT_EQ(UFixed(), UFixed(-1.0L));
    EXPECT_EQ(UFixed::Max(), UFixed(std::ldexp(1.0L, 64)));
    EXPECT_EQ(UFixed(0x80000000u, 0, 0, 0), UFixed(std::ldexp(1.0L, 63)));

    // Every long double with 64 significant bits at or above 2^0 is held exactly.
    std::mt19937_64 rng(7);
    for (int i = 0; i < 500; ++i) {
        const long double mantissa = static_cast<long double>(rng() | (1ull << 63));
        const int exponent = static_cast<int>(rng() % 63) - 63;  // value in [1, 2^63)
        long double v = std::ldexp(mantissa, exponent);
        if (rng() & 1) {
            v = -v;
        }
        SCOPED_TRACE(static_cast<double>(v));
        EXPECT_EQ(v, static_cast<long double>(Fixed(v)));
    }
}

TEST(tFixedPoint128, ShiftsMatchReference) {
    const Words pattern = {{0x89ABCDEFu, 0x01234567u, 0xFEDCBA98u, 0x86543210u}};
    for (unsigned n = 0; n <= 130; ++n) {
        SCOPED_TRACE(n);
        Big left = FromWords(pattern.w);
        for (unsigned i = 0; i < n && i < 200; ++i) {
            ShiftLeft1(left);
        }
        Words expectedLeft;
        Words expectedRight;
        Words expectedLogical;
        for (int i = 0; i < 4; ++i) {
            expectedLeft.w[i] = left.w[i];
        }
        // Right shifts by bit extraction; the signed one fills with the sign bit.
        const Big src = FromWords(pattern.w);
        for (int i = 0; i < 4; ++i) {
            expectedRight.w[i] = 0;
            expectedLogical.w[i] = 0;
        }
        for (int bit = 0; bit < 128; ++bit) {
            const unsigned from = bit + n;
            const bool arithmetic = from < 128 ? Bit(src, from) : true;
            const bool logical = from < 128 ? Bit(src, from) : false;
            expectedRight.w[bit / 32] |= static_cast<Word>(arithmetic) << (bit % 32);
            expectedLogical.w[bit / 32] |= static_cast<Word>(logical) << (bit % 32);
        }
        Fixed l = FixedOf(pattern);
        l.LeftShift(n);
        EXPECT_TRUE(SameWords(expectedLeft, WordsOf(l)));
        Fixed r = FixedOf(pattern);
        r.RightShift(n);
        EXPECT_TRUE(SameWords(expectedRight, WordsOf(r)));
        UFixed u(FixedOf(pattern));
        u.RightShift(n);
        EXPECT_TRUE(SameWords(expectedLogical, WordsOf(u)));
    }
}

TEST(tFixedPoint128, SmallOperations) {
    Fixed f(0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu);
    f.IncrementLSB();
    EXPECT_EQ(Fixed(1), f);
    Fixed top = Fixed::Max();
    top.IncrementLSB();
    EXPECT_EQ(Fixed::Min(), top);

    Fixed m = Fixed::Min();
    m.Negate();
    EXPECT_EQ(Fixed::Min(), m);
    Fixed n(7);
    n.Negate();
    EXPECT_EQ(Fixed(-7), n);

    Fixed i(0x0F0F0F0Fu, 0, 0xFFFFFFFFu, 1);
    i.Invert();
    EXPECT_EQ(Fixed(0xF0F0F0F0u, 0xFFFFFFFFu, 0, 0xFFFFFFFEu), i);
    i.Zero();
    EXPECT_EQ(Fixed(), i);

    EXPECT_TRUE(Fixed(3).IsOdd());
    EXPECT_FALSE(Fixed(4).IsOdd());
    EXPECT_TRUE(Fixed(-3).IsOdd());
    // -2.5 lies in [-3, -2): its whole part is -3, odd.
    EXPECT_TRUE(Fixed(-2.5L).IsOdd());
    EXPECT_TRUE(Fixed(-1).IsNegative());
    EXPECT_FALSE(Fixed(0).IsNegative());
}

}  // namespace
