// Wide strings to and from UTF-16LE code units, the form in which flex packets carry Unicode
// text. The serialized form is the bare code units, no count and no terminator: the packet
// stores its own count beside them, so the size of a text of basic-plane characters is exactly
// twice its length.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// Transcodes through iconv. Characters outside the basic plane become surrogate pairs; a
// character that UTF-16 cannot hold (a surrogate value, or above 0x10FFFF) becomes "?". On
// reading, a unit that does not decode (an unpaired surrogate, or an odd last byte) becomes "?".
class IconvUtf16Coder {
  public:
    // Bytes that SerializeAsUtf16 writes for text.
    static unsigned int GetUtf16SerializationSize(const String& text);
    // Writes the code units at out and advances it; throws BufferOverflow, writing nothing, when
    // fewer than GetUtf16SerializationSize(text) bytes remain before outEnd.
    static void SerializeAsUtf16(const String& text, unsigned char*& out,
                                 const unsigned char* outEnd);
    // Decodes every byte of [begin, end) (null is the empty text).
    static String DeserializeFromUtf16(const unsigned char* begin, const unsigned char* end);
};

// Two bytes per character, no surrogate pairs: the size is always twice the length. A character
// above 0xFFFF is written as "?"; on reading every unit is one character and an odd last byte
// becomes "?".
class PlainUtf16Coder {
  public:
    static unsigned int GetUtf16SerializationSize(const String& text);
    static void SerializeAsUtf16(const String& text, unsigned char*& out,
                                 const unsigned char* outEnd);
    static String DeserializeFromUtf16(const unsigned char* begin, const unsigned char* end);
};

// The coder in use. The iconv coder keeps characters outside the basic plane, which the plain
// one would lose.
class SerializeUtf16 : public IconvUtf16Coder {};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
