// Wide text to narrow text in a machine code set, through the C library's iconv.
#pragma once

namespace ka {
namespace kor {
namespace osdep {

// Number of bytes the conversion of [begin, end) to codeSet yields (without terminator), "?"
// substitutions included. Throws InvalidLocale when codeSet cannot be opened.
unsigned int GetAnsiStringLength(const wchar_t* begin, const wchar_t* end, const char* codeSet);

// Converts [begin, end) to codeSet (an empty name means the current locale's code set) into a
// new zero-terminated byte array (release with delete[]); outEnd receives the position of the
// terminator, so embedded zeros survive. A character that cannot be represented becomes "?".
// Throws InvalidLocale when codeSet cannot be opened.
void WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet, char*& outBegin,
                char*& outEnd);
// The same, returning only the array.
char* WideToAnsi(const wchar_t* begin, const wchar_t* end, const char* codeSet);
// Converts a zero-terminated text (null counts as empty).
char* WideToAnsi(const wchar_t* text, const char* codeSet);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
