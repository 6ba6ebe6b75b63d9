// Length-prefixed wide strings for platform interfaces: one block holding a 32-bit character
// count, the characters and a terminating zero; callers hold the pointer to the characters.
// Allocation never throws: a failure gives null, as the interfaces that take these expect.
#pragma once

namespace ka {
namespace kor {
namespace osdep {

// A copy of the zero-terminated text; null for a null text or when memory is short.
wchar_t* SystemAllocString(const wchar_t* text);

// A copy of the first count characters of text (zeros included); null for a null text or when
// memory is short.
wchar_t* SystemAllocStringLen(const wchar_t* text, unsigned int count);

// Releases a block made by the functions above; null is ignored.
void SystemFreeString(wchar_t* text);

// The stored character count; 0 for null.
unsigned int SystemStringLength(const wchar_t* text);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
