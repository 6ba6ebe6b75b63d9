// The variants' text forms: reading a value of a given type from text, rendering any variant as
// text or JSON, and the names of the flex types.

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>
#include <system_error>

#include "TimeText.h"
#include "Utf8.h"
#include "Variant.h"

namespace gxhost {

namespace {

struct TypeName {
    std::uint16_t code;
    const char* name;
};

const TypeName kTypeNames[] = {
    {0x0001, "Void"},
    {GX_TYPE_I8, "I8"},
    {GX_TYPE_UI8, "UI8"},
    {GX_TYPE_BOOL, "Bool"},
    {GX_TYPE_I16, "I16"},
    {GX_TYPE_UI16, "UI16"},
    {GX_TYPE_BOOL16, "Bool16"},
    {GX_TYPE_I32, "I32"},
    {GX_TYPE_UI32, "UI32"},
    {GX_TYPE_F32, "F32"},
    {GX_TYPE_I64, "I64"},
    {GX_TYPE_UI64, "UI64"},
    {GX_TYPE_F64, "F64"},
    {GX_TYPE_TIME, "Time"},
    {GX_TYPE_ARRAY, "Array"},
    {GX_TYPE_CLUSTER, "Cluster"},
    {GX_TYPE_ASTRING, "AString"},
    {GX_TYPE_ASTRING_ALT, "AStringAlt"},
    {GX_TYPE_OPAQUE, "Opaque"},
    {GX_TYPE_UTF16, "UTF16"},
};

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

std::string Trim(const std::string& s) {
    std::size_t b = 0;
    std::size_t e = s.size();
    while (b < e && IsSpace(s[b])) {
        ++b;
    }
    while (e > b && IsSpace(s[e - 1])) {
        --e;
    }
    return s.substr(b, e - b);
}

bool EqualsIgnoringCase(const std::string& a, const char* b) {
    if (a.size() != std::strlen(b)) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i]))) {
            return false;
        }
    }
    return true;
}

std::string Hex(const Bytes& bytes) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(2 * bytes.size());
    for (const unsigned char b : bytes) {
        out += kDigits[b >> 4];
        out += kDigits[b & 15];
    }
    return out;
}

template <typename T>
std::string Number(T v) {
    char text[64];
    const std::to_chars_result r = std::to_chars(text, text + sizeof text, v);
    return std::string(text, r.ptr);
}

// The width in bits of an integer type, and whether it is signed.
unsigned Bits(std::uint16_t type) {
    return 8 * ScalarBytes(type);
}

bool IsSignedInteger(std::uint16_t type) {
    return type == GX_TYPE_I8 || type == GX_TYPE_I16 || type == GX_TYPE_I32 || type == GX_TYPE_I64;
}

// A decimal or 0x-hex integer with an optional sign, range-checked for the type.
bool ParseInteger(const std::string& token, std::uint16_t type, std::int64_t& value) {
    std::size_t at = 0;
    const bool negative = !token.empty() && token[0] == '-';
    if (!token.empty() && (token[0] == '-' || token[0] == '+')) {
        at = 1;
    }
    int base = 10;
    if (token.size() - at > 2 && token[at] == '0' &&
        (token[at + 1] == 'x' || token[at + 1] == 'X')) {
        base = 16;
        at += 2;
    }
    if (at >= token.size() || !std::isxdigit(static_cast<unsigned char>(token[at]))) {
        return false;  // no digits, or a second sign that from_chars would take
    }
    std::uint64_t magnitude;
    const char* end = token.data() + token.size();
    const std::from_chars_result r = std::from_chars(token.data() + at, end, magnitude, base);
    if (r.ec != std::errc() || r.ptr != end) {
        return false;
    }
    const unsigned bits = Bits(type);
    if (IsSignedInteger(type)) {
        const std::uint64_t limit = std::uint64_t{1} << (bits - 1);  // |minimum|
        if (negative ? magnitude > limit : magnitude >= limit) {
            return false;
        }
        value = negative ? static_cast<std::int64_t>(0 - magnitude)
                         : static_cast<std::int64_t>(magnitude);
        return true;
    }
    if (negative && magnitude != 0) {
        return false;
    }
    if (bits < 64 && magnitude >> bits != 0) {
        return false;
    }
    value = static_cast<std::int64_t>(magnitude);
    return true;
}

template <typename T>
bool ParseFloating(const std::string& token, T& value) {
    const char* begin = token.data();
    const char* end = begin + token.size();
    // from_chars takes no plus sign; a second sign after it is still refused below.
    if (begin != end && *begin == '+' && end - begin > 1 && begin[1] != '-' && begin[1] != '+') {
        ++begin;
    }
    const std::from_chars_result r = std::from_chars(begin, end, value);
    return begin != end && r.ec == std::errc() && r.ptr == end;
}

