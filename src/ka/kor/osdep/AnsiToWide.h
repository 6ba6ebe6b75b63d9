// Narrow text in a machine code set to wide text, through the C library's iconv.
#pragma once

namespace ka {
namespace kor {
namespace osdep {

// Converts [begin, end) from codeSet (an empty name means the current locale's code set) to a new
// zero-terminated wide array (release with delete[]); outEnd receives the position of the
// terminator, so embedded zeros survive. A byte that cannot be converted becomes "?" and is
// skipped. Throws InvalidLocale when codeSet cannot be opened.
void AnsiToWide(const char* begin, const char* end, const char* codeSet, wchar_t*& outBegin,
                wchar_t*& outEnd);
// The same, returning only the array.
wchar_t* AnsiToWide(const char* begin, const char* end, const char* codeSet);
// Converts text up to its first zero byte or maxCount bytes, whichever comes first.
wchar_t* AnsiToWide(const char* text, unsigned int maxCount, const char* codeSet);

// Number of wide characters the conversion yields (without terminator).
unsigned int GetAnsiStringLength(const char* begin, const char* end, const char* codeSet);
unsigned int GetAnsiStringLength(const char* text, unsigned int maxCount, const char* codeSet);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
