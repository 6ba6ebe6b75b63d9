#include "Utf8.h"

#include <cstdio>

namespace gxhost {

namespace {

bool IsContinuation(unsigned char c) {
    return (c & 0xC0) == 0x80;
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

bool ReadHex4(const std::string& text, std::size_t at, std::uint32_t& v) {
    if (text.size() - at < 4) {
        return false;
    }
    v = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const int d = HexDigit(text[at + i]);
        if (d < 0) {
            return false;
        }
        v = v << 4 | static_cast<std::uint32_t>(d);
    }
    return true;
}

}  // namespace

bool DecodeUtf8(const unsigned char*& p, const unsigned char* end, std::uint32_t& cp) {
    const unsigned char c = *p;
    std::size_t n;
    std::uint32_t min;
    if (c < 0x80) {
        cp = c;
        ++p;
        return true;
    } else if ((c & 0xE0) == 0xC0) {
        n = 2;
        min = 0x80;
        cp = c & 0x1Fu;
    } else if ((c & 0xF0) == 0xE0) {
        n = 3;
        min = 0x800;
        cp = c & 0x0Fu;
    } else if ((c & 0xF8) == 0xF0) {
        n = 4;
        min = 0x10000;
        cp = c & 0x07u;
    } else {
        return false;
    }
    if (static_cast<std::size_t>(end - p) < n) {
        return false;
    }
    for (std::size_t i = 1; i < n; ++i) {
        if (!IsContinuation(p[i])) {
            return false;
        }
        cp = cp << 6 | (p[i] & 0x3Fu);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        return false;
    }
    p += n;
    return true;
}

void AppendUtf8(std::string& out, std::uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | cp >> 6);
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | cp >> 12);
        out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | cp >> 18);
        out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

bool Utf8ToUtf16(const std::string& text, std::vector<std::uint16_t>& units) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* end = p + text.size();
    units.clear();
    while (p < end) {
        std::uint32_t cp;
        if (!DecodeUtf8(p, end, cp)) {
            return false;
        }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            units.push_back(static_cast<std::uint16_t>(0xD800 | cp >> 10));
            units.push_back(static_cast<std::uint16_t>(0xDC00 | (cp & 0x3FF)));
        } else {
            units.push_back(static_cast<std::uint16_t>(cp));
        }
    }
    return true;
}

std::string Utf16ToUtf8(const std::uint16_t* units, std::size_t count) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t cp = units[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < count && units[i + 1] >= 0xDC00 &&
            units[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (units[i + 1] - 0xDC00u);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = 0xFFFD;
        }
        AppendUtf8(out, cp);
    }
    return out;
}

void AppendJsonString(std::string& out, const unsigned char* bytes, std::size_t n) {
    out += '"';
    const unsigned char* p = bytes;
    const unsigned char* end = bytes + n;
    char escape[8];
    while (p < end) {
        const unsigned char c = *p;
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
            ++p;
        } else if (c == '\n') {
            out += "\\n";
            ++p;
        } else if (c == '\r') {
            out += "\\r";
            ++p;
        } else if (c == '\t') {
            out += "\\t";
            ++p;
        } else if (c < 0x20 || c == 0x7F) {
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
            ++p;
        } else if (c < 0x80) {
            out += static_cast<char>(c);
            ++p;
        } else {
            const unsigned char* start = p;
            std::uint32_t cp;
            if (DecodeUtf8(p, end, cp)) {
                out.append(reinterpret_cast<const char*>(start),
                           static_cast<std::size_t>(p - start));
            } else {
                std::snprintf(escape, sizeof escape, "\\u%04x", c);
                out += escape;
                ++p;
            }
        }
    }
    out += '"';
}

bool ReadJsonString(const std::string& text, std::size_t& at, bool latin1, std::string& out) {
    if (at >= text.size() || text[at] != '"') {
        return false;
    }
    std::size_t i = at + 1;
    out.clear();
    while (i < text.size()) {
        const char c = text[i++];
        if (c == '"') {
            at = i;
            return true;
        }
        if (static_cast<unsigned char>(c) < 0x20) {
            return false;  // control characters must be escaped
        }
        if (c != '\\') {
            out += c;
            continue;
        }
        if (i >= text.size()) {
            return false;
        }
        const char e = text[i++];
        switch (e) {
            case '"':
            case '\\':
            case '/':
                out += e;
                break;
            case 'b':
                out += '\b';
                break;
            case 'f':
                out += '\f';
                break;
            case 'n':
                out += '\n';
                break;
            case 'r':
                out += '\r';
                break;
            case 't':
                out += '\t';
                break;
            case 'u': {
                std::uint32_t cp;
                if (!ReadHex4(text, i, cp)) {
                    return false;
                }
                i += 4;
                if (latin1 && cp < 0x100) {
                    out += static_cast<char>(cp);
                    break;
                }
                if (cp >= 0xD800 && cp <= 0xDBFF) {
                    std::uint32_t low;
                    if (i + 1 >= text.size() || text[i] != '\\' || text[i + 1] != 'u' ||
                        !ReadHex4(text, i + 2, low) || low < 0xDC00 || low > 0xDFFF) {
                        return false;
                    }
                    i += 6;
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
                    return false;
                }
                AppendUtf8(out, cp);
                break;
            }
            default:
                return false;
        }
    }
    return false;
}

}  // namespace gxhost