MgErr ParseScalar(std::uint16_t type, const std::string& token, GxVariant& out) {
    if (type == GX_TYPE_BOOL || type == GX_TYPE_BOOL16) {
        if (EqualsIgnoringCase(token, "true") || token == "1") {
            return GxVarSetInt(&out, type, 1);
        }
        if (EqualsIgnoringCase(token, "false") || token == "0") {
            return GxVarSetInt(&out, type, 0);
        }
        return mgArgErr;
    }
    if (type == GX_TYPE_F32) {
        float f;
        return ParseFloating(token, f) ? GxVarSetDouble(&out, type, f) : mgArgErr;
    }
    if (type == GX_TYPE_F64) {
        double d;
        return ParseFloating(token, d) ? GxVarSetDouble(&out, type, d) : mgArgErr;
    }
    if (type == GX_TYPE_TIME) {
        std::int64_t seconds;
        std::uint64_t fraction;
        return ParseTime(token, seconds, fraction) ? GxVarSetTime(&out, seconds, fraction)
                                                   : mgArgErr;
    }
    std::int64_t value;
    return ParseInteger(token, type, value) ? GxVarSetInt(&out, type, value) : mgArgErr;
}

MgErr MakeText(std::uint16_t type, const std::string& text, GxVariant& out) {
    if (type != GX_TYPE_UTF16) {
        if (text.size() > static_cast<std::size_t>(INT32_MAX - 4)) {
            return mgArgErr;
        }
        return GxVarSetString(&out, type, text.data(), static_cast<int32_t>(text.size()));
    }
    std::vector<std::uint16_t> units;
    if (!Utf8ToUtf16(text, units) || units.size() > static_cast<std::size_t>(INT32_MAX / 2 - 2)) {
        return mgArgErr;
    }
    return GxVarSetUTF16(&out, units.data(), static_cast<int32_t>(units.size()));
}

// Elements separated by commas, optionally inside [ ]. An element in double quotes is a JSON
// string literal (its content then is the element's text, also for scalars: JSON renders some of
// them as strings); a bare one is the text up to the next comma, trimmed.
MgErr ParseArray(std::uint16_t element, const std::string& text, GxVariant& out) {
    std::string inner = Trim(text);
    if (!inner.empty() && inner.front() == '[') {
        if (inner.back() != ']' || inner.size() < 2) {
            return mgArgErr;
        }
        inner = Trim(inner.substr(1, inner.size() - 2));
    }
    GxVariant made;
    MgErr status = GxVarSetArray(&made, element);
    if (status != mgNoErr) {
        return status;
    }
    const bool isText = IsTextType(element);
    std::size_t at = 0;
    // Each turn reads one element and stops at its comma or at the end; a comma at the very end
    // therefore leaves an empty last element (an empty text, or an error for scalars).
    while (!inner.empty()) {
        std::string token;
        while (at < inner.size() && IsSpace(inner[at])) {
            ++at;
        }
        if (at < inner.size() && inner[at] == '"') {
            if (!ReadJsonString(inner, at, element != GX_TYPE_UTF16, token)) {
                return mgArgErr;
            }
            while (at < inner.size() && IsSpace(inner[at])) {
                ++at;
            }
            if (at < inner.size() && inner[at] != ',') {
                return mgArgErr;
            }
        } else {
            const std::size_t comma = std::min(inner.find(',', at), inner.size());
            token = Trim(inner.substr(at, comma - at));
            at = comma;
        }
        GxVariant e;
        status = isText ? MakeText(element, token, e) : ParseScalar(element, token, e);
        if (status != mgNoErr) {
            return status;
        }
        if (!AppendElement(made, e)) {
            return mgArgErr;
        }
        if (at >= inner.size()) {
            break;
        }
        ++at;
    }
    out = std::move(made);
    return mgNoErr;
}

std::string RenderScalar(const GxVariant& v, bool json) {
    switch (v.type) {
        case GX_TYPE_BOOL:
        case GX_TYPE_BOOL16:
            return LoadBits(v) != 0 ? "true" : "false";
        case GX_TYPE_F32:
        case GX_TYPE_F64: {
            const double d = LoadDouble(v);
            std::string text;
            if (std::isnan(d)) {
                text = "nan";
            } else if (std::isinf(d)) {
                text = d < 0 ? "-inf" : "inf";
            } else {
                // The shortest form that reads back to the same value of the stored width.
                return v.type == GX_TYPE_F32 ? Number(static_cast<float>(d)) : Number(d);
            }
            return json ? "\"" + text + "\"" : text;
        }
        case GX_TYPE_TIME: {
            std::int64_t seconds;
            std::uint64_t fraction;
            GxVarGetTime(&v, &seconds, &fraction);
            const std::string text = FormatTime(seconds, fraction);
            return json ? "\"" + text + "\"" : text;
        }
        case GX_TYPE_UI8:
        case GX_TYPE_UI16:
        case GX_TYPE_UI32:
        case GX_TYPE_UI64:
            return Number(LoadBits(v));
        default:
            return Number(LoadInt(v));
    }
}

