#include <cstdio>

#include "Commands.h"

namespace katag {

ka::kor::String Wide(const std::string& text) {
    return ka::kor::String(text.c_str(), static_cast<unsigned int>(text.size()));
}

std::string Narrow(const ka::kor::String& text) {
    const ka::kor::AString narrow(text);
    return std::string(narrow.c_str(), narrow.length());
}

std::string Quoted(const ka::kor::String& text) {
    std::string out = "\"";
    for (const char c : Narrow(text)) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
                    char hex[8];
                    std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned char>(c));
                    out += hex;
                } else {
                    out += c;
                }
        }
    }
    return out + "\"";
}

std::string Printable(const ka::kor::String& text) {
    for (const wchar_t c : text) {
        if (c < 0x20 || c == 0x7F) {
            return Quoted(text);
        }
    }
    return Narrow(text);
}

}  // namespace katag
