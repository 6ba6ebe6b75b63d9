#include "ka/kor/osdep/WideToAnsi.h"

#include <cstddef>
#include <cwchar>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/IconvConverter.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/WideToAnsi";

constexpr const char* kWide = "wchar_t";
const char kSubstitute = '?';

std::size_t ByteCount(const wchar_t* begin, const wchar_t* end) {
    return begin ? static_cast<std::size_t>(end - begin) * sizeof(wchar_t) : 0;
}

unsigned int Measure(IconvConverter& converter, const wchar_t* begin, const wchar_t* end) {
    const std::size_t n = converter.measure(reinterpret_cast<const char*>(begin),
                                            ByteCount(begin, end), sizeof(wchar_t), 1);
    if (n > 0xFFFFFFFEu) {
        throw exception::BoundExceeded2(__LINE__, kSourceFile, "Resulting string too large");
    }
    return static_cast<unsigned int>(n);
}

}  // namespace

unsigned int GetAnsiStringLength(const wchar_t* begin, const wchar_t* end, const char* codeSet) {
    IconvConverter converter(codeSet, kWide);
    return Measure(converter, begin, end);
}

void WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet, char*& outBegin,
                char*& outEnd) {
    IconvConverter converter(codeSet, kWide);
    const std::size_t n = Measure(converter, begin, end);
    char* out = new char[n + 1];
    const std::size_t written =
        converter.convert(reinterpret_cast<const char*>(begin), ByteCount(begin, end),
                          sizeof(wchar_t), out, n, &kSubstitute, 1);
    outBegin = out;
    outEnd = out + written;
    *outEnd = '\0';
}

char* WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet) {
    char* outBegin = nullptr;
    char* outEnd = nullptr;
    WideToAnsi(begin, end, codeSet, outBegin, outEnd);
    return outBegin;
}

char* WideToAnsi(const wchar_t* text, const char* codeSet) {
    return WideToAnsi(text, text ? text + std::wcslen(text) : text, codeSet);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
