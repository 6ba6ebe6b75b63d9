// Exact (code-unit) ordering of text.
#pragma once

namespace ka {
namespace kor {
namespace osdep {

// Code-unit order (narrow units taken as unsigned bytes, wide ones as unsigned 32-bit values): the
// first differing unit decides; when one text is a prefix of the other the shorter orders first and
// the result is the difference of the lengths. Returns a negative number, zero or a positive
// number; null counts as empty.
int StringExactCompare(const wchar_t* a, const wchar_t* b);
int StringExactCompare(const wchar_t* aBegin, const wchar_t* aEnd, const wchar_t* bBegin,
                       const wchar_t* bEnd);
int StringExactCompare(const char* a, const char* b);
int StringExactCompare(const char* aBegin, const char* aEnd, const char* bBegin, const char* bEnd);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
