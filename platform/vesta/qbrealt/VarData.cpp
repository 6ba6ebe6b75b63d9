#include "vesta/VarData.h"

#include <utility>

#include "ka/kor/exception.h"

namespace {

using ka::kor::FlexData;
using ka::kor::fd::FlexType;
namespace ex = ka::kor::exception;

const char kFile[] = "vesta/VarData";

// The flex type each native kind holds; Empty for VT_EMPTY and VT_FLEXDATA.
FlexType NativeFlexType(VarType t) noexcept {
    switch (t) {
        case VT_I2:
            return FlexType::I16;
        case VT_I4:
            return FlexType::I32;
        case VT_R4:
            return FlexType::F32;
        case VT_R8:
            return FlexType::F64;
        case VT_BSTR:
            return FlexType::UTF16;
        case VT_BOOL:
            return FlexType::Bool;
        case VT_I1:
            return FlexType::I8;
        case VT_UI1:
            return FlexType::UI8;
        case VT_UI2:
            return FlexType::UI16;
        case VT_UI4:
            return FlexType::UI32;
        case VT_I8:
            return FlexType::I64;
        case VT_UI8:
            return FlexType::UI64;
        case VT_LPSTR:
            return FlexType::AString;
        default:
            return FlexType::Empty;
    }
}

// The native kind whose plain packet `value` is, or VT_FLEXDATA. A packet with anything in its
// MD besides the one type element (named attributes) has no native kind: a native value cannot
// carry attributes, and dropping them would not be lossless.
VarType NativeKindOf(const FlexData& value) {
    if (value.getMetaDataBuffer().length() != 2) {
        return VT_FLEXDATA;
    }
    static const VarType kNative[] = {VT_I2,  VT_I4,  VT_R4,  VT_R8, VT_BSTR, VT_BOOL, VT_I1,
                                      VT_UI1, VT_UI2, VT_UI4, VT_I8, VT_UI8,  VT_LPSTR};
    const FlexType type = value.getType();
    for (VarType t : kNative) {
        if (NativeFlexType(t) == type) {
            return t;
        }
    }
    return VT_FLEXDATA;
}

bool IsIntegerKind(VarType t) noexcept {
    switch (t) {
        case VT_I1:
        case VT_UI1:
        case VT_I2:
        case VT_UI2:
        case VT_I4:
        case VT_UI4:
        case VT_I8:
        case VT_UI8:
            return true;
        default:
            return false;
    }
}

VarData MakeNative(FlexData flex) {
    VarData v(flex);
    v.convertToNativeType();
    return v;
}

}  // namespace

VarData::VarData() noexcept : type_(VT_EMPTY) {}

VarData::VarData(const FlexData& value)
    : type_(value.getType() == FlexType::Empty ? VT_EMPTY : VT_FLEXDATA), flex_(value) {}

VarData::VarData(const VarData& other) = default;

VarData::VarData(VarData&& other) noexcept : type_(other.type_), flex_(std::move(other.flex_)) {
    other.type_ = VT_EMPTY;
}

VarData& VarData::operator=(const VarData& other) {
    if (this != &other) {
        flex_ = other.flex_;  // may throw; the kind follows only once the bytes are in
        type_ = other.type_;
    }
    return *this;
}

VarData& VarData::operator=(VarData&& other) noexcept {
    if (this != &other) {
        flex_ = std::move(other.flex_);
        type_ = other.type_;
        other.type_ = VT_EMPTY;
    }
    return *this;
}

VarData::~VarData() = default;

void VarData::flexData(const unsigned char* begin, const unsigned char* end) {
    if (begin == nullptr || end < begin || end - begin < 4) {
        throw ex::SyntaxError(__LINE__, kFile, "not a flex packet");
    }
    const std::uint32_t size =
        static_cast<std::uint32_t>(begin[0]) | static_cast<std::uint32_t>(begin[1]) << 8 |
        static_cast<std::uint32_t>(begin[2]) << 16 | static_cast<std::uint32_t>(begin[3]) << 24;
    const auto length = static_cast<std::uint64_t>(end - begin);
    const bool spans = size == length || (size % 2 == 1 && size + 1ull == length);
    if (size != 0 && !spans) {
        throw ex::SyntaxError(__LINE__, kFile, "the packet's size does not match its bytes");
    }
    FlexData parsed;
    try {
        parsed.copyFrom(begin, begin + (size == 0 ? 4 : size));
    } catch (const ex::DeserializationError&) {
        throw ex::SyntaxError(__LINE__, kFile, "not a flex packet");
    }
    type_ = parsed.getType() == FlexType::Empty ? VT_EMPTY : VT_FLEXDATA;
    flex_.swap(parsed);
}

const FlexData& VarData::getFlexData() const {
    if (type_ != VT_FLEXDATA) {
        throw ex::InvalidArgument(__LINE__, kFile);
    }
    return flex_;
}

void VarData::convertToNativeType() {
    if (type_ == VT_FLEXDATA) {
        type_ = NativeKindOf(flex_);
    }
}

void VarData::Convert(VarType to) {
    if (to == type_) {
        return;
    }
    if (to == VT_FLEXDATA && type_ != VT_EMPTY) {
        type_ = VT_FLEXDATA;
        return;
    }
    if (type_ != VT_EMPTY && to != VT_EMPTY && NativeKindOf(flex_) == to) {
        type_ = to;
        return;
    }
    throw ex::InvalidArgument(__LINE__, kFile);
}

VarData VarData::FromI4(std::int32_t v) {
    return MakeNative(FlexData(v));
}

VarData VarData::FromI8(long long v) {
    FlexData f;
    f.setI64(static_cast<std::int64_t>(v));
    return MakeNative(std::move(f));
}

VarData VarData::FromR8(double v) {
    return MakeNative(FlexData(v));
}

VarData VarData::FromBool(bool v) {
    return MakeNative(FlexData(v));
}

VarData VarData::FromString(const std::wstring& v) {
    const wchar_t* p = v.data();
    return MakeNative(FlexData(ka::kor::String(p, p + v.size())));
}

VarData VarData::FromAString(const std::string& v) {
    FlexData f;
    f.setAString(v.data(), static_cast<std::uint32_t>(v.size()));
    return MakeNative(std::move(f));
}

std::int64_t VarData::asInteger() const {
    if (type_ == VT_BOOL) {
        return flex_.getBool() ? 1 : 0;
    }
    if (!IsIntegerKind(type_)) {
        throw ex::InvalidArgument(__LINE__, kFile);
    }
    return flex_.getI64();
}

double VarData::asDouble() const {
    if (!IsIntegerKind(type_) && type_ != VT_R4 && type_ != VT_R8) {
        throw ex::InvalidArgument(__LINE__, kFile);
    }
    return flex_.getF64();
}

std::wstring VarData::asString() const {
    if (type_ == VT_BSTR) {
        const ka::kor::String s = flex_.getUnicode();
        return std::wstring(s.begin(), s.end());
    }
    if (type_ == VT_LPSTR) {
        std::uint32_t length = 0;
        const char* p = flex_.getAString(length);
        std::wstring out(length, L'\0');
        for (std::uint32_t i = 0; i < length; ++i) {
            out[i] = static_cast<wchar_t>(static_cast<unsigned char>(p[i]));
        }
        return out;
    }
    throw ex::InvalidArgument(__LINE__, kFile);
}

bool operator==(const VarData& a, const VarData& b) {
    return a.type_ == b.type_ && a.flex_ == b.flex_;
}
