#include "ka/kor/ConnectionStringParser.h"

#include <cwctype>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/ConnectionStringParser";

bool IsSpace(wchar_t c) {
    return std::iswspace(static_cast<wint_t>(c)) != 0;
}

void DropTrailingSpace(String& s) {
    unsigned int n = s.length();
    while (n > 0 && IsSpace(s[n - 1])) {
        --n;
    }
    s.resize(n);
}

const wchar_t* SkipSpace(const wchar_t* p, const wchar_t* end) {
    while (p != end && IsSpace(*p)) {
        ++p;
    }
    return p;
}

// Reads a name up to a single "=" (consumed) or the end of the text.
String ReadName(const wchar_t*& p, const wchar_t* end) {
    String name;
    while (p != end) {
        if (*p == L'=') {
            if (p + 1 != end && p[1] == L'=') {
                name += L'=';
                p += 2;
                continue;
            }
            ++p;
            break;
        }
        name += *p++;
    }
    DropTrailingSpace(name);
    return name;
}

// Reads a value up to and including the ";" that ends it, or to the end of the text.
String ReadValue(const wchar_t*& p, const wchar_t* end) {
    p = SkipSpace(p, end);
    String value;
    if (p != end && (*p == L'\'' || *p == L'"')) {
        const wchar_t quote = *p++;
        bool closed = false;
        while (p != end) {
            if (*p == quote) {
                if (p + 1 != end && p[1] == quote) {
                    value += quote;
                    p += 2;
                    continue;
                }
                ++p;
                closed = true;
                break;
            }
            value += *p++;
        }
        if (!closed) {
            return String();
        }
        while (p != end && *p++ != L';') {
        }
        return value;
    }
    while (p != end && *p != L';') {
        value += *p++;
    }
    if (p != end) {
        ++p;
    }
    DropTrailingSpace(value);
    return value;
}

}  // namespace

ConnectionStringParser::ConnectionStringParser(const String& text, bool rejectRepeatedNames) {
    if (text.empty()) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const wchar_t* p = text.begin();
    const wchar_t* end = text.end();
    for (bool first = true;; first = false) {
        if (!first && p != end && *p == L';') {
            ++p;
        }
        p = SkipSpace(p, end);
        if (p == end) {
            break;
        }
        String name = ReadName(p, end);
        if (name.empty()) {
            break;
        }
        String value = ReadValue(p, end);
        const bool inserted = attributes_.emplace(name, value).second;
        if (!inserted && rejectRepeatedNames) {
            throw exception::InvalidArgument2(
                __LINE__, kSourceFile,
                AString("Connection string repeats attribute: ") + AString(name));
        }
    }
}

const String& ConnectionStringParser::getAttribute(const String& name) const {
    if (name.empty()) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const auto found = attributes_.find(name);
    if (found == attributes_.end()) {
        throw exception::NotFound(__LINE__, kSourceFile);
    }
    return found->second;
}

}  // namespace kor
}  // namespace ka
