#include "ka/kor/osdep/SerializeUtf16.h"

#include <cstddef>
#include <cstdint>

#include "ka/kor/exception.h"
#include "ka/kor/little_endian.h"
#include "ka/kor/osdep/IconvConverter.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/SerializeUtf16";

constexpr const char* kWide = "wchar_t";
constexpr const char* kUtf16 = "UTF-16LE";
constexpr std::size_t kUnit = 2;
const char kUtf16Substitute[kUnit] = {'?', '\0'};
const wchar_t kWideSubstitute = L'?';

const char* Bytes(const String& text) {
    return reinterpret_cast<const char*>(text.begin());
}

std::size_t ByteCount(const String& text) {
    return static_cast<std::size_t>(text.length()) * sizeof(wchar_t);
}

unsigned int CheckedSize(std::size_t n) {
    if (n > 0xFFFFFFFFu - 4) {
        throw exception::BoundExceeded2(__LINE__, kSourceFile, "Resulting string too large");
    }
    return static_cast<unsigned int>(n);
}

std::size_t Measure(IconvConverter& converter, const String& text) {
    return CheckedSize(
        converter.measure(Bytes(text), ByteCount(text), sizeof(wchar_t), sizeof kUtf16Substitute));
}

std::size_t Span(const unsigned char* begin, const unsigned char* end) {
    return begin ? static_cast<std::size_t>(end - begin) : 0;
}

}  // namespace

unsigned int IconvUtf16Coder::GetUtf16SerializationSize(const String& text) {
    IconvConverter converter(kUtf16, kWide);
    return static_cast<unsigned int>(Measure(converter, text));
}

void IconvUtf16Coder::SerializeAsUtf16(const String& text, unsigned char*& out,
                                       const unsigned char* outEnd) {
    IconvConverter converter(kUtf16, kWide);
    const std::size_t n = Measure(converter, text);
    little_endian::CheckSerializationSize(static_cast<std::uint32_t>(n), out, outEnd);
    out += converter.convert(Bytes(text), ByteCount(text), sizeof(wchar_t),
                             reinterpret_cast<char*>(out), n, kUtf16Substitute,
                             sizeof kUtf16Substitute);
}

String IconvUtf16Coder::DeserializeFromUtf16(const unsigned char* begin, const unsigned char* end) {
    const std::size_t n = Span(begin, end);
    IconvConverter converter(kWide, kUtf16);
    // A unit yields at most one character; an odd last byte yields one more.
    const std::size_t room = (n + 1) / kUnit;
    wchar_t* chars = new wchar_t[room + 1];
    try {
        const std::size_t written = converter.convert(
            reinterpret_cast<const char*>(begin), n, kUnit, reinterpret_cast<char*>(chars),
            room * sizeof(wchar_t), reinterpret_cast<const char*>(&kWideSubstitute),
            sizeof kWideSubstitute);
        String text(chars, chars + written / sizeof(wchar_t));
        delete[] chars;
        return text;
    } catch (...) {
        delete[] chars;
        throw;
    }
}

unsigned int PlainUtf16Coder::GetUtf16SerializationSize(const String& text) {
    return CheckedSize(static_cast<std::size_t>(text.length()) * kUnit);
}

void PlainUtf16Coder::SerializeAsUtf16(const String& text, unsigned char*& out,
                                       const unsigned char* outEnd) {
    little_endian::CheckSerializationSize(GetUtf16SerializationSize(text), out, outEnd);
    for (const wchar_t c : text) {
        const std::uint32_t u = static_cast<std::uint32_t>(c);
        const std::uint16_t unit = u > 0xFFFFu ? std::uint16_t{'?'} : static_cast<std::uint16_t>(u);
        out[0] = static_cast<unsigned char>(unit & 0xFF);
        out[1] = static_cast<unsigned char>(unit >> 8);
        out += kUnit;
    }
}

String PlainUtf16Coder::DeserializeFromUtf16(const unsigned char* begin, const unsigned char* end) {
    const std::size_t n = Span(begin, end);
    const std::size_t units = n / kUnit;
    const std::size_t count = units + n % kUnit;
    if (count > String::max_size()) {
        throw exception::BoundExceeded2(__LINE__, kSourceFile, "Resulting string too large");
    }
    String text;
    text.resize(static_cast<String::size_type>(count), L'?');
    for (std::size_t i = 0; i < units; ++i) {
        text[static_cast<String::size_type>(i)] =
            static_cast<wchar_t>(begin[2 * i] | (begin[2 * i + 1] << 8));
    }
    return text;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
