#include "ka/kor/AbsTime.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ka/kor/little_endian.h"

namespace ka {
namespace kor {

namespace {

// The fraction bits (w3 w2 w1 w0 = 0 0 FFFFFFFF FFFFFFFF) as a long double in [0, 1).
long double FractionBits(const AbsTime::Value& v) noexcept {
    return static_cast<long double>(v & AbsTime::Value(0u, 0u, 0xFFFFFFFFu, 0xFFFFFFFFu));
}

// Whether f is within a relative double epsilon of 1.0.
bool IsNearlyOne(long double f) noexcept {
    // The double literal is exactly 2^-52, the double epsilon; the long double one would not be.
    const long double epsilon = 2.220446049250313e-16;
    return std::fabs(f - 1.0L) <= std::max(std::fabs(f), 1.0L) * epsilon;
}

}  // namespace

AbsTime::AbsTime(double seconds, double fraction) noexcept
    : value_(static_cast<long double>(seconds), static_cast<long double>(fraction)) {}

std::int64_t AbsTime::getSeconds() const noexcept {
    // The whole part as stored rounds toward -inf; a negative value with fraction bits is one
    // more toward zero. Both fit 64 bits, so the clamp only guards the step below.
    std::int64_t whole = static_cast<std::int64_t>(
        (static_cast<std::uint64_t>(value_.GetWord(3)) << 32) | value_.GetWord(2));
    if (value_.IsNegative() && (value_.GetWord(1) | value_.GetWord(0)) != 0) {
        ++whole;
    }
    if (!IsNearlyOne(FractionBits(value_))) {
        return whole;
    }
    if (whole < 0) {
        return whole == std::numeric_limits<std::int64_t>::min() ? whole : whole - 1;
    }
    return whole == std::numeric_limits<std::int64_t>::max() ? whole : whole + 1;
}

double AbsTime::getFraction() const noexcept {
    const long double f = FractionBits(value_);
    return IsNearlyOne(f) ? 0.0 : static_cast<double>(f);
}

void AbsTime::serialize(unsigned char*& p, const unsigned char* end) const {
    little_endian::CheckSerializationSize(size, p, end);
    for (unsigned int i = 0; i < 4; ++i) {
        little_endian::SerializeRaw<std::uint32_t>(value_.GetWord(i), p, end);
    }
}

void AbsTime::deserialize(const unsigned char*& p, const unsigned char* end) {
    little_endian::CheckDeserializationSize(size, p, end);
    std::uint32_t w[4];
    for (unsigned int i = 0; i < 4; ++i) {
        little_endian::DeserializeRaw<std::uint32_t>(w[i], p, end);
    }
    value_ = Value(w[3], w[2], w[1], w[0]);
}

}  // namespace kor
}  // namespace ka
