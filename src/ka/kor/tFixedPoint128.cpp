#include "ka/kor/tFixedPoint128.h"

#include <cmath>
#include <limits>

namespace nKASS100 {

namespace {

typedef std::uint32_t Word;
typedef std::uint64_t Wide;

// The weights of the four words, least significant first: 2^-64, 2^-32, 2^0, 2^32.
struct ScaleFactors {
    long double weight[4];
};

const ScaleFactors& Scales() {
    static const ScaleFactors factors = {
        {std::ldexp(1.0L, -64), std::ldexp(1.0L, -32), 1.0L, std::ldexp(1.0L, 32)}};
    return factors;
}

struct SpecialValues {
    long double positiveInfinity;
    long double negativeInfinity;
    long double quietNaN;
};

const SpecialValues& Specials() {
    static const SpecialValues values = {std::numeric_limits<long double>::infinity(),
                                         -std::numeric_limits<long double>::infinity(),
                                         std::numeric_limits<long double>::quiet_NaN()};
    return values;
}

void NegateWords(Word* w) noexcept {
    Wide carry = 1;
    for (int i = 0; i < 4; ++i) {
        const Wide t = static_cast<Wide>(static_cast<Word>(~w[i])) + carry;
        w[i] = static_cast<Word>(t);
        carry = t >> 32;
    }
}

// p (8 words) = a * b (4 words each), schoolbook on 32-bit limbs.
void MultiplyWords(const Word* a, const Word* b, Word* p) noexcept {
    for (int i = 0; i < 8; ++i) {
        p[i] = 0;
    }
    for (int i = 0; i < 4; ++i) {
        Wide carry = 0;
        for (int j = 0; j < 4; ++j) {
            // At most (2^32-1)^2 + 2·(2^32-1) = 2^64-1: no overflow.
            const Wide t = static_cast<Wide>(a[i]) * b[j] + p[i + j] + carry;
            p[i + j] = static_cast<Word>(t);
            carry = t >> 32;
        }
        p[i + 4] = static_cast<Word>(carry);
    }
}

// q (m - n + 1 words) = u (m words) / v (n words), with v[n-1] != 0, m >= n and m <= 6: long
// division on 32-bit limbs (Knuth's algorithm D).
void DivideWords(const Word* u, int m, const Word* v, int n, Word* q) noexcept {
    if (n == 1) {
        Wide r = 0;
        for (int j = m - 1; j >= 0; --j) {
            const Wide cur = (r << 32) | u[j];
            q[j] = static_cast<Word>(cur / v[0]);
            r = cur % v[0];
        }
        return;
    }
    // Normalise so that the divisor's top bit is set; then each estimated quotient digit is at
    // most two too large.
    const int s = __builtin_clz(v[n - 1]);
    Word vn[4];
    Word un[7];
    for (int i = n - 1; i > 0; --i) {
        vn[i] = (v[i] << s) | static_cast<Word>(static_cast<Wide>(v[i - 1]) >> (32 - s));
    }
    vn[0] = v[0] << s;
    un[m] = static_cast<Word>(static_cast<Wide>(u[m - 1]) >> (32 - s));
    for (int i = m - 1; i > 0; --i) {
        un[i] = (u[i] << s) | static_cast<Word>(static_cast<Wide>(u[i - 1]) >> (32 - s));
    }
    un[0] = u[0] << s;

    const Wide base = Wide(1) << 32;
    for (int j = m - n; j >= 0; --j) {
        const Wide top = (static_cast<Wide>(un[j + n]) << 32) | un[j + n - 1];
        Wide qhat = top / vn[n - 1];
        Wide rhat = top % vn[n - 1];
        while (qhat >= base || qhat * vn[n - 2] > ((rhat << 32) | un[j + n - 2])) {
            --qhat;
            rhat += vn[n - 1];
            if (rhat >= base) {
                break;
            }
        }
        // Multiply and subtract; t and k are signed so that a borrow shows as a negative value.
        std::int64_t k = 0;
        std::int64_t t = 0;
        for (int i = 0; i < n; ++i) {
            const Wide p = qhat * vn[i];
            t = static_cast<std::int64_t>(un[i + j]) - k -
                static_cast<std::int64_t>(p & 0xFFFFFFFFu);
            un[i + j] = static_cast<Word>(t);
            k = static_cast<std::int64_t>(p >> 32) - (t >> 32);
        }
        t = static_cast<std::int64_t>(un[j + n]) - k;
        un[j + n] = static_cast<Word>(t);
        q[j] = static_cast<Word>(qhat);
        if (t < 0) {
            // The estimate was one too large: add the divisor back.
            --q[j];
            Wide c = 0;
            for (int i = 0; i < n; ++i) {
                const Wide sum = static_cast<Wide>(un[i + j]) + vn[i] + c;
                un[i + j] = static_cast<Word>(sum);
                c = sum >> 32;
            }
            un[j + n] = static_cast<Word>(un[j + n] + c);
        }
    }
}

int SignificantWords(const Word* w, int n) noexcept {
    while (n > 0 && w[n - 1] == 0) {
        --n;
    }
    return n;
}

}  // namespace

template <int WholeBits, bool IsSigned>
tFixedPoint128<WholeBits, IsSigned>::tFixedPoint128(long double v) noexcept : w_{0, 0, 0, 0} {
    const SpecialValues& special = Specials();
    if (std::isnan(v)) {
        *this = Min();
        return;
    }
    if (v == special.positiveInfinity) {
        *this = Max();
        return;
    }
    if (v == special.negativeInfinity) {
        *this = Min();
        return;
    }
    const bool negative = v < 0;
    if (negative && !IsSigned) {
        return;  // saturates at zero
    }
    const long double magnitude = negative ? -v : v;
    int exponent = 0;
    std::frexp(magnitude, &exponent);  // magnitude < 2^exponent
    if (exponent > (IsSigned ? 63 : 64)) {
        // Also right for exactly -2^63, which is the smallest value.
        *this = negative ? Min() : Max();
        return;
    }
    // Peel off 32 bits at a time; each step is exact in long double.
    long double rest = std::ldexp(magnitude, -32);
    for (int i = 3; i >= 0; --i) {
        const long double whole = std::trunc(rest);
        w_[i] = static_cast<Word>(whole);
        rest = std::ldexp(rest - whole, 32);
    }
    if (negative) {
        Negate();
    }
}

template <int WholeBits, bool IsSigned>
tFixedPoint128<WholeBits, IsSigned>::tFixedPoint128(long double a, long double b) noexcept
    : tFixedPoint128(a) {
    *this += tFixedPoint128(b);
}

template <int WholeBits, bool IsSigned>
tFixedPoint128<WholeBits, IsSigned>& tFixedPoint128<WholeBits, IsSigned>::operator+=(
    const tFixedPoint128& o) noexcept {
    Wide carry = 0;
    for (int i = 0; i < 4; ++i) {
        const Wide t = static_cast<Wide>(w_[i]) + o.w_[i] + carry;
        w_[i] = static_cast<Word>(t);
        carry = t >> 32;
    }
    return *this;
}

template <int WholeBits, bool IsSigned>
tFixedPoint128<WholeBits, IsSigned>& tFixedPoint128<WholeBits, IsSigned>::operator-=(
    const tFixedPoint128& o) noexcept {
    Wide borrow = 0;
    for (int i = 0; i < 4; ++i) {
        const Wide t = static_cast<Wide>(w_[i]) - o.w_[i] - borrow;
        w_[i] = static_cast<Word>(t);
        borrow = (t >> 32) & 1u;
    }
    return *this;
}

template <int WholeBits, bool IsSigned>
tFixedPoint128<WholeBits, IsSigned>& tFixedPoint128<WholeBits, IsSigned>::operator*=(
    const tFixedPoint128& o) noexcept {
    Word a[4] = {w_[0], w_[1], w_[2], w_[3]};
    Word b[4] = {o.w_[0], o.w_[1], o.w_[2], o.w_[3]};
    const bool negative = IsNegative() != o.IsNegative();
    if (IsNegative()) {
        NegateWords(a);
    }
    if (o.IsNegative()) {
        NegateWords(b);
    }
    Word p[8];
    MultiplyWords(a, b, p);
    for (int i = 0; i < 4; ++i) {
        w_[i] = p[i + 2];
    }
    if (negative) {
        Negate();
    }
    return *this;
}

template <int WholeBits, bool IsSigned>
tFixedPoint128<WholeBits, IsSigned>& tFixedPoint128<WholeBits, IsSigned>::operator/=(
    const tFixedPoint128& o) noexcept {
    const SpecialValues& special = Specials();
    if (o == tFixedPoint128()) {
        const bool zero = *this == tFixedPoint128();
        *this = tFixedPoint128(
            zero ? special.quietNaN
                 : (IsNegative() ? special.negativeInfinity : special.positiveInfinity));
        return *this;
    }
    const bool negative = IsNegative() != o.IsNegative();
    // The dividend scaled by 2^64, so that the integer quotient carries 64 fraction bits.
    Word u[6] = {0, 0, w_[0], w_[1], w_[2], w_[3]};
    Word v[4] = {o.w_[0], o.w_[1], o.w_[2], o.w_[3]};
    if (IsNegative()) {
        NegateWords(u + 2);
    }
    if (o.IsNegative()) {
        NegateWords(v);
    }
    const int m = SignificantWords(u, 6);
    const int n = SignificantWords(v, 4);
    Word q[6] = {0, 0, 0, 0, 0, 0};
    if (m >= n) {
        DivideWords(u, m, v, n, q);
    }
    for (int i = 0; i < 4; ++i) {
        w_[i] = q[i];
    }
    if (negative) {
        Negate();
    }
    return *this;
}

template <int WholeBits, bool IsSigned>
void tFixedPoint128<WholeBits, IsSigned>::Negate() noexcept {
    NegateWords(w_);
}

template <int WholeBits, bool IsSigned>
void tFixedPoint128<WholeBits, IsSigned>::LeftShift(unsigned int n) noexcept {
    if (n >= 128) {
        Zero();
        return;
    }
    const int words = static_cast<int>(n / 32);
    const unsigned int bits = n % 32;
    for (int i = 3; i >= 0; --i) {
        const int src = i - words;
        const Word hi = src >= 0 ? w_[src] << bits : 0;
        const Word lo = (bits != 0 && src >= 1) ? w_[src - 1] >> (32 - bits) : 0;
        w_[i] = hi | lo;
    }
}

template <int WholeBits, bool IsSigned>
void tFixedPoint128<WholeBits, IsSigned>::RightShift(unsigned int n) noexcept {
    const Word fill = IsNegative() ? ~0u : 0u;
    if (n >= 128) {
        for (Word& w : w_) {
            w = fill;
        }
        return;
    }
    const int words = static_cast<int>(n / 32);
    const unsigned int bits = n % 32;
    auto source = [&](int i) { return i < 4 ? w_[i] : fill; };
    for (int i = 0; i < 4; ++i) {
        const Word lo = source(i + words) >> bits;
        const Word hi = bits != 0 ? source(i + words + 1) << (32 - bits) : 0;
        w_[i] = lo | hi;
    }
}

template <int WholeBits, bool IsSigned>
void tFixedPoint128<WholeBits, IsSigned>::IncrementLSB() noexcept {
    for (Word& w : w_) {
        if (++w != 0) {
            return;
        }
    }
}

template <int WholeBits, bool IsSigned>
tFixedPoint128<WholeBits, IsSigned>::operator long double() const noexcept {
    Word w[4] = {w_[0], w_[1], w_[2], w_[3]};
    const bool negative = IsNegative();
    if (negative) {
        NegateWords(w);
    }
    const ScaleFactors& s = Scales();
    const long double sum =
        w[0] * s.weight[0] + w[1] * s.weight[1] + w[2] * s.weight[2] + w[3] * s.weight[3];
    return negative ? -sum : sum;
}

template class tFixedPoint128<64, true>;
template class tFixedPoint128<64, false>;

}  // namespace nKASS100
