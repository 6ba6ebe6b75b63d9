// Connection strings: any text either parses or is refused with InvalidArgument (empty text, or
// a repeated name when repeats are refused); every parsed name is found again; and the attributes
// written back out (names with "=" doubled, values in double quotes with '"' doubled, ";;"
// between attributes) parse to the same attributes, without repeats.
#include <cstddef>
#include <cstdint>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/ConnectionStringParser.h"
#include "ka/kor/exception.h"

using namespace ka::kor;

namespace {

String Write(const std::map<String, String>& attributes) {
    String text;
    for (const auto& a : attributes) {
        // The parser skips one ";" between attributes besides the one that ends a value, so
        // a name may itself begin with ";".
        if (!text.empty()) {
            text += L';';
        }
        for (wchar_t c : a.first) {
            text += c;
            if (c == L'=') {
                text += c;
            }
        }
        text += L"=\"";
        for (wchar_t c : a.second) {
            text += c;
            if (c == L'"') {
                text += c;
            }
        }
        text += L"\";";
    }
    return text;
}

bool SameAttributes(const std::map<String, String>& a, const std::map<String, String>& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
        if (!ka_fuzz::Same(i->first, j->first) || !ka_fuzz::Same(i->second, j->second)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    std::map<String, String> attributes;
    attributes[String(L"Server")] = String(L"m1.cell4");
    attributes[String(L"a=b")] = String(L"it's \"quoted\"; really");
    attributes[String(L"Inner Space")] = String(L"");
    std::vector<std::string> seeds = {
        ka_fuzz::Bytes(AString(Write(attributes))),
        "Name = 'single ''quoted'' value' ; other=plain ;; third",
        "a=1;A=2",
    };
    return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        ka_fuzz::Input in(data, size);
        const bool rejectRepeats = in.flag();
        const String text = ka_fuzz::Latin1(in.rest());
        std::map<String, String> attributes;
        try {
            attributes = ConnectionStringParser(text, rejectRepeats).attributes();
        } catch (const exception::InvalidArgument&) {
            return 0;
        }
        const ConnectionStringParser parsed(text, false);
        for (const auto& a : attributes) {
            KA_FUZZ_CHECK(!a.first.empty());
            KA_FUZZ_CHECK(ka_fuzz::Same(parsed.getAttribute(a.first), a.second));
        }
        if (!attributes.empty()) {
            const ConnectionStringParser reread(Write(attributes), true);
            KA_FUZZ_CHECK(SameAttributes(reread.attributes(), attributes));
        }
    } catch (const std::bad_alloc&) {
    } catch (const exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
