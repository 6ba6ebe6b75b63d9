#include "ka/kor/osdep/StringToInt.h"

#include <cwctype>
#include <limits>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/StringToInt";

bool IsBlank(wchar_t c) {
    return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n';
}

// The value of c as a digit, or a value of 36 or more when it is none.
std::uint32_t DigitValue(wchar_t c) {
    if (std::iswdigit(static_cast<std::wint_t>(c))) {
        return static_cast<std::uint32_t>(c - L'0');
    }
    if (std::iswalnum(static_cast<std::wint_t>(c))) {
        // Unsigned, so that a letter whose upper case lies below 'A' cannot pass as a digit.
        return static_cast<std::uint32_t>(std::towupper(static_cast<std::wint_t>(c))) - 55u;
    }
    return 36;
}

template <typename U>
U Parse(const String& text, unsigned int radix) {
    if (radix < 2 || radix > 36) {
        throw exception::UnableToConvert(__LINE__, kSourceFile);
    }
    const wchar_t* p = text.begin();
    const wchar_t* const end = text.end();
    while (p != end && IsBlank(*p)) {
        ++p;
    }
    bool negative = false;
    if (p != end && *p == L'-') {
        negative = true;
        ++p;
    }
    if (p != end && *p == L'+') {
        ++p;
    }
    if (radix == 16 && end - p >= 3 && p[0] == L'0' && (p[1] == L'x' || p[1] == L'X')) {
        p += 2;
    }
    const U limit = std::numeric_limits<U>::max() / radix;
    U value = 0;
    for (; p != end; ++p) {
        const std::uint32_t digit = DigitValue(*p);
        if (digit >= radix) {
            break;
        }
        if (value > limit) {
            throw exception::UnableToConvert(__LINE__, kSourceFile);
        }
        value = static_cast<U>(value * radix + digit);
    }
    if (negative && radix == 10) {
        value = static_cast<U>(0u - value);
    }
    return value;
}

}  // namespace

std::int8_t StringToInt8(const String& text, unsigned int radix) {
    return static_cast<std::int8_t>(Parse<std::uint8_t>(text, radix));
}
std::int16_t StringToInt16(const String& text, unsigned int radix) {
    return static_cast<std::int16_t>(Parse<std::uint16_t>(text, radix));
}
std::int32_t StringToInt32(const String& text, unsigned int radix) {
    return static_cast<std::int32_t>(Parse<std::uint32_t>(text, radix));
}
std::int64_t StringToInt64(const String& text, unsigned int radix) {
    return static_cast<std::int64_t>(Parse<std::uint64_t>(text, radix));
}
std::uint8_t StringToUInt8(const String& text, unsigned int radix) {
    return Parse<std::uint8_t>(text, radix);
}
std::uint16_t StringToUInt16(const String& text, unsigned int radix) {
    return Parse<std::uint16_t>(text, radix);
}
std::uint32_t StringToUInt32(const String& text, unsigned int radix) {
    return Parse<std::uint32_t>(text, radix);
}
std::uint64_t StringToUInt64(const String& text, unsigned int radix) {
    return Parse<std::uint64_t>(text, radix);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
