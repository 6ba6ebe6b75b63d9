#include "Variant.h"

#include <cstring>
#include <new>
#include <utility>

#include "Memory.h"

namespace gxhost {

namespace {

void StoreUI32(unsigned char* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) {
        p[i] = static_cast<unsigned char>(v >> (8 * i));
    }
}

std::uint32_t LoadUI32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

bool IsSigned(std::uint16_t code) {
    return code == GX_TYPE_I8 || code == GX_TYPE_I16 || code == GX_TYPE_I32 || code == GX_TYPE_I64;
}

bool IsInteger(std::uint16_t code) {
    switch (code) {
        case GX_TYPE_I8:
        case GX_TYPE_UI8:
        case GX_TYPE_I16:
        case GX_TYPE_UI16:
        case GX_TYPE_I32:
        case GX_TYPE_UI32:
        case GX_TYPE_I64:
        case GX_TYPE_UI64:
            return true;
        default:
            return false;
    }
}

bool IsBool(std::uint16_t code) {
    return code == GX_TYPE_BOOL || code == GX_TYPE_BOOL16;
}

bool IsScalarOf(const GxVariant* v, bool (*accepts)(std::uint16_t)) {
    return v != nullptr && v->kind == Kind::Scalar && accepts(v->type);
}

bool IsNumeric(std::uint16_t code) {
    return IsInteger(code) || code == GX_TYPE_F32 || code == GX_TYPE_F64;
}

bool IsIntegerOrBool(std::uint16_t code) {
    return IsInteger(code) || IsBool(code);
}

// Runs a builder on a scratch variant and moves the result in only when it succeeds, so that a
// failing setter leaves the variant as it was.
template <typename Build>
MgErr Replace(GxVariant* var, Build build) {
    if (var == nullptr) {
        return mgArgErr;
    }
    try {
        GxVariant made;
        const MgErr status = build(made);
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

}  // namespace

bool IsScalarType(std::uint16_t code) {
    return ScalarBytes(code) != 0;
}

std::uint32_t ScalarBytes(std::uint16_t code) {
    switch (code) {
        case GX_TYPE_I8:
        case GX_TYPE_UI8:
        case GX_TYPE_BOOL:
            return 1;
        case GX_TYPE_I16:
        case GX_TYPE_UI16:
        case GX_TYPE_BOOL16:
            return 2;
        case GX_TYPE_I32:
        case GX_TYPE_UI32:
        case GX_TYPE_F32:
            return 4;
        case GX_TYPE_I64:
        case GX_TYPE_UI64:
        case GX_TYPE_F64:
            return 8;
        case GX_TYPE_TIME:
            return 16;
        default:
            return 0;
    }
}

bool IsTextType(std::uint16_t code) {
    return code == GX_TYPE_ASTRING || code == GX_TYPE_ASTRING_ALT || code == GX_TYPE_UTF16;
}

std::uint32_t ElementCount(const GxVariant& array) {
    return LoadUI32(array.data.data());
}

GxVariant ElementAt(const GxVariant& array, std::uint32_t index) {
    GxVariant e;
    e.type = array.elementType;
    if (IsScalarType(array.elementType)) {
        e.kind = Kind::Scalar;
        const std::uint32_t n = ScalarBytes(array.elementType);
        const auto first = array.data.begin() + 4 + static_cast<std::ptrdiff_t>(index) * n;
        e.data.assign(first, first + n);
    } else {
        e.kind = Kind::Text;
        const std::uint32_t at = array.offsets[index];
        const std::uint32_t count = LoadUI32(array.data.data() + at);
        const std::uint32_t n = 4 + count * (array.elementType == GX_TYPE_UTF16 ? 2 : 1);
        e.data.assign(array.data.begin() + at, array.data.begin() + at + n);
    }
    return e;
}

bool AppendElement(GxVariant& array, const GxVariant& element) {
    const Kind wanted = IsScalarType(array.elementType) ? Kind::Scalar : Kind::Text;
    if (array.kind != Kind::Array || element.kind != wanted || element.type != array.elementType ||
        ElementCount(array) >= INT32_MAX) {
        return false;
    }
    const bool pad = wanted == Kind::Text && (element.data.size() & 1u) != 0;
    // Room first, so that a shortage of memory throws before anything changes.
    array.data.reserve(array.data.size() + element.data.size() + (pad ? 1 : 0));
    if (wanted == Kind::Text) {
        array.offsets.reserve(array.offsets.size() + 1);
        array.offsets.push_back(static_cast<std::uint32_t>(array.data.size()));
    }
    array.data.insert(array.data.end(), element.data.begin(), element.data.end());
    if (pad) {
        array.data.push_back(0);  // every text element is padded to even
    }
    StoreUI32(array.data.data(), ElementCount(array) + 1);
    return true;
}

std::uint64_t LoadBits(const GxVariant& v) {
    std::uint64_t bits = 0;
    for (std::size_t i = v.data.size(); i-- > 0;) {
        bits = bits << 8 | v.data[i];
    }
    return bits;
}

std::int64_t LoadInt(const GxVariant& v) {
    const std::uint64_t bits = LoadBits(v);
    const unsigned width = static_cast<unsigned>(8 * v.data.size());
    if (!IsSigned(v.type) || width >= 64) {
        return static_cast<std::int64_t>(bits);
    }
    const std::uint64_t sign = std::uint64_t{1} << (width - 1);
    return static_cast<std::int64_t>((bits ^ sign) - sign);
}

double LoadDouble(const GxVariant& v) {
    if (v.type == GX_TYPE_F32) {
        const std::uint32_t bits = static_cast<std::uint32_t>(LoadBits(v));
        float f;
        std::memcpy(&f, &bits, 4);
        return f;
    }
    if (v.type == GX_TYPE_F64) {
        const std::uint64_t bits = LoadBits(v);
        double d;
        std::memcpy(&d, &bits, 8);
        return d;
    }
    return v.type == GX_TYPE_UI64 ? static_cast<double>(LoadBits(v))
                                  : static_cast<double>(LoadInt(v));
}

}  // namespace gxhost

using gxhost::Kind;

extern "C" {

GxVariant* GxVarNew(void) {
    GxVariant* v = new (std::nothrow) GxVariant;
    if (v != nullptr) {
        gxhost::NoteVariantCreated();
    }
    return v;
}

void GxVarDispose(GxVariant* var) {
    if (var != nullptr) {
        delete var;
        gxhost::NoteVariantDisposed();
    }
}

MgErr GxVarCopy(GxVariant* to, const GxVariant* from) {
    if (from == nullptr) {
        return mgArgErr;
    }
    return gxhost::Replace(to, [from](GxVariant& made) {
        made = *from;
        return mgNoErr;
    });
}

uint16_t GxVarType(const GxVariant* var) {
    return var != nullptr ? var->type : 0;
}

uint16_t GxVarElementType(const GxVariant* var) {
    return var != nullptr && var->kind == Kind::Array ? var->elementType : 0;
}

GxBoolean GxVarIsPacket(const GxVariant* var) {
    return var != nullptr && var->kind == Kind::Packet;
}

GxBoolean GxVarHasPrefix(const GxVariant* var) {
    return var != nullptr && !var->prefix.empty();
}

int32_t GxVarCount(const GxVariant* var) {
    if (var == nullptr || var->kind != Kind::Array) {
        return -1;
    }
    return static_cast<int32_t>(gxhost::ElementCount(*var));
}

MgErr GxVarGetElement(const GxVariant* var, int32_t index, GxVariant* element) {
    if (var == nullptr || var->kind != Kind::Array || index < 0 ||
        static_cast<std::uint32_t>(index) >= gxhost::ElementCount(*var)) {
        return mgArgErr;
    }
    return gxhost::Replace(element, [&](GxVariant& made) {
        made = gxhost::ElementAt(*var, static_cast<std::uint32_t>(index));
        return mgNoErr;
    });
}

MgErr GxVarGetInt(const GxVariant* var, int64_t* value) {
    if (var == nullptr || value == nullptr) {
        return mgArgErr;
    }
    if (!gxhost::IsScalarOf(var, gxhost::IsIntegerOrBool)) {
        return mgNotSupported;
    }
    *value = gxhost::LoadInt(*var);
    return mgNoErr;
}

MgErr GxVarGetDouble(const GxVariant* var, double* value) {
    if (var == nullptr || value == nullptr) {
        return mgArgErr;
    }
    if (!gxhost::IsScalarOf(var, gxhost::IsNumeric)) {
        return mgNotSupported;
    }
    *value = gxhost::LoadDouble(*var);
    return mgNoErr;
}

MgErr GxVarGetBool(const GxVariant* var, GxBoolean* value) {
    if (var == nullptr || value == nullptr) {
        return mgArgErr;
    }
    if (!gxhost::IsScalarOf(var, gxhost::IsBool)) {
        return mgNotSupported;
    }
    *value = gxhost::LoadBits(*var) != 0;
    return mgNoErr;
}

MgErr GxVarGetTime(const GxVariant* var, int64_t* seconds, uint64_t* fraction) {
    if (var == nullptr || seconds == nullptr || fraction == nullptr) {
        return mgArgErr;
    }
    if (var->kind != Kind::Scalar || var->type != GX_TYPE_TIME) {
        return mgNotSupported;
    }
    std::uint64_t words[2] = {0, 0};
    for (int i = 15; i >= 0; --i) {
        words[i / 8] = words[i / 8] << 8 | var->data[static_cast<std::size_t>(i)];
    }
    *fraction = words[0];
    *seconds = static_cast<std::int64_t>(words[1]);
    return mgNoErr;
}

MgErr GxVarGetString(const GxVariant* var, const char** bytes, int32_t* length) {
    if (var == nullptr || bytes == nullptr || length == nullptr) {
        return mgArgErr;
    }
    if (var->kind != Kind::Text || var->type == GX_TYPE_UTF16) {
        return mgNotSupported;
    }
    *bytes = reinterpret_cast<const char*>(var->data.data() + 4);
    *length = static_cast<int32_t>(var->data.size() - 4);
    return mgNoErr;
}

MgErr GxVarGetUTF16(const GxVariant* var, uint16_t* units, int32_t capacity, int32_t* count) {
    if (var == nullptr || count == nullptr || capacity < 0 || (units == nullptr && capacity > 0)) {
        return mgArgErr;
    }
    if (var->kind != Kind::Text || var->type != GX_TYPE_UTF16) {
        return mgNotSupported;
    }
    const std::size_t n = (var->data.size() - 4) / 2;
    for (std::size_t i = 0; i < n && i < static_cast<std::size_t>(capacity); ++i) {
        units[i] = static_cast<std::uint16_t>(var->data[4 + 2 * i] | var->data[5 + 2 * i] << 8);
    }
    *count = static_cast<int32_t>(n);
    return mgNoErr;
}

MgErr GxVarClear(GxVariant* var) {
    return gxhost::Replace(var, [](GxVariant&) { return mgNoErr; });
}

MgErr GxVarSetInt(GxVariant* var, uint16_t type, int64_t value) {
    return gxhost::Replace(var, [&](GxVariant& made) {
        if (!gxhost::IsIntegerOrBool(type)) {
            return mgArgErr;
        }
        made.kind = Kind::Scalar;
        made.type = type;
        const std::uint64_t bits = static_cast<std::uint64_t>(value);
        for (std::uint32_t i = 0; i < gxhost::ScalarBytes(type); ++i) {
            made.data.push_back(static_cast<unsigned char>(bits >> (8 * i)));
        }
        return mgNoErr;
    });
}

MgErr GxVarSetDouble(GxVariant* var, uint16_t type, double value) {
    return gxhost::Replace(var, [&](GxVariant& made) {
        std::uint64_t bits;
        if (type == GX_TYPE_F32) {
            const float f = static_cast<float>(value);
            std::uint32_t b;
            std::memcpy(&b, &f, 4);
            bits = b;
        } else if (type == GX_TYPE_F64) {
            std::memcpy(&bits, &value, 8);
        } else {
            return mgArgErr;
        }
        made.kind = Kind::Scalar;
        made.type = type;
        for (std::uint32_t i = 0; i < gxhost::ScalarBytes(type); ++i) {
            made.data.push_back(static_cast<unsigned char>(bits >> (8 * i)));
        }
        return mgNoErr;
    });
}

MgErr GxVarSetTime(GxVariant* var, int64_t seconds, uint64_t fraction) {
    return gxhost::Replace(var, [&](GxVariant& made) {
        made.kind = Kind::Scalar;
        made.type = GX_TYPE_TIME;
        const std::uint64_t words[2] = {fraction, static_cast<std::uint64_t>(seconds)};
        for (int i = 0; i < 16; ++i) {
            made.data.push_back(static_cast<unsigned char>(words[i / 8] >> (8 * (i % 8))));
        }
        return mgNoErr;
    });
}

MgErr GxVarSetString(GxVariant* var, uint16_t type, const char* bytes, int32_t length) {
    return gxhost::Replace(var, [&](GxVariant& made) {
        if ((type != GX_TYPE_ASTRING && type != GX_TYPE_ASTRING_ALT) || length < 0 ||
            (bytes == nullptr && length > 0)) {
            return mgArgErr;
        }
        made.kind = Kind::Text;
        made.type = type;
        made.data.resize(4 + static_cast<std::size_t>(length));
        gxhost::StoreUI32(made.data.data(), static_cast<std::uint32_t>(length));
        if (length > 0) {
            std::memcpy(made.data.data() + 4, bytes, static_cast<std::size_t>(length));
        }
        return mgNoErr;
    });
}

MgErr GxVarSetUTF16(GxVariant* var, const uint16_t* units, int32_t count) {
    return gxhost::Replace(var, [&](GxVariant& made) {
        if (count < 0 || count > (INT32_MAX - 4) / 2 || (units == nullptr && count > 0)) {
            return mgArgErr;
        }
        made.kind = Kind::Text;
        made.type = GX_TYPE_UTF16;
        made.data.resize(4 + 2 * static_cast<std::size_t>(count));
        gxhost::StoreUI32(made.data.data(), static_cast<std::uint32_t>(count));
        for (int32_t i = 0; i < count; ++i) {
            made.data[4 + 2 * static_cast<std::size_t>(i)] = static_cast<unsigned char>(units[i]);
            made.data[5 + 2 * static_cast<std::size_t>(i)] =
                static_cast<unsigned char>(units[i] >> 8);
        }
        return mgNoErr;
    });
}

MgErr GxVarSetArray(GxVariant* var, uint16_t elementType) {
    return gxhost::Replace(var, [&](GxVariant& made) {
        if (!gxhost::IsElementType(elementType)) {
            return mgArgErr;
        }
        made.kind = Kind::Array;
        made.type = GX_TYPE_ARRAY;
        made.elementType = elementType;
        made.data.assign(4, 0);
        return mgNoErr;
    });
}

MgErr GxVarAppendElement(GxVariant* var, const GxVariant* element) {
    if (var == nullptr || element == nullptr) {
        return mgArgErr;
    }
    try {
        // Appending a variant to itself would read what it is growing: copy the element first.
        if (element == var) {
            const GxVariant copy = *element;
            return gxhost::AppendElement(*var, copy) ? mgNoErr : mgArgErr;
        }
        return gxhost::AppendElement(*var, *element) ? mgNoErr : mgArgErr;
    } catch (...) {
        return mFullErr;
    }
}

}  // extern "C"
