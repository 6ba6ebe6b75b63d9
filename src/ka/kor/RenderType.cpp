#include "ka/kor/RenderType.h"

namespace ka {
namespace kor {

RenderType GetRenderType(const wchar_t* p, const wchar_t* end) {
    if (p == end || p[0] != L'\\') {
        return RenderType::Relative;
    }
    if (end - p < 2 || p[1] != L'\\') {
        return RenderType::ProcessRelative;
    }
    if (end - p >= 3 && p[2] == L'.') {
        return RenderType::LocalMachine;
    }
    return RenderType::Absolute;
}

const wchar_t* GetRenderTypePrefixText(RenderType type) {
    switch (type) {
        case RenderType::Absolute:
            return L"\\\\";
        case RenderType::LocalMachine:
            return L"\\\\.\\";
        case RenderType::ProcessRelative:
            return L"\\";
        case RenderType::Relative:
            return L"";
    }
    return L"ERROR";
}

String GetRenderTypePrefix(RenderType type) {
    return String(GetRenderTypePrefixText(type));
}

RenderType GetRenderType(const String& text) {
    return GetRenderType(text.begin(), text.end());
}

RenderType GetRenderType(const wchar_t* text) {
    if (text == nullptr) {
        return RenderType::Relative;
    }
    // Only the first three characters matter; do not measure the whole text.
    const wchar_t* end = text;
    while (end - text < 3 && *end != L'\0') {
        ++end;
    }
    return GetRenderType(text, end);
}

const char* GetRenderTypeName(RenderType type) {
    switch (type) {
        case RenderType::Absolute:
            return "Absolute";
        case RenderType::LocalMachine:
            return "LocalMachine";
        case RenderType::ProcessRelative:
            return "ProcessRelative";
        case RenderType::Relative:
            return "Relative";
    }
    return "ERROR";
}

}  // namespace kor
}  // namespace ka
