// The provider's value: empty, one of its native scalar and string kinds, or the flex-data form
// (VT_FLEXDATA) that carries a whole flex packet. Every flex type has the flex-data form; the
// native kinds exist only where one holds the flex type without loss, so converting flex →
// native → flex gives back the same packet bytes.
#pragma once

#include <cstdint>
#include <string>

#include "ka/kor/FlexData.h"

// Kinds of VarData. The numbers are the provider's own and travel between processes.
enum VarType : std::uint16_t {
    VT_EMPTY = 0,
    VT_I2 = 2,       // flex I16
    VT_I4 = 3,       // flex I32
    VT_R4 = 4,       // flex F32
    VT_R8 = 5,       // flex F64
    VT_BSTR = 8,     // flex UTF16 (wide text)
    VT_BOOL = 11,    // flex Bool
    VT_I1 = 16,      // flex I8
    VT_UI1 = 17,     // flex UI8
    VT_UI2 = 18,     // flex UI16
    VT_UI4 = 19,     // flex UI32
    VT_I8 = 20,      // flex I64
    VT_UI8 = 21,     // flex UI64
    VT_LPSTR = 30,   // flex AString (8-bit text)
    VT_FLEXDATA = 0x1013,
};

class VarData {
  public:
    // Empty (VT_EMPTY).
    VarData() noexcept;
    // The flex-data form holding a copy of `value`'s packet; an empty FlexData (no packet) gives
    // VT_EMPTY.
    explicit VarData(const ka::kor::FlexData& value);
    VarData(const VarData& other);
    VarData(VarData&& other) noexcept;
    VarData& operator=(const VarData& other);
    VarData& operator=(VarData&& other) noexcept;
    ~VarData();

    VarType type() const noexcept { return type_; }
    bool empty() const noexcept { return type_ == VT_EMPTY; }

    // Makes this the flex-data form of the packet [begin, end). SyntaxError (and this unchanged)
    // when the bytes are not one whole flex packet: its size field must span the range (or all
    // but the pad byte of an odd-sized packet). A lone zero size field gives VT_EMPTY.
    void flexData(const unsigned char* begin, const unsigned char* end);
    // The packet of a VT_FLEXDATA value; InvalidArgument for any other kind (Convert first).
    const ka::kor::FlexData& getFlexData() const;

    // Turns a flex-data value into its native kind where one exists (table above); any other
    // value is left unchanged.
    void convertToNativeType();
    // Converts this value in place to `to`: VT_FLEXDATA from any kind but empty, a native kind
    // from its own flex type. InvalidArgument when there is no lossless way.
    void Convert(VarType to);

    // The value as a flex packet whatever its kind (a native kind is its own flex type's plain
    // packet); empty for VT_EMPTY.
    const ka::kor::FlexData& packet() const noexcept { return flex_; }

    // VT_I8 (long long: 64 bits on both builds, and one exported name) and VT_LPSTR (the bytes
    // as they stand).
    static VarData FromI8(long long v);
    static VarData FromAString(const std::string& v);

    // Native values. Each raises InvalidArgument unless the value is of that kind.
    static VarData FromI4(std::int32_t v);
    static VarData FromR8(double v);
    static VarData FromBool(bool v);
    static VarData FromString(const std::wstring& v);  // VT_BSTR
    std::int64_t asInteger() const;   // any integer or boolean kind
    double asDouble() const;          // any numeric kind
    std::wstring asString() const;    // VT_BSTR or VT_LPSTR (bytes as Latin-1)

    // Same kind and same packet bytes.
    friend bool operator==(const VarData& a, const VarData& b);
    friend bool operator!=(const VarData& a, const VarData& b) { return !(a == b); }

  private:
    // Every kind keeps its value as a flex packet; a native kind is the same packet seen through
    // its native type, which keeps conversions lossless and cheap.
    VarType type_;
    ka::kor::FlexData flex_;
};
