// Item addresses. Text: it parses exactly when isValidPath accepts it, and a parsed address
// renders to text that parses back to the same address with the same separators, names and
// type, and renders the same again; its serialized form, the copy of its components and a
// prefix of it read back the same way; extending it by another parsed address gives an address
// that renders and parses back. Bytes: any bytes either deserialize or are refused with the
// library's exception, leaving the address as it was, and what deserializes serializes and reads
// back the same. The first input byte picks text or bytes.
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/VestaURL.h"
#include "ka/kor/exception.h"

using namespace ka::kor;

namespace {

// Equal in every respect: type, and each component's separator, parent mark and exact name.
bool Identical(const VestaURL& a, const VestaURL& b) {
    if (a.type() != b.type() || a.size() != b.size()) {
        return false;
    }
    for (unsigned i = 0; i < a.size(); ++i) {
        if (a[i].sep() != b[i].sep() || a[i].parent() != b[i].parent() ||
            a[i].first() != b[i].first() || !ka_fuzz::Same(a[i].name(), b[i].name())) {
            return false;
        }
    }
    return a == b;
}

VestaURL ReadBack(const VestaURL& url) {
    const std::string bytes = ka_fuzz::Serialized(url);
    ka_fuzz::Block in(bytes);
    const unsigned char* p = in.begin();
    VestaURL back;
    back.deserialize(p, in.end());
    KA_FUZZ_CHECK(p == in.end());
    return back;
}

// Whether a component has an empty name that is not a parent mark: it renders as nothing.
bool HasEmptyName(const VestaURL& url) {
    for (unsigned i = 0; i < url.size(); ++i) {
        if (!url[i].parent() && url[i].name().empty()) {
            return true;
        }
    }
    return false;
}

// The render -> parse round trip of an address the parser gave. Two texts need not read back:
// nothing is written after a final "..", and an empty quoted name renders as nothing.
void CheckRendering(const VestaURL& url) {
    const String text = url.str();
    if (!VestaURL::isValidPath(text)) {
        KA_FUZZ_CHECK(HasEmptyName(url) || (text.length() >= 2 && text[text.length() - 1] == L'.' &&
                                            text[text.length() - 2] == L'.'));
        return;
    }
    const VestaURL again(text);
    if (!Identical(again, url)) {
        KA_FUZZ_CHECK(HasEmptyName(url));
        return;
    }
    KA_FUZZ_CHECK(ka_fuzz::Same(again.str(), text));
}

void CheckText(ka_fuzz::Input& in) {
    const String text = ka_fuzz::Latin1(in.chunk());
    const bool valid = VestaURL::isValidPath(text);
    VestaURL url;
    try {
        VestaURL(text).swap(url);
    } catch (const exception::SyntaxError&) {
        KA_FUZZ_CHECK(!valid);
        return;
    }
    KA_FUZZ_CHECK(valid);
    KA_FUZZ_CHECK(url.type() == GetRenderType(text));
    CheckRendering(url);
    KA_FUZZ_CHECK(Identical(ReadBack(url), url));
    KA_FUZZ_CHECK(Identical(VestaURL(url.begin(), url.end(), url.type()), url));
    const VestaURL prefix(url, url.begin() + in.below(url.size() + 1));
    KA_FUZZ_CHECK(Identical(ReadBack(prefix), prefix));

    const String other = ka_fuzz::Latin1(in.chunk());
    if (VestaURL::isValidPath(other)) {
        VestaURL extended(url);
        extended.extend(VestaURL(other), in.flag() ? L'.' : L'\\');
        KA_FUZZ_CHECK(extended.type() == url.type());
        extended.str();
        const VestaURL sum = url + other;
        KA_FUZZ_CHECK(Identical(ReadBack(sum), sum));
    }
}

void CheckBytes(ka_fuzz::Input& in) {
    ka_fuzz::Block bytes(in.rest());
    const unsigned char* p = bytes.begin();
    const VestaURL before(L"\\\\m\\p\\before");
    VestaURL url(before);
    try {
        url.deserialize(p, bytes.end());
    } catch (const exception::Exception&) {
        KA_FUZZ_CHECK(p == bytes.begin());
        KA_FUZZ_CHECK(Identical(url, before));
        return;
    }
    // Separators, marks and names are kept exactly as stored, so only the trip back is checked.
    KA_FUZZ_CHECK(p > bytes.begin() && p <= bytes.end());
    KA_FUZZ_CHECK(Identical(ReadBack(url), url));
    url.str();
}

std::string TextSeed(const wchar_t* text, const wchar_t* other) {
    std::string seed(1, '\0');
    for (const wchar_t* t : {text, other}) {
        const std::string bytes = ka_fuzz::Bytes(AString(String(t)));
        seed += static_cast<char>(bytes.size());
        seed += bytes;
        seed += '\x01';
    }
    return seed;
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    std::vector<std::string> seeds = {
        TextSeed(L"\\\\m1.cell4\\proc\\folder.item", L"..\\sub.'it''s'"),
        TextSeed(L"\\\\.\\proc\\a\\..\\", L"\\b"),
        TextSeed(L"\\rel\\'a.b\\c'.x", L"..\\..\\y"),
        TextSeed(L"a.b\\c", L"\\\\m\\p"),
        TextSeed(L"\\\\m\\p", L"\\\\"),
    };
    VestaURL url(L"\\\\m\\p\\a.'b\\c'");
    url.append(VestaURL::Component(L'.'));
    seeds.push_back("\x01" + ka_fuzz::Serialized(url));
    return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ka_fuzz::Input in(data, size);
    try {
        if (in.flag()) {
            CheckBytes(in);
        } else {
            CheckText(in);
        }
    } catch (const std::bad_alloc&) {
    } catch (const exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
