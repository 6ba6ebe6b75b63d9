// Identifier text and bytes: text is accepted exactly when it has the 38-character form, a refused
// text leaves the identifier as it was, and accepted text renders back as the same text in upper
// case; any 16 bytes read, render and parse back to the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/Guid.h"
#include "ka/kor/exception.h"

using namespace ka::kor;

namespace {

bool IsHex(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F');
}

bool HasTextForm(const String& text) {
    static const char kForm[] = "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}";
    if (text.length() != sizeof kForm - 1) {
        return false;
    }
    for (unsigned i = 0; i < text.length(); ++i) {
        if (kForm[i] == 'X' ? !IsHex(text[i]) : text[i] != static_cast<wchar_t>(kForm[i])) {
            return false;
        }
    }
    return true;
}

String Upper(const String& text) {
    String out(text);
    for (wchar_t& c : out) {
        if (c >= L'a' && c <= L'z') {
            c = static_cast<wchar_t>(c - L'a' + L'A');
        }
    }
    return out;
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    const unsigned char data4[8] = {0x80, 0x01, 0xFE, 0x7F, 0x00, 0x10, 0xAB, 0xCD};
    String text;
    Guid(0x01234567, 0x89AB, 0xCDEF, data4).toString(text);
    return {ka_fuzz::Bytes(AString(text)), ka_fuzz::Bytes(AString(text)).substr(1)};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const String text = ka_fuzz::Latin1(std::string(reinterpret_cast<const char*>(data), size));
        const unsigned char marker[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        const Guid before(0xA5A5A5A5, 0x5A5A, 0x1234, marker);
        Guid guid(before);
        try {
            guid.fromString(text);
            KA_FUZZ_CHECK(HasTextForm(text));
            String rendered;
            guid.toString(rendered);
            KA_FUZZ_CHECK(ka_fuzz::Same(rendered, Upper(text)));
        } catch (const exception::BadGuidString&) {
            KA_FUZZ_CHECK(!HasTextForm(text));
            KA_FUZZ_CHECK(guid == before);
        }

        // The first 16 bytes (zero-filled) as a stored identifier.
        unsigned char bytes[Guid::kSize] = {};
        std::memcpy(bytes, data, size < sizeof bytes ? size : sizeof bytes);
        ka_fuzz::Block block(bytes, sizeof bytes);
        const unsigned char* p = block.begin();
        Guid stored;
        stored.deserialize(p, block.end());
        KA_FUZZ_CHECK(p == block.end());
        KA_FUZZ_CHECK(std::memcmp(stored.bytes(), bytes, sizeof bytes) == 0);
        String rendered;
        stored.toString(rendered);
        KA_FUZZ_CHECK(Guid(rendered) == stored);
        KA_FUZZ_CHECK(ka_fuzz::Serialized(stored) == std::string(bytes, bytes + sizeof bytes));
    } catch (const std::bad_alloc&) {
    } catch (const exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
