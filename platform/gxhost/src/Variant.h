// The host's value type as the runtime holds it: a modelled value kept in its flex wire form, or a
// whole flex packet for anything the model does not cover. Keeping the wire form makes writing a
// packet back a matter of putting the pieces together, byte for byte.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "gxhost/GxVariant.h"

namespace gxhost {

typedef std::vector<unsigned char> Bytes;

enum class Kind : std::uint8_t {
    None,    // no value
    Scalar,  // data: the little-endian value (1 to 16 bytes)
    Text,    // data: the 32-bit count, then the bytes (AString) or the 16-bit units (UTF16)
    Array,   // data: the 32-bit element count, then the elements (texts each padded to even)
    Packet,  // data: the whole packet; type: the code of its type element
};

// Whether code is a scalar the model knows (I8 to F64, Bool, Bool16, Time) and its size.
bool IsScalarType(std::uint16_t code);
std::uint32_t ScalarBytes(std::uint16_t code);
// AString, AStringAlt or UTF16.
bool IsTextType(std::uint16_t code);
// A type an array of the model may hold: a scalar or a text.
inline bool IsElementType(std::uint16_t code) {
    return IsScalarType(code) || IsTextType(code);
}

}  // namespace gxhost

struct GxVariant {
    gxhost::Kind kind = gxhost::Kind::None;
    std::uint16_t type = 0;
    std::uint16_t elementType = 0;  // Array
    gxhost::Bytes prefix;           // MD elements in front of the type element, kept verbatim
    gxhost::Bytes data;
    std::vector<std::uint32_t> offsets;  // Array of texts: where each element starts in data
};

namespace gxhost {

// The packet of a variant: its size field, the prefix, the type element, the data and a zero pad
// byte when the data is odd; a lone 32-bit zero for no value; the packet itself for a packet.
Bytes Encode(const GxVariant& v);
// The variant of the packet [packet, packet + size); mgArgErr for a malformed packet. Throws
// std::bad_alloc when memory is short.
MgErr Decode(const unsigned char* packet, std::int32_t size, GxVariant& out);

// Elements of a modelled array.
std::uint32_t ElementCount(const GxVariant& array);
// The element as a variant of its own (no prefix). index must be below ElementCount.
GxVariant ElementAt(const GxVariant& array, std::uint32_t index);
// Appends element (a modelled scalar or text of the array's element type); false otherwise.
bool AppendElement(GxVariant& array, const GxVariant& element);

// Readers of a scalar's data; the type must be one they accept (callers check).
std::uint64_t LoadBits(const GxVariant& v);  // integer, Bool or Bool16 bits, zero-extended
std::int64_t LoadInt(const GxVariant& v);    // ... sign-extended for signed types
double LoadDouble(const GxVariant& v);       // any numeric type

// Text forms (GxVariant.h describes them). Render throws std::bad_alloc; Parse returns
// mgArgErr for text that is no value of the type and mgNotSupported for a type it does not build.
std::string Render(const GxVariant& v, bool json);
MgErr Parse(std::uint16_t type, std::uint16_t elementType, const char* text, std::size_t length,
            GxVariant& out);

}  // namespace gxhost
