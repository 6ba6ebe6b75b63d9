// How C++ numbers map to flex types and convert between them: the default FlexType of each C++
// number, the host-order layout that array and waveform readers convert to, and the one plain
// truncating cast that every numeric accessor of FlexData uses.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "ka/kor/fd.h"
#include "ka/kor/little_endian.h"

namespace ka {
namespace kor {

namespace flex_detail {
[[noreturn]] void ThrowInvalidArgument(std::uint32_t line);
[[noreturn]] void ThrowSyntaxError(std::uint32_t line);
}  // namespace flex_detail

// The FlexType that a C++ number is stored as by default: its own width and signedness. Every
// fixed-width type (std::int32_t, std::int64_t, ...) therefore maps to the same code on i386 and
// x86_64, although std::int64_t is long on one and long long on the other; only a plain long
// follows the build's width (I32 on i386, I64 on x86_64).
template <typename T>
struct FlexNumeric;
template <>
struct FlexNumeric<signed char> {
    static constexpr fd::FlexType type = fd::FlexType::I8;
};
template <>
struct FlexNumeric<unsigned char> {
    static constexpr fd::FlexType type = fd::FlexType::UI8;
};
template <>
struct FlexNumeric<short> {
    static constexpr fd::FlexType type = fd::FlexType::I16;
};
template <>
struct FlexNumeric<unsigned short> {
    static constexpr fd::FlexType type = fd::FlexType::UI16;
};
template <>
struct FlexNumeric<int> {
    static constexpr fd::FlexType type = fd::FlexType::I32;
};
template <>
struct FlexNumeric<unsigned int> {
    static constexpr fd::FlexType type = fd::FlexType::UI32;
};
template <>
struct FlexNumeric<long> {
    static constexpr fd::FlexType type = sizeof(long) == 4 ? fd::FlexType::I32 : fd::FlexType::I64;
};
template <>
struct FlexNumeric<unsigned long> {
    static constexpr fd::FlexType type =
        sizeof(unsigned long) == 4 ? fd::FlexType::UI32 : fd::FlexType::UI64;
};
template <>
struct FlexNumeric<long long> {
    static constexpr fd::FlexType type = fd::FlexType::I64;
};
template <>
struct FlexNumeric<unsigned long long> {
    static constexpr fd::FlexType type = fd::FlexType::UI64;
};
template <>
struct FlexNumeric<float> {
    static constexpr fd::FlexType type = fd::FlexType::F32;
};
template <>
struct FlexNumeric<double> {
    static constexpr fd::FlexType type = fd::FlexType::F64;
};

// The numeric code whose layout is T's own in memory (host order): the type that array and
// waveform readers and writers convert from and to. Unlike FlexNumeric it follows the build, so a
// long is I64 on x86_64.
template <typename T>
constexpr fd::FlexType HostLayout() noexcept {
    static_assert(std::is_arithmetic<T>::value && !std::is_same<T, bool>::value,
                  "only numbers are converted element by element");
    if constexpr (std::is_floating_point<T>::value) {
        static_assert(sizeof(T) == 4 || sizeof(T) == 8, "float or double");
        return sizeof(T) == 4 ? fd::FlexType::F32 : fd::FlexType::F64;
    } else {
        constexpr bool s = std::is_signed<T>::value;
        switch (sizeof(T)) {
            case 1:
                return s ? fd::FlexType::I8 : fd::FlexType::UI8;
            case 2:
                return s ? fd::FlexType::I16 : fd::FlexType::UI16;
            case 4:
                return s ? fd::FlexType::I32 : fd::FlexType::UI32;
            default:
                return s ? fd::FlexType::I64 : fd::FlexType::UI64;
        }
    }
}

// Whether t is one of the ten numeric codes (I8 to F64, booleans excluded).
constexpr bool IsNumericType(fd::FlexType t) noexcept {
    switch (t) {
        case fd::FlexType::I8:
        case fd::FlexType::UI8:
        case fd::FlexType::I16:
        case fd::FlexType::UI16:
        case fd::FlexType::I32:
        case fd::FlexType::UI32:
        case fd::FlexType::F32:
        case fd::FlexType::I64:
        case fd::FlexType::UI64:
        case fd::FlexType::F64:
            return true;
        default:
            return false;
    }
}

// A plain cast from a 64-bit unsigned source.
template <typename T>
T ConvertUI64(std::uint64_t v) noexcept {
    return static_cast<T>(v);
}

// The conversion every numeric accessor uses: integers are truncated to T's width (no saturation,
// no range error); floating values are truncated toward zero and then wrapped to T's width like an
// integer, and NaN or an infinity gives 0 (a cast the language leaves undefined is never made).
template <typename T, typename S>
T NumericCast(S v) noexcept {
    if constexpr (std::is_floating_point<S>::value && std::is_integral<T>::value) {
        if (!std::isfinite(v)) {
            return T(0);
        }
        constexpr double kTwo63 = 9223372036854775808.0;
        constexpr double kTwo64 = 18446744073709551616.0;
        double r = std::trunc(static_cast<double>(v));
        if (r >= -kTwo63 && r < kTwo63) {
            return static_cast<T>(static_cast<std::int64_t>(r));
        }
        r = std::fmod(r, kTwo64);
        if (r < 0) {
            r += kTwo64;  // exact: |r| >= 2^63 is a multiple of 2^11
        }
        return static_cast<T>(r >= kTwo63
                                  ? static_cast<std::uint64_t>(r)
                                  : static_cast<std::uint64_t>(static_cast<std::int64_t>(r)));
    } else if constexpr (std::is_same<S, std::uint64_t>::value) {
        return ConvertUI64<T>(v);
    } else {
        return static_cast<T>(v);
    }
}

namespace flex_detail {
template <typename S>
S LoadLittle(const unsigned char* p) noexcept {
    S v;
    std::memcpy(&v, p, sizeof(S));
    return little_endian::FromLittleEndian(v);
}
template <typename T, typename S>
T Load(const unsigned char* p, const unsigned char* end) {
    if (!fd::HasRoom(p, sizeof(S), end)) {
        ThrowSyntaxError(__LINE__);
    }
    return NumericCast<T>(LoadLittle<S>(p));
}
}  // namespace flex_detail

// The numeric value of type stored little-endian at p, converted to T by NumericCast. Types other
// than the ten numeric codes raise InvalidArgument; a value running past end raises SyntaxError.
template <typename T>
T GetNum(fd::FlexType type, const unsigned char* p, const unsigned char* end) {
    using flex_detail::Load;
    switch (type) {
        case fd::FlexType::I8:
            return Load<T, std::int8_t>(p, end);
        case fd::FlexType::UI8:
            return Load<T, std::uint8_t>(p, end);
        case fd::FlexType::I16:
            return Load<T, std::int16_t>(p, end);
        case fd::FlexType::UI16:
            return Load<T, std::uint16_t>(p, end);
        case fd::FlexType::I32:
            return Load<T, std::int32_t>(p, end);
        case fd::FlexType::UI32:
            return Load<T, std::uint32_t>(p, end);
        case fd::FlexType::F32:
            return Load<T, float>(p, end);
        case fd::FlexType::I64:
            return Load<T, std::int64_t>(p, end);
        case fd::FlexType::UI64:
            return Load<T, std::uint64_t>(p, end);
        case fd::FlexType::F64:
            return Load<T, double>(p, end);
        default:
            flex_detail::ThrowInvalidArgument(__LINE__);
    }
}

}  // namespace kor
}  // namespace ka
