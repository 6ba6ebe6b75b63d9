// Case-insensitive ordering of text, the order that StringBase's comparisons and every key built
// on it use.
#pragma once

namespace ka {
namespace kor {
namespace osdep {

// All overloads return a negative number, zero or a positive number as a orders before, equal to
// or after b. Null counts as empty.
//
// Wide text: characters are compared after towupper on both sides and the first difference decides
// (by the sign of the difference of the upper-cased code units); when one text is a prefix of the
// other the shorter orders first and the result is the difference of the lengths.
int StringCaseCompare(const wchar_t* a, const wchar_t* b);
int StringCaseCompare(const wchar_t* aBegin, const wchar_t* aEnd, const wchar_t* bBegin,
                      const wchar_t* bEnd);

// Narrow text: bytes are compared with strncasecmp one at a time (so the current locale's case
// mapping applies), lengths breaking ties as above (by their difference); zero-terminated text is
// compared with strcasecmp.
int StringCaseCompare(const char* a, const char* b);
int StringCaseCompare(const char* aBegin, const char* aEnd, const char* bBegin, const char* bEnd);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
