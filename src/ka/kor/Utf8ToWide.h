// UTF-8 to wide (UTF-32) decoding with the library's strict coder: sequences of up to six bytes,
// overlong forms and stray continuation or 0xFE/0xFF bytes rejected with InvalidSequence; nothing
// is ever substituted.
#pragma once

namespace ka {
namespace kor {

// Decodes count bytes into a new zero-terminated array (release with delete[]). Embedded zero
// bytes decode to zero characters. Throws InvalidSequence on malformed input, including a last
// sequence that runs past count, and std::bad_alloc, reading nothing, when no array of count + 1
// characters can be had (on a 32-bit build for any count from 2^30 - 1).
wchar_t* Utf8ToWide(const char* bytes, unsigned int count);

// Number of characters that count bytes decode to; throws InvalidSequence exactly where
// Utf8ToWide would.
unsigned int GetUtf8StringLength(const char* bytes, unsigned int count);

// Decodes [begin, end) into out, which must have room for GetUtf8StringLength characters; writes
// no terminator and returns one past the last character written. Throws InvalidSequence.
wchar_t* DecodeUtf8(const char* begin, const char* end, wchar_t* out);

}  // namespace kor
}  // namespace ka
