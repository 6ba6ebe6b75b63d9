// The six-bit text form: text that decodes re-encodes to text that decodes to the same bytes, and
// any bytes encode to text of the promised length that decodes back to them.
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/AutoBuffer.h"
#include "ka/kor/Uudecode.h"
#include "ka/kor/Uuencode.h"
#include "ka/kor/exception.h"

using namespace ka::kor;

namespace {

std::string Encode(const std::string& bytes) {
    return ka_fuzz::Bytes(Uuencode(reinterpret_cast<const unsigned char*>(bytes.data()),
                                   static_cast<std::uint32_t>(bytes.size())));
}

std::string Decode(const std::string& text) {
    const AutoBuffer b = Uudecode(ka_fuzz::Narrow(text));
    return std::string(reinterpret_cast<const char*>(b.Data()), b.Len());
}

// Characters a text of n bytes takes: four per three bytes, one more than the bytes of a short
// final group.
std::size_t EncodedLength(std::size_t n) {
    return n / 3 * 4 + (n % 3 == 0 ? 0 : n % 3 + 1);
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    std::vector<std::string> seeds;
    for (const char* bytes : {"", "f", "fo", "foo", "foob", "fooba", "foobar"}) {
        seeds.push_back(Encode(bytes));
    }
    seeds.push_back(Encode(std::string("\0\xff\x80 \x7f\x3e\x3f", 7)));
    return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    try {
        bool decodes = true;
        std::string decoded;
        try {
            decoded = Decode(input);
        } catch (const exception::Exception&) {
            decodes = false;
        }
        if (decodes) {
            KA_FUZZ_CHECK(decoded.size() * 4 / 3 <= size);
            KA_FUZZ_CHECK(Decode(Encode(decoded)) == decoded);
        }

        const std::string encoded = Encode(input);
        KA_FUZZ_CHECK(encoded.size() == EncodedLength(size));
        KA_FUZZ_CHECK(Decode(encoded) == input);
    } catch (const std::bad_alloc&) {
    } catch (const exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