// The text's bytes: 8-bit text as it is, UTF16 as UTF-8.
std::string TextBytes(const GxVariant& v) {
    if (v.type != GX_TYPE_UTF16) {
        return std::string(reinterpret_cast<const char*>(v.data.data()) + 4, v.data.size() - 4);
    }
    std::vector<std::uint16_t> units((v.data.size() - 4) / 2);
    for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<std::uint16_t>(v.data[4 + 2 * i] | v.data[5 + 2 * i] << 8);
    }
    return Utf16ToUtf8(units.data(), units.size());
}

std::string Quoted(const std::string& bytes) {
    std::string out;
    AppendJsonString(out, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return out;
}

}  // namespace

std::string Render(const GxVariant& v, bool json) {
    switch (v.kind) {
        case Kind::None:
            return json ? "null" : "";
        case Kind::Packet:
            return json ? "{\"packet\":\"" + Hex(v.data) + "\"}" : Hex(v.data);
        case Kind::Scalar:
            return RenderScalar(v, json);
        case Kind::Text:
            return json ? Quoted(TextBytes(v)) : TextBytes(v);
        case Kind::Array:
            break;
    }
    std::string out = "[";
    const std::uint32_t count = ElementCount(v);
    for (std::uint32_t i = 0; i < count; ++i) {
        const GxVariant e = ElementAt(v, i);
        if (i != 0) {
            out += ',';
        }
        // Texts are quoted in both forms, so that commas and brackets inside them read back.
        out += e.kind == Kind::Text ? Quoted(TextBytes(e)) : RenderScalar(e, json);
    }
    return out + "]";
}

MgErr Parse(std::uint16_t type, std::uint16_t elementType, const char* text, std::size_t length,
            GxVariant& out) {
    const std::string s(text, length);
    if (type == GX_TYPE_ARRAY) {
        return IsElementType(elementType) ? ParseArray(elementType, s, out) : mgNotSupported;
    }
    if (IsTextType(type)) {
        return MakeText(type, s, out);
    }
    if (IsScalarType(type)) {
        return ParseScalar(type, Trim(s), out);
    }
    return mgNotSupported;
}

}  // namespace gxhost

extern "C" {

MgErr GxVarParse(GxVariant* var, uint16_t type, uint16_t elementType, const char* text,
                 int32_t length) {
    if (var == nullptr || (text == nullptr && length != 0)) {
        return mgArgErr;
    }
    try {
        const std::size_t n = length >= 0 ? static_cast<std::size_t>(length)
                                          : (text != nullptr ? std::strlen(text) : 0);
        GxVariant made;
        const MgErr status = gxhost::Parse(type, elementType, text != nullptr ? text : "", n, made);
        if (status == mgNoErr) {
            *var = std::move(made);
        }
        return status;
    } catch (const std::bad_alloc&) {
        return mFullErr;
    } catch (...) {
        return mgArgErr;
    }
}

int32_t GxVarRender(const GxVariant* var, int32_t format, char* buffer, int32_t size) {
    if (var == nullptr || (format != GX_RENDER_TEXT && format != GX_RENDER_JSON) || size < 0 ||
        (buffer == nullptr && size > 0)) {
        return -1;
    }
    try {
        const std::string text = gxhost::Render(*var, format == GX_RENDER_JSON);
        if (text.size() > static_cast<std::size_t>(INT32_MAX)) {
            return -1;
        }
        if (size > 0) {
            const std::size_t n = std::min(text.size(), static_cast<std::size_t>(size) - 1);
            std::memcpy(buffer, text.data(), n);
            buffer[n] = '\0';
        }
        return static_cast<int32_t>(text.size());
    } catch (...) {
        return -1;
    }
}

const char* GxVarTypeName(uint16_t type) {
    for (const gxhost::TypeName& t : gxhost::kTypeNames) {
        if (t.code == type) {
            return t.name;
        }
    }
    return nullptr;
}

uint16_t GxVarTypeFromName(const char* name) {
    if (name == nullptr) {
        return 0;
    }
    const std::string wanted(name);
    for (const gxhost::TypeName& t : gxhost::kTypeNames) {
        if (gxhost::EqualsIgnoringCase(wanted, t.name)) {
            return t.code;
        }
    }
    return 0;
}

}  // extern "C"
