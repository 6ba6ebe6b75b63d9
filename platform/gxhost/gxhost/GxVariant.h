/* The host program's side of GxVariant, the host's value type: building variants (from values or
 * from text given a target type), inspecting them, and rendering them as text or JSON.
 *
 * A variant holds one value of a flex type: a scalar (I8 to F64, Bool, Bool16, Time), 8-bit text
 * (AString, AStringAlt), UTF16 text, or a one-dimensional array of scalars or of texts. Any other
 * value (clusters, waveforms, other arrays, Opaque, unnamed codes), and any packet whose bytes the
 * model would not reproduce exactly, is carried as its own flex packet, so KORFlexToGxVar followed
 * by GxVarToKORFlex always gives back the same bytes; attributes in front of a modelled value are
 * kept the same way. Type codes are the flex codes (0x0300 for I32 ...); 0 means no value.
 *
 * Plain C. A variant is not locked: one variant must not be changed while another thread uses it.
 * Every function takes a null variant as an argument error (or answers 0 / null). */
#ifndef GXHOST_GXVARIANT_H
#define GXHOST_GXVARIANT_H

#include "gxhost/gxhost.h"

#ifdef __cplusplus
#include <string>

extern "C" {
#endif

/* Flex type codes the model knows. */
#define GX_TYPE_NONE 0x0000u
#define GX_TYPE_I8 0x0100u
#define GX_TYPE_UI8 0x0101u
#define GX_TYPE_BOOL 0x0102u
#define GX_TYPE_I16 0x0200u
#define GX_TYPE_UI16 0x0201u
#define GX_TYPE_BOOL16 0x0202u
#define GX_TYPE_I32 0x0300u
#define GX_TYPE_UI32 0x0301u
#define GX_TYPE_F32 0x0302u
#define GX_TYPE_I64 0x0400u
#define GX_TYPE_UI64 0x0401u
#define GX_TYPE_F64 0x0402u
#define GX_TYPE_TIME 0x0504u
#define GX_TYPE_ARRAY 0x0800u
#define GX_TYPE_CLUSTER 0x0801u
#define GX_TYPE_ASTRING 0x0900u
#define GX_TYPE_ASTRING_ALT 0x0901u
#define GX_TYPE_OPAQUE 0x0902u
#define GX_TYPE_UTF16 0x0A00u

/* ---- Life ---- */

/* A new variant with no value; null when memory is short. */
GxVariant* GxVarNew(void);
/* Frees a variant from GxVarNew or KORFlexToGxVar; null is ignored. */
void GxVarDispose(GxVariant* var);
/* Makes `to` a copy of `from`. mFullErr (to unchanged) when memory is short. */
MgErr GxVarCopy(GxVariant* to, const GxVariant* from);

/* ---- Inspecting ---- */

/* The value's flex type code (for a packet, the code of its type element); 0 for no value. */
uint16_t GxVarType(const GxVariant* var);
/* The element type of a modelled array, else 0. */
uint16_t GxVarElementType(const GxVariant* var);
/* Whether the value is carried as its flex packet rather than modelled. */
GxBoolean GxVarIsPacket(const GxVariant* var);
/* Whether MD elements (attributes, markers) stand in front of a modelled value's type. */
GxBoolean GxVarHasPrefix(const GxVariant* var);
/* The number of elements of a modelled array, else -1. */
int32_t GxVarCount(const GxVariant* var);
/* Makes `element` a variant holding element `index` of a modelled array. mgArgErr for an index
 * out of range or a variant that is not a modelled array. */
MgErr GxVarGetElement(const GxVariant* var, int32_t index, GxVariant* element);

/* The value of an integer type, Bool or Bool16, sign- or zero-extended by its type (UI64 values
 * above INT64_MAX come out as their bit pattern). mgNotSupported for other types. */
MgErr GxVarGetInt(const GxVariant* var, int64_t* value);
/* The value of any numeric type (I8 to F64) as a double. mgNotSupported for other types. */
MgErr GxVarGetDouble(const GxVariant* var, double* value);
/* Bool and Bool16: whether nonzero. mgNotSupported for other types. */
MgErr GxVarGetBool(const GxVariant* var, GxBoolean* value);
/* A Time: whole seconds since 1904-01-01 00:00:00 UTC and the fraction in units of 2^-64 s. */
MgErr GxVarGetTime(const GxVariant* var, int64_t* seconds, uint64_t* fraction);
/* AString or AStringAlt: the bytes (no terminator), valid until the variant changes. */
MgErr GxVarGetString(const GxVariant* var, const char** bytes, int32_t* length);
/* UTF16: copies min(count, capacity) code units to units (which may be null for capacity 0) and
 * stores the count in *count. */
MgErr GxVarGetUTF16(const GxVariant* var, uint16_t* units, int32_t capacity, int32_t* count);

/* ---- Building ----
 * Each setter replaces the whole value, attributes included, and leaves the variant unchanged
 * when it fails (mgArgErr for a type it does not build, mFullErr when memory is short). */

/* Clears the value (no value). */
MgErr GxVarClear(GxVariant* var);
/* An integer type, Bool or Bool16 holding the low bits of value (Bool: its low byte, as is). */
MgErr GxVarSetInt(GxVariant* var, uint16_t type, int64_t value);
/* F32 or F64. */
MgErr GxVarSetDouble(GxVariant* var, uint16_t type, double value);
MgErr GxVarSetTime(GxVariant* var, int64_t seconds, uint64_t fraction);
/* AString or AStringAlt holding length bytes (any bytes, zeros included). */
MgErr GxVarSetString(GxVariant* var, uint16_t type, const char* bytes, int32_t length);
MgErr GxVarSetUTF16(GxVariant* var, const uint16_t* units, int32_t count);
/* An empty one-dimensional array of elementType: a modelled scalar or text type. */
MgErr GxVarSetArray(GxVariant* var, uint16_t elementType);
/* Appends a copy of element's value to a modelled array; mgArgErr unless element holds a value of
 * the array's element type (an element's attributes are not kept). */
MgErr GxVarAppendElement(GxVariant* var, const GxVariant* element);

/* ---- Text ----
 * Text forms, one per type:
 *   integers: decimal, or hex with 0x (a leading minus for signed types), range-checked;
 *   F32, F64: decimal or exponent notation, nan, inf, -inf; rendered in the shortest form that
 *     reads back to the same value;
 *   Bool, Bool16: true, false, 1, 0 (any case);
 *   Time: UTC as 2024-05-01T12:00:00.25Z (T or a space; Z optional; up to 18 fraction digits;
 *     rendered to the nanosecond, rounded, without trailing zeros);
 *   AString, AStringAlt: the bytes as they are; UTF16: UTF-8 text;
 *   arrays: elements separated by commas, optionally inside [ ]; text elements optionally in
 *     double quotes with JSON escapes (quotes needed for commas); rendered as [1,2,3] and
 *     ["a","b"];
 *   a packet: rendered as its hex bytes; never parsed.
 * JSON: numbers and booleans as such (nan and infinities as the strings "nan", "inf", "-inf"),
 * texts and times as strings (8-bit bytes that are not UTF-8 as \u00XX), arrays as arrays, no
 * value as null, a packet as {"packet":"<hex>"}. */

/* Makes var the value of `type` (for arrays GX_TYPE_ARRAY and the element type) read from
 * `length` bytes of text (a zero-terminated text for length < 0). mgArgErr (var unchanged) for
 * text that is not a value of that type, mgNotSupported for a type the model does not build. */
MgErr GxVarParse(GxVariant* var, uint16_t type, uint16_t elementType, const char* text,
                 int32_t length);

#define GX_RENDER_TEXT 0
#define GX_RENDER_JSON 1
/* Writes the rendering of var (format GX_RENDER_TEXT or GX_RENDER_JSON) into buffer as a
 * zero-terminated text, truncated to size - 1 bytes (buffer may be null when size is 0), and
 * returns its full length without the terminator, as snprintf does; -1 for a null variant, an
 * unknown format or memory shortage. */
int32_t GxVarRender(const GxVariant* var, int32_t format, char* buffer, int32_t size);

/* The name of a flex type code ("I32", "AString", "Array", "Cluster" ...), or null when unnamed.
 */
const char* GxVarTypeName(uint16_t type);
/* The code of a type name (any case), 0 for an unknown name. */
uint16_t GxVarTypeFromName(const char* name);

#ifdef __cplusplus
}

/* The rendering as a std::string (empty on failure). */
inline std::string GxVarRenderString(const GxVariant* var, int32_t format) {
    const int32_t n = GxVarRender(var, format, nullptr, 0);
    if (n <= 0) {
        return std::string();
    }
    std::string text(static_cast<std::size_t>(n) + 1, '\0');
    GxVarRender(var, format, &text[0], n + 1);
    text.resize(static_cast<std::size_t>(n));
    return text;
}
#endif

#endif /* GXHOST_GXVARIANT_H */
