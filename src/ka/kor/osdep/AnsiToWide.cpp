#include "ka/kor/osdep/AnsiToWide.h"

#include <cstddef>
#include <cstring>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/IconvConverter.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/AnsiToWide";

// iconv's name for the C library's own wide characters.
constexpr const char* kWide = "wchar_t";
const wchar_t kSubstitute = L'?';

std::size_t ByteCount(const char* begin, const char* end) {
    return begin ? static_cast<std::size_t>(end - begin) : 0;
}

std::size_t BoundedLength(const char* text, unsigned int maxCount) {
    if (text == nullptr) {
        return 0;
    }
    const void* zero = std::memchr(text, 0, maxCount);
    return zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - text) : maxCount;
}

}  // namespace

void AnsiToWide(const char* begin, const char* end, const char* codeSet, wchar_t*& outBegin,
                wchar_t*& outEnd) {
    const std::size_t n = ByteCount(begin, end);
    IconvConverter converter(kWide, codeSet);
    // One character per byte: no narrow code set in use yields more.
    wchar_t* out = new wchar_t[n + 1];
    const std::size_t written =
        converter.convert(begin, n, 1, reinterpret_cast<char*>(out), n * sizeof(wchar_t),
                          reinterpret_cast<const char*>(&kSubstitute), sizeof kSubstitute);
    outBegin = out;
    outEnd = out + written / sizeof(wchar_t);
    *outEnd = L'\0';
}

wchar_t* AnsiToWide(const char* begin, const char* end, const char* codeSet) {
    wchar_t* outBegin = nullptr;
    wchar_t* outEnd = nullptr;
    AnsiToWide(begin, end, codeSet, outBegin, outEnd);
    return outBegin;
}

wchar_t* AnsiToWide(const char* text, unsigned int maxCount, const char* codeSet) {
    return AnsiToWide(text, text + BoundedLength(text, maxCount), codeSet);
}

unsigned int GetAnsiStringLength(const char* begin, const char* end, const char* codeSet) {
    IconvConverter converter(kWide, codeSet);
    const std::size_t n =
        converter.measure(begin, ByteCount(begin, end), 1, sizeof kSubstitute) / sizeof(wchar_t);
    if (n > 0xFFFFFFFEu) {
        throw exception::BoundExceeded2(__LINE__, kSourceFile, "Resulting string too large");
    }
    return static_cast<unsigned int>(n);
}

unsigned int GetAnsiStringLength(const char* text, unsigned int maxCount, const char* codeSet) {
    return GetAnsiStringLength(text, text + BoundedLength(text, maxCount), codeSet);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
