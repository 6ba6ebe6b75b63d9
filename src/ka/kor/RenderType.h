// How the text of an item address begins: with a machine, with the local-machine mark, with a
// single backslash (inside the current process) or with a name (relative to the current place).
// The value travels as a signed 32-bit number in serialized addresses.
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

enum class RenderType : std::int32_t {
    Absolute = 1,         // two backslashes and a machine name
    LocalMachine = 2,     // two backslashes and "."
    ProcessRelative = 3,  // one backslash
    Relative = 4,         // anything else
};

// The text that starts an address of this type: two backslashes; two backslashes, "." and a
// backslash; one backslash; nothing. Any other value gives "ERROR".
String GetRenderTypePrefix(RenderType type);
// The same as a static zero-terminated text.
const wchar_t* GetRenderTypePrefixText(RenderType type);

// The type of an address text, judged from its first three characters only: a first character
// other than a backslash gives Relative, a second one ProcessRelative; then "." as the third gives
// LocalMachine and anything else (end of text included) Absolute. Null is the empty text.
RenderType GetRenderType(const String& text);
RenderType GetRenderType(const wchar_t* text);
RenderType GetRenderType(const wchar_t* begin, const wchar_t* end);

// "Absolute", "LocalMachine", "ProcessRelative", "Relative", or "ERROR" for any other value.
const char* GetRenderTypeName(RenderType type);

}  // namespace kor
}  // namespace ka
