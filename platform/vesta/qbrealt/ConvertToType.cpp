#include "qbrealt/ConvertToType.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <system_error>

namespace vesta {

namespace {

using ka::kor::BufferWrapper;
using ka::kor::FlexData;
using ka::kor::fd::FlexType;

// A number read from a value, exactly as it was.
struct Number {
    enum Kind { Signed, Unsigned, Real } kind = Signed;
    std::int64_t i = 0;
    std::uint64_t u = 0;
    double d = 0.0;
    bool boolean = false;  // read from a Bool or Bool16
};

bool IsText(FlexType t) {
    return t == FlexType::AString || t == FlexType::AStringAlt || t == FlexType::UTF16;
}

bool IsSignedInteger(FlexType t) {
    return t == FlexType::I8 || t == FlexType::I16 || t == FlexType::I32 || t == FlexType::I64;
}

bool IsUnsignedInteger(FlexType t) {
    return t == FlexType::UI8 || t == FlexType::UI16 || t == FlexType::UI32 || t == FlexType::UI64;
}

// The text of an AString (bytes taken as Latin-1) or UTF16 value as code points.
std::u32string TextOf(const FlexData& v) {
    std::u32string out;
    if (v.getType() == FlexType::UTF16) {
        const ka::kor::String s = v.getUnicode();
        for (wchar_t c : s) {
            out.push_back(static_cast<char32_t>(c));
        }
    } else {
        std::uint32_t length = 0;
        const char* p = v.getAString(length);
        for (std::uint32_t k = 0; k < length; ++k) {
            out.push_back(static_cast<unsigned char>(p[k]));
        }
    }
    return out;
}

// ASCII with surrounding blanks removed; false when any character is not ASCII.
bool TrimmedAscii(const std::u32string& text, std::string& out) {
    std::size_t b = 0;
    std::size_t e = text.size();
    while (b < e && (text[b] == U' ' || text[b] == U'\t')) {
        ++b;
    }
    while (e > b && (text[e - 1] == U' ' || text[e - 1] == U'\t')) {
        --e;
    }
    out.clear();
    for (std::size_t k = b; k < e; ++k) {
        if (text[k] > 0x7F) {
            return false;
        }
        out.push_back(static_cast<char>(text[k]));
    }
    return true;
}

template <typename T>
bool ParseWhole(const std::string& s, T& v) {
    const char* end = s.data() + s.size();
    const std::from_chars_result r = std::from_chars(s.data(), end, v);
    return r.ec == std::errc() && r.ptr == end;
}

bool ParseNumber(const std::u32string& text, Number& n) {
    std::string s;
    if (!TrimmedAscii(text, s) || s.empty()) {
        return false;
    }
    // from_chars takes no leading "+"; a written number may well have one.
    const std::string body = s[0] == '+' ? s.substr(1) : s;
    if (ParseWhole(body, n.i)) {
        n.kind = Number::Signed;
        return true;
    }
    if (ParseWhole(body, n.u)) {
        n.kind = Number::Unsigned;
        return true;
    }
    if (ParseWhole(body, n.d)) {
        n.kind = Number::Real;
        return true;
    }
    return false;
}

bool ReadNumber(const FlexData& v, Number& n) {
    const FlexType t = v.getType();
    if (IsSignedInteger(t)) {
        n.kind = Number::Signed;
        n.i = v.getI64();
    } else if (IsUnsignedInteger(t)) {
        n.kind = Number::Unsigned;
        n.u = v.getUI64();
    } else if (t == FlexType::F32 || t == FlexType::F64) {
        n.kind = Number::Real;
        n.d = v.getF64();
    } else if (t == FlexType::Bool || t == FlexType::Bool16) {
        n.kind = Number::Signed;
        n.i = v.getBool() ? 1 : 0;
        n.boolean = true;
    } else if (IsText(t)) {
        return ParseNumber(TextOf(v), n);
    } else {
        return false;
    }
    return true;
}

// The number as a signed or unsigned integer in [lo, hi]; floating values rounded.
bool ToSigned(const Number& n, std::int64_t lo, std::int64_t hi, std::int64_t& out) {
    switch (n.kind) {
        case Number::Signed:
            out = n.i;
            return n.i >= lo && n.i <= hi;
        case Number::Unsigned:
            out = static_cast<std::int64_t>(n.u);
            return n.u <= static_cast<std::uint64_t>(hi);
        case Number::Real: {
            const double r = std::round(n.d);
            // 2^63 is the first double beyond every int64; the smaller bounds are exact doubles.
            if (!std::isfinite(r) || r < static_cast<double>(lo) || r >= 9223372036854775808.0 ||
                r > static_cast<double>(hi)) {
                return false;
            }
            out = static_cast<std::int64_t>(r);
            return true;
        }
    }
    return false;
}

bool ToUnsigned(const Number& n, std::uint64_t hi, std::uint64_t& out) {
    switch (n.kind) {
        case Number::Signed:
            out = static_cast<std::uint64_t>(n.i);
            return n.i >= 0 && static_cast<std::uint64_t>(n.i) <= hi;
        case Number::Unsigned:
            out = n.u;
            return n.u <= hi;
        case Number::Real: {
            const double r = std::round(n.d);
            if (!std::isfinite(r) || r < 0.0 || r >= 18446744073709551616.0 ||
                r > static_cast<double>(hi)) {
                return false;
            }
            out = static_cast<std::uint64_t>(r);
            return true;
        }
    }
    return false;
}

double ToDouble(const Number& n) {
    switch (n.kind) {
        case Number::Signed:
            return static_cast<double>(n.i);
        case Number::Unsigned:
            return static_cast<double>(n.u);
        case Number::Real:
            return n.d;
    }
    return 0.0;
}

bool StoreNumber(const Number& n, FlexType t, FlexData& out) {
    std::int64_t s = 0;
    std::uint64_t u = 0;
    switch (t) {
        case FlexType::I8:
            if (!ToSigned(n, INT8_MIN, INT8_MAX, s)) {
                return false;
            }
            out.setI8(static_cast<std::int8_t>(s));
            return true;
        case FlexType::I16:
            if (!ToSigned(n, INT16_MIN, INT16_MAX, s)) {
                return false;
            }
            out.setI16(static_cast<std::int16_t>(s));
            return true;
        case FlexType::I32:
            if (!ToSigned(n, INT32_MIN, INT32_MAX, s)) {
                return false;
            }
            out.setI32(static_cast<std::int32_t>(s));
            return true;
        case FlexType::I64:
            if (!ToSigned(n, INT64_MIN, INT64_MAX, s)) {
                return false;
            }
            out.setI64(s);
            return true;
        case FlexType::UI8:
            if (!ToUnsigned(n, UINT8_MAX, u)) {
                return false;
            }
            out.setUI8(static_cast<std::uint8_t>(u));
            return true;
        case FlexType::UI16:
            if (!ToUnsigned(n, UINT16_MAX, u)) {
                return false;
            }
            out.setUI16(static_cast<std::uint16_t>(u));
            return true;
        case FlexType::UI32:
            if (!ToUnsigned(n, UINT32_MAX, u)) {
                return false;
            }
            out.setUI32(static_cast<std::uint32_t>(u));
            return true;
        case FlexType::UI64:
            if (!ToUnsigned(n, UINT64_MAX, u)) {
                return false;
            }
            out.setUI64(u);
            return true;
        case FlexType::F32: {
            const double d = ToDouble(n);
            if (std::isfinite(d) && std::fabs(d) > std::numeric_limits<float>::max()) {
                return false;
            }
            out.setF32(static_cast<float>(d));
            return true;
        }
        case FlexType::F64:
            out.setF64(ToDouble(n));
            return true;
        default:
            return false;
    }
}

bool ReadBool(const FlexData& v, bool& b) {
    const FlexType t = v.getType();
    if (t == FlexType::Bool || t == FlexType::Bool16) {
        b = v.getBool();
        return true;
    }
    if (IsText(t)) {
        std::string s;
        if (!TrimmedAscii(TextOf(v), s)) {
            return false;
        }
        for (char& c : s) {
            c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        }
        if (s == "true" || s == "false") {
            b = s == "true";
            return true;
        }
    }
    Number n;
    if (!ReadNumber(v, n) || (n.kind == Number::Real && std::isnan(n.d))) {
        return false;
    }
    b = n.kind == Number::Signed ? n.i != 0 : n.kind == Number::Unsigned ? n.u != 0 : n.d != 0.0;
    return true;
}

// A packet of only the type code and the data bytes.
void StorePlain(FlexType t, const unsigned char* data, std::uint32_t size, FlexData& out) {
    unsigned char md[2];
    const std::uint16_t code = ka::kor::fd::Code(t);
    md[0] = static_cast<unsigned char>(code & 0xFF);
    md[1] = static_cast<unsigned char>(code >> 8);
    out.buildPacketFromComponents(BufferWrapper(md, 2), BufferWrapper(data, size));
}

void StoreBool(FlexType t, bool b, FlexData& out) {
    if (t == FlexType::Bool) {
        out.setBool(b);
    } else {
        const unsigned char data[2] = {static_cast<unsigned char>(b ? 1 : 0), 0};
        StorePlain(t, data, 2, out);
    }
}

// The value written as text; false for types that have no text form here.
bool TextFor(const FlexData& v, std::u32string& text) {
    const FlexType t = v.getType();
    if (IsText(t)) {
        text = TextOf(v);
        return true;
    }
    if (t == FlexType::Bool || t == FlexType::Bool16) {
        const char* s = v.getBool() ? "true" : "false";
        text.assign(s, s + std::strlen(s));
        return true;
    }
    Number n;
    if (!ka::kor::IsNumericType(t) || !ReadNumber(v, n)) {
        return false;
    }
    char buffer[64];
    std::to_chars_result r;
    if (n.kind == Number::Signed) {
        r = std::to_chars(buffer, buffer + sizeof buffer, n.i);
    } else if (n.kind == Number::Unsigned) {
        r = std::to_chars(buffer, buffer + sizeof buffer, n.u);
    } else if (t == FlexType::F32) {
        // The shortest text that reads back as the same float, not as the double it widens to.
        r = std::to_chars(buffer, buffer + sizeof buffer, static_cast<float>(n.d));
    } else {
        r = std::to_chars(buffer, buffer + sizeof buffer, n.d);
    }
    text.assign(buffer, r.ptr);
    return true;
}

bool StoreText(const std::u32string& text, FlexType t, FlexData& out) {
    if (t == FlexType::UTF16) {
        ka::kor::String s;
        for (char32_t c : text) {
            s += static_cast<wchar_t>(c);
        }
        out.setUTF16(s);
        return true;
    }
    std::string bytes;
    for (char32_t c : text) {
        if (c > 0xFF) {
            return false;
        }
        bytes.push_back(static_cast<char>(c));
    }
    if (t == FlexType::AString) {
        out.setAString(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        return true;
    }
    std::string data(4, '\0');
    const auto count = static_cast<std::uint32_t>(bytes.size());
    for (int k = 0; k < 4; ++k) {
        data[k] = static_cast<char>((count >> (8 * k)) & 0xFF);
    }
    data += bytes;
    StorePlain(t, reinterpret_cast<const unsigned char*>(data.data()),
               static_cast<std::uint32_t>(data.size()), out);
    return true;
}

bool SameDescription(const FlexData& a, const FlexData& b) {
    const BufferWrapper ma = a.getMetaDataBuffer();
    const BufferWrapper mb = b.getMetaDataBuffer();
    return ma.length() == mb.length() && std::memcmp(ma.data(), mb.data(), ma.length()) == 0;
}

}  // namespace

bool ConvertToType(const FlexData& value, const FlexData& like, FlexData& out) {
    const FlexType from = value.getType();
    const FlexType to = like.getType();
    if (from == FlexType::Empty || to == FlexType::Empty) {
        return false;
    }
    FlexData result;
    if (ka::kor::IsNumericType(to)) {
        Number n;
        if (!ReadNumber(value, n) || !StoreNumber(n, to, result)) {
            return false;
        }
    } else if (to == FlexType::Bool || to == FlexType::Bool16) {
        bool b = false;
        if (!ReadBool(value, b)) {
            return false;
        }
        StoreBool(to, b, result);
    } else if (IsText(to)) {
        std::u32string text;
        if (!TextFor(value, text) || !StoreText(text, to, result)) {
            return false;
        }
    } else if (to == FlexType::Time && from == FlexType::Time) {
        result.setTime(value.getTime());
    } else if (from == to && SameDescription(value, like)) {
        result = value;
    } else {
        return false;
    }
    out.swap(result);
    return true;
}

}  // namespace vesta
