// The flex packet: one self-describing, contiguous byte block holding a value's type description
// (the metadata, MD) and its data, the form in which every value crosses the network and the host
// boundary. These routines define the layout and walk it in place over [begin, end) ranges: they
// never allocate, never copy nested packets and never read or write at or past end.
//
// Layout: a 4-byte little-endian total size (counting itself), the MD (prefix elements, then one
// type element), the data, and one zero pad byte when the data size is odd. Every bound violation
// raises exception::SyntaxError recorded at "ka/kor/fd" and the line constant of the failing check.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ka/kor/AbsTime.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/little_endian.h"

namespace ka {
namespace kor {
namespace fd {

// Recorded positions of the packet checks; logs and other components refer to these numbers.
constexpr const char* kSourceFile = "ka/kor/fd";
constexpr std::uint32_t kMemCpySourceLine = 138;       // BufferOverflow: source range too short
constexpr std::uint32_t kMemCpyDestinationLine = 141;  // destination range too short
constexpr std::uint32_t kCodeReadLine = 223;           // a 2-byte code (or a cluster head)
constexpr std::uint32_t kSampleTypeRoomLine = 232;     // no room for a waveform's sample type
constexpr std::uint32_t kUI32ReadLine = 279;           // a 4-byte field
constexpr std::uint32_t kPacketHeadLine = 393;         // packet shorter than its size field or MD
constexpr std::uint32_t kClusterWalkLine = 454;        // a member or element walk passes end
constexpr std::uint32_t kArrayHeadLine = 472;          // an array head or its dimensions

// How a reader takes a 32-bit field: any value other than TAEndianLittle means host order.
enum TAEndian { TAEndianLittle = 0, TAEndianNative = 1 };

// Type codes of type elements. Bits 8-12 are the size class; codes below 0x0700 are fixed-size
// scalars sized by their class alone. Any 16-bit value may stand in a packet, named or not.
enum class FlexType : std::uint16_t {
    Empty = 0x0000,  // what an object without a packet reports
    Void = 0x0001,   // a value with no data (size class 0)
    I8 = 0x0100,
    UI8 = 0x0101,
    Bool = 0x0102,
    I16 = 0x0200,
    UI16 = 0x0201,
    Bool16 = 0x0202,
    I32 = 0x0300,
    UI32 = 0x0301,
    F32 = 0x0302,
    I64 = 0x0400,
    UI64 = 0x0401,
    F64 = 0x0402,
    Time = 0x0504,
    Array = 0x0800,
    Cluster = 0x0801,
    AString = 0x0900,     // 32-bit byte count, then the bytes
    AStringAlt = 0x0901,  // same layout; read wherever 8-bit text is read
    Opaque = 0x0902,      // 32-bit total size counting itself, then the content
    UTF16 = 0x0A00,       // 32-bit count of code units, then the units
};

// Attribute numbers: an attribute element's code is 0x4000 | FlexAttr.
enum FlexAttr : std::uint16_t {
    FlexAttrNamed = 2,  // a named attribute: its packet is the value and carries a FlexAttrName
    FlexAttrName = 3,   // the name of the packet it stands in, as an AString packet
};

// Element classes: the top three bits of an element code.
constexpr std::uint16_t kClassMask = 0xE000;
constexpr std::uint16_t kAttributeClass = 0x4000;
constexpr std::uint16_t kMarkerClass = 0x8000;
constexpr std::uint16_t kTypeCodeMask = 0x1FFF;
constexpr std::uint16_t kSizeClassMask = 0x1F00;
// Type codes up to this one are fixed-size scalars.
constexpr std::uint16_t kLargestScalarCode = 0x06FF;

constexpr std::uint16_t Code(FlexType t) noexcept {
    return static_cast<std::uint16_t>(t);
}
constexpr std::uint16_t AttributeCode(FlexAttr a) noexcept {
    return static_cast<std::uint16_t>(kAttributeClass | a);
}
// Whether a type code is a fixed-size scalar (its code read as signed is at most 0x06FF).
constexpr bool IsScalarCode(std::uint16_t code) noexcept {
    return static_cast<std::int16_t>(code) <= static_cast<std::int16_t>(kLargestScalarCode);
}
// The data size of a size class below 0x0700: 1, 2, 4, 8, 16 or 32; 0 for any other class.
constexpr std::uint32_t ScalarSize(std::uint16_t code) noexcept {
    switch (code & kSizeClassMask) {
        case 0x0100:
            return 1;
        case 0x0200:
            return 2;
        case 0x0300:
            return 4;
        case 0x0400:
            return 8;
        case 0x0500:
            return 16;
        case 0x0600:
            return 32;
        default:
            return 0;
    }
}

// The waveform constant blocks: the 52-byte attribute block that marks a waveform (a named
// attribute "_KA_MDT" holding the cluster ("MDT", 3)), the 28 bytes of the waveform type in front
// of the sample type, the 32 bytes after it, and the 20 data bytes after the samples (an empty
// error record and a 10-byte Opaque block).
extern const unsigned char k_waveformAttributes[52];
extern const unsigned char k_waveformTypePrefix[28];
extern const unsigned char k_waveformTypeSuffix[32];
extern const unsigned char k_waveformDataSuffix[20];

// ---- Bounds checks ------------------------------------------------------------------------------

[[noreturn]] void ThrowSyntaxError(std::uint32_t line);

// Whether the n bytes from p lie before end. A p past end has no room at all. The test is made on
// the distance, so a hostile n never forms a pointer beyond the range.
inline bool HasRoom(const unsigned char* p, std::uint64_t n, const unsigned char* end) noexcept {
    return p <= end && static_cast<std::uint64_t>(end - p) >= n;
}

// Raises SyntaxError recorded at line unless the n bytes from p lie before end.
inline void CheckRoom(const unsigned char* p, std::uint64_t n, const unsigned char* end,
                      std::uint32_t line) {
    if (!HasRoom(p, n, end)) {
        ThrowSyntaxError(line);
    }
}

// The little-endian 16-bit code at p; SyntaxError (line 223) when p + 2 passes end.
inline std::uint16_t ReadCode(const unsigned char* p, const unsigned char* end) {
    CheckRoom(p, 2, end, kCodeReadLine);
    std::uint16_t v;
    std::memcpy(&v, p, 2);
    return little_endian::FromLittleEndian(v);
}

// The unsigned 32-bit value at p, converted from little-endian for TAEndianLittle and taken as it
// lies for any other value; SyntaxError (line 279) when p + 4 passes end.
inline std::uint32_t GetUI32(const unsigned char* p, const unsigned char* end, TAEndian endian) {
    CheckRoom(p, 4, end, kUI32ReadLine);
    std::uint32_t v;
    std::memcpy(&v, p, 4);
    return endian == TAEndianLittle ? little_endian::FromLittleEndian(v) : v;
}

// Copies n bytes from src to dst and returns n. A source shorter than n raises BufferOverflow
// (line 138), checked first; a destination shorter than n raises SyntaxError (line 141). The two
// different exception types are deliberate: callers tell a bad source from a full destination.
unsigned long MemCpy(unsigned char* dst, const unsigned char* dstEnd, const unsigned char* src,
                     const unsigned char* srcEnd, unsigned long n);

// ---- Walking the MD -----------------------------------------------------------------------------

// Size of the MD element at element: 2 for scalar types, markers and other type codes; 2 + the
// attribute packet's size for attributes; 0 for the undefined classes 0x2000, 0x6000, 0xA000,
// 0xC000 and 0xE000; the full description of an array or cluster. A cluster's member count is
// decremented before it is tested, so a count of 0 walks on until the walk passes end and raises
// SyntaxError; that outcome is deliberate (a count of 0 never describes a valid cluster). A size
// beyond 32 bits raises SyntaxError (line 223) instead of wrapping.
std::uint32_t GetMDEltSize(const unsigned char* element, const unsigned char* end);

// element + GetMDEltSize; SyntaxError (line 223) when that passes end.
const unsigned char* GetNextElt(const unsigned char* element, const unsigned char* end);

// The element after element, with its code stored in code; SyntaxError (line 223) when that
// element's code does not lie before end.
const unsigned char* GetNextElt(const unsigned char* element, std::uint16_t& code,
                                const unsigned char* end);

// The MD's type element: the first element whose class bits are zero. An element of an undefined
// class would stall the walk forever; it raises SyntaxError (line 223) instead.
const unsigned char* GetTypeFromMD(const unsigned char* md, const unsigned char* end);

// Bytes from md to the end of its type element (prefix elements included); SyntaxError (line
// 393) when the type element runs past end.
std::uint32_t GetMDSize(const unsigned char* md, const unsigned char* end);

// GetTypeFromMD(packet + 4, end); SyntaxError (line 393) when the size field does not fit.
const unsigned char* GetTypeFromPacket(const unsigned char* packet, const unsigned char* end);

// The packet's first data byte, packet + 4 + GetMDSize(packet + 4, end); at most end.
const unsigned char* GetData(const unsigned char* packet, const unsigned char* end);

// The data size implied by the code alone: the scalar size below 0x0700; 0 for Array and
// Cluster; 4 for the 8-bit and UTF-16 string families (the count field); 8 for Opaque; 0 for
// anything unknown.
std::uint32_t GetDataSize(FlexType type);

// The data size of the value whose type element is at type and whose data is at data, or, for a
// null data, the minimum size (as when a value is first created). Scalar arrays are sized by one
// multiplication; arrays of other elements and clusters are walked, each element or member
// rounded up to even, in time linear in the MD times the elements walked. Sizes read from the data
// are not checked against end beyond the walk itself: callers that use the bytes check them.
//
// Nothing wraps: an array's element count is GetElementCount's (line 472), and a size beyond 32
// bits raises line 454. Every nested MD that is walked must lie inside the description that holds
// it (its size counting the 4-byte size field and the MD), else line 454; so does a cluster member
// description of size 0.
std::uint32_t GetDataSize(const unsigned char* type, const unsigned char* data,
                          const unsigned char* end);

// The element count of an array whose numDims signed 32-bit sizes are at dims: their product, 0
// when any of them is 0 whatever the others say. Formed without wrapping: a product that is
// negative or beyond 32 bits raises SyntaxError (line 472), as do sizes that run past end.
std::uint32_t GetElementCount(const unsigned char* dims, std::uint32_t numDims,
                              const unsigned char* end);

// ---- Attributes ---------------------------------------------------------------------------------

// The first prefix element of md with code 0x4000 | attr, or null once the type element is reached.
const unsigned char* GetAttributeMD(const unsigned char* md, FlexAttr attr,
                                    const unsigned char* end);

// The first named attribute (0x4002) among md's prefix elements whose FlexAttrName is an AString
// equal byte for byte to name (case-sensitive), or null once the type element is reached. Name
// bytes that run past end raise SyntaxError (line 393).
const unsigned char* GetAttributeMD(const unsigned char* md, const AString& name,
                                    const unsigned char* end);

// The attribute packet of the matching element (element + 2), or null.
const unsigned char* GetAttributePacket(const unsigned char* md, FlexAttr attr,
                                        const unsigned char* end);
const unsigned char* GetAttributePacket(const unsigned char* md, const AString& name,
                                        const unsigned char* end);

// ---- Time ---------------------------------------------------------------------------------------

// Writes the 16-byte time encoding (four 32-bit words, least significant first, each
// little-endian). Each word is checked before it is written: SyntaxError (line 279) leaves the
// words before it written.
void SetTime(unsigned char* dst, const AbsTime& time, const unsigned char* dstEnd);

// Reads the 16-byte time encoding; SyntaxError (line 279) when it does not fit before end.
AbsTime GetTime(const unsigned char* p, const unsigned char* end, TAEndian endian);

// ---- Waveforms ----------------------------------------------------------------------------------
//
// A waveform packet is 4 + 52 + 62 + (n + 48) bytes for n sample bytes, never rounded: its size
// field, k_waveformAttributes, the waveform type, t0 (time encoding), dt (F64), the 32-bit sample
// count, the samples back to back and k_waveformDataSuffix directly after the last sample byte.

// Whether the range from md (a type element, after the attribute block) to end is a waveform
// type: more than 61 bytes, the prefix, a sample type that passes IsWaveformSampleType, the suffix.
bool IsWaveformType(const unsigned char* md, const unsigned char* end);

// False for Bool and Bool16 only. Every other code passes, strings and clusters included: the
// test is deliberately that narrow, as other writers rely on it.
constexpr bool IsWaveformSampleType(FlexType t) noexcept {
    return t != FlexType::Bool && t != FlexType::Bool16;
}

// The sample type at offset 28 of a waveform type; SyntaxError (line 223) when it does not fit.
FlexType GetWaveformSampleType(const unsigned char* waveformType, const unsigned char* end);

// Writers of the waveform blocks; each returns the bytes written (52, 62, 20). A destination too
// short for a block raises SyntaxError (line 141, or 232 for the sample type).
unsigned long SetWaveformAttributes(unsigned char* dst, const unsigned char* dstEnd);
unsigned long SetWaveformType(unsigned char* dst, const unsigned char* dstEnd, FlexType sampleType);
unsigned long SetWaveformDataSuffix(unsigned char* dst, const unsigned char* dstEnd);

constexpr std::uint32_t CalculateWaveformAttributeSize() noexcept {
    return 52;
}
constexpr std::uint32_t CalculateWaveformTypeSize() noexcept {
    return 62;
}
// t0, dt, the sample count, the samples and the data suffix.
constexpr std::uint32_t CalculateWaveformDataSize(std::uint32_t sampleBytes) noexcept {
    return AbsTime::size + sampleBytes + 32;
}

}  // namespace fd
}  // namespace kor
}  // namespace ka
