// UTF-8 and JSON string helpers for the variants' text forms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace gxhost {

// Decodes one strictly valid UTF-8 sequence at p (no overlong forms, surrogates or code points
// past U+10FFFF) into cp and advances p; false, p unchanged, for anything else.
bool DecodeUtf8(const unsigned char*& p, const unsigned char* end, std::uint32_t& cp);

void AppendUtf8(std::string& out, std::uint32_t cp);

// UTF-8 text as UTF-16 units; false for text that is not valid UTF-8.
bool Utf8ToUtf16(const std::string& text, std::vector<std::uint16_t>& units);
// UTF-16 units as UTF-8; an unpaired surrogate becomes U+FFFD.
std::string Utf16ToUtf8(const std::uint16_t* units, std::size_t count);

// Appends bytes as a JSON string literal, quotes included: valid UTF-8 as it is, control
// characters, quotes and backslashes escaped, and every byte of an invalid sequence as \u00XX.
void AppendJsonString(std::string& out, const unsigned char* bytes, std::size_t n);

// Reads a JSON string literal starting at text[at] (the opening quote) and advances at past its
// closing quote. Escapes give UTF-8, except that in latin1 mode \u0000 to \u00FF give the byte
// itself (the inverse of AppendJsonString for 8-bit text). False for a malformed literal.
bool ReadJsonString(const std::string& text, std::size_t& at, bool latin1, std::string& out);

}  // namespace gxhost
