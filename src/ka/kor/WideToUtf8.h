// Wide (UTF-32) to UTF-8 encoding with the library's coder: up to six bytes per character in the
// original 31-bit scheme; surrogate values are encoded like any other; a value of 0x80000000 or
// more becomes a single "?" (and counts as one byte), so sizes and output always agree.
#pragma once

namespace ka {
namespace kor {

// Encodes a zero-terminated text (null counts as empty) into a new zero-terminated byte array
// (release with delete[]).
char* WideToUtf8(const wchar_t* text);
// Encodes [begin, end), embedded zeros included, into a new zero-terminated byte array.
char* WideToUtf8(const wchar_t* begin, const wchar_t* end);

// Number of bytes the encoding takes, without a terminator.
unsigned int GetUtf8EncodingBytes(const wchar_t* text);
unsigned int GetUtf8EncodingBytes(const wchar_t* begin, const wchar_t* end);

// Encodes [begin, end) into out, which must have room for GetUtf8EncodingBytes(begin, end)
// bytes; writes no terminator and returns one past the last byte written.
char* EncodeUtf8(const wchar_t* begin, const wchar_t* end, char* out);

}  // namespace kor
}  // namespace ka
