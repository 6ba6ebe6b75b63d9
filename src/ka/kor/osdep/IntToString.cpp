#include "ka/kor/osdep/IntToString.h"

#include <type_traits>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/IntToString";

constexpr wchar_t kDigits[] = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

void CheckRadix(unsigned int radix) {
    if (radix < 2 || radix > 36) {
        throw exception::UnableToConvert(__LINE__, kSourceFile);
    }
}

// Digits of value, preceded by "-" when negative is set.
String Format(std::uint64_t value, unsigned int radix, bool negative) {
    CheckRadix(radix);
    // Room for 64 binary digits and a sign.
    wchar_t buffer[66];
    wchar_t* const end = buffer + sizeof buffer / sizeof buffer[0];
    wchar_t* p = end;
    do {
        *--p = kDigits[value % radix];
        value /= radix;
    } while (value != 0);
    if (negative) {
        *--p = L'-';
    }
    return String(p, end);
}

template <typename U>
String FormatUnsigned(U value, unsigned int radix) {
    return Format(value, radix, false);
}

template <typename S>
String FormatSigned(S value, unsigned int radix) {
    typedef typename std::make_unsigned<S>::type U;
    const U bits = static_cast<U>(value);
    if (value < 0 && radix == 10) {
        return Format(static_cast<U>(0u - bits), radix, true);
    }
    return Format(bits, radix, false);
}

}  // namespace

String Int8ToString(std::int8_t value, unsigned int radix) {
    return FormatSigned(value, radix);
}
String Int16ToString(std::int16_t value, unsigned int radix) {
    return FormatSigned(value, radix);
}
String Int32ToString(std::int32_t value, unsigned int radix) {
    return FormatSigned(value, radix);
}
String Int64ToString(std::int64_t value, unsigned int radix) {
    return FormatSigned(value, radix);
}
String IntToString(int value, unsigned int radix) {
    return FormatSigned(value, radix);
}
String UInt8ToString(std::uint8_t value, unsigned int radix) {
    return FormatUnsigned(value, radix);
}
String UInt16ToString(std::uint16_t value, unsigned int radix) {
    return FormatUnsigned(value, radix);
}
String UInt32ToString(std::uint32_t value, unsigned int radix) {
    return FormatUnsigned(value, radix);
}
String UInt64ToString(std::uint64_t value, unsigned int radix) {
    return FormatUnsigned(value, radix);
}
String UIntToString(unsigned int value, unsigned int radix) {
    return FormatUnsigned(value, radix);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
