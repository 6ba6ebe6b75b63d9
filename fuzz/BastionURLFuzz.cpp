// Archive addresses. Text: it parses exactly when isValidPath accepts it, and a parsed address
// renders as exactly the text it came from, with valid components that read back the same from
// their serialized form and from a copy of the components; the archived item it names survives
// the trip into an archive address and out again; extending it either fails and changes nothing
// or gives an address that renders and parses back. Bytes: any bytes either deserialize or are
// refused with the library's exception, leaving the address as it was, and what deserializes
// serializes back to exactly the bytes read. The first input byte picks text or bytes.
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/BastionURL.h"
#include "ka/kor/VestaURL.h"
#include "ka/kor/exception.h"

using namespace ka::kor;

namespace {

bool Identical(const BastionURL& a, const BastionURL& b) {
    if (a.type() != b.type() || a.size() != b.size()) {
        return false;
    }
    for (unsigned i = 0; i < a.size(); ++i) {
        if (!ka_fuzz::Same(a[i], b[i])) {
            return false;
        }
    }
    return a == b;
}

BastionURL ReadBack(const BastionURL& url) {
    const std::string bytes = ka_fuzz::Serialized(url);
    ka_fuzz::Block in(bytes);
    const unsigned char* p = in.begin();
    BastionURL back;
    back.deserialize(p, in.end());
    KA_FUZZ_CHECK(p == in.end());
    return back;
}

// The archived item of an Absolute address, if it names a valid one.
void CheckItem(const BastionURL& url) {
    VestaURL item;
    try {
        item = url.getVestaURLComponent();
    } catch (const exception::SyntaxError&) {
        return;
    }
    if (item.empty()) {
        return;
    }
    const BastionURL archived(url[0], url[1], item);
    KA_FUZZ_CHECK(archived.componentsAreValid());
    KA_FUZZ_CHECK(archived.getVestaURLComponent() == item);
}

void CheckText(ka_fuzz::Input& in) {
    const String text = ka_fuzz::Latin1(in.chunk());
    const bool valid = BastionURL::isValidPath(text);
    BastionURL url;
    try {
        BastionURL(text).swap(url);
    } catch (const exception::SyntaxError&) {
        KA_FUZZ_CHECK(!valid);
        return;
    }
    KA_FUZZ_CHECK(valid);
    KA_FUZZ_CHECK(ka_fuzz::Same(url.str(), text));
    KA_FUZZ_CHECK(url.componentsAreValid());
    KA_FUZZ_CHECK(Identical(ReadBack(url), url));
    KA_FUZZ_CHECK(Identical(BastionURL(url.begin(), url.end(), url.type()), url));
    const BastionURL prefix(url, url.begin() + in.below(url.size() + 1));
    KA_FUZZ_CHECK(Identical(BastionURL(prefix.str()), prefix));
    CheckItem(url);

    const String otherText = ka_fuzz::Latin1(in.chunk());
    if (BastionURL::isValidPath(otherText)) {
        const BastionURL other(otherText);
        BastionURL extended(url);
        try {
            extended.extend(other);
        } catch (const exception::SyntaxError&) {
            KA_FUZZ_CHECK(Identical(extended, url));
            return;
        }
        KA_FUZZ_CHECK(extended.size() == url.size() + other.size());
        KA_FUZZ_CHECK(Identical(BastionURL(extended.str()), extended));
    }
}

void CheckBytes(ka_fuzz::Input& in) {
    const std::string input = in.rest();
    ka_fuzz::Block bytes(input);
    const unsigned char* p = bytes.begin();
    const BastionURL before(L"\\\\m\\database\\before");
    BastionURL url(before);
    try {
        url.deserialize(p, bytes.end());
    } catch (const exception::Exception&) {
        KA_FUZZ_CHECK(p == bytes.begin());
        KA_FUZZ_CHECK(Identical(url, before));
        return;
    }
    const std::size_t used = static_cast<std::size_t>(p - bytes.begin());
    KA_FUZZ_CHECK(used <= input.size());
    KA_FUZZ_CHECK(ka_fuzz::Serialized(url) == input.substr(0, used));
    url.str();
}

std::string TextSeed(const wchar_t* text, const wchar_t* other) {
    std::string seed(1, '\0');
    for (const wchar_t* t : {text, other}) {
        const std::string bytes = ka_fuzz::Bytes(AString(String(t)));
        seed += static_cast<char>(bytes.size());
        seed += bytes;
        seed += '\x02';
    }
    return seed;
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    std::vector<std::string> seeds = {
        TextSeed(L"\\\\db1\\archive\\m1\\proc\\a.b", L"x\\y"),
        TextSeed(L"\\\\db1\\archive\\.\\proc\\'q\\uoted'", L""),
        TextSeed(L"rel\\\\empty\\", L"\\\\m\\db"),
        TextSeed(L"\\\\db1\\archive\\m1\\p\\a\\..\\", L"..\\z"),
    };
    const BastionURL url(String(L"db1"), String(L"archive"), VestaURL(L"\\\\m1\\proc\\a.'b\\c'"));
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
