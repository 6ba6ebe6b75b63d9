// UTF-8 decoding: the length and the decoder agree on which bytes are malformed and how many
// characters the rest gives, and decoded text encodes back to the same bytes (the accepted
// overlong five-byte forms aside) and decodes again to the same characters.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/Utf8ToWide.h"
#include "ka/kor/WideToUtf8.h"
#include "ka/kor/exception.h"

using namespace ka::kor;

namespace {

std::string Encode(const std::vector<wchar_t>& text) {
    std::unique_ptr<char[]> bytes(WideToUtf8(text.data(), text.data() + text.size()));
    return std::string(bytes.get(), GetUtf8EncodingBytes(text.data(), text.data() + text.size()));
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    std::vector<std::string> seeds;
    const std::vector<std::vector<wchar_t>> texts = {
        {L'a', L'b', 0, L'c'},
        {0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x10FFFF},
        {0xD800, 0xDFFF, 0x110000, 0x1FFFFF, 0x200000, 0x3FFFFFF, 0x4000000, 0x7FFFFFFF},
        std::vector<wchar_t>(40, 0xE9),
    };
    for (const std::vector<wchar_t>& text : texts) {
        seeds.push_back(Encode(text));
    }
    return seeds;
}

namespace {

void Check(const std::uint8_t* data, std::size_t size) {
    ka_fuzz::Block input(data, size);
    const char* begin = reinterpret_cast<const char*>(input.begin());
    const unsigned count = static_cast<unsigned>(size);

    unsigned length = 0;
    bool lengthThrew = false;
    try {
        length = GetUtf8StringLength(begin, count);
    } catch (const exception::Exception&) {
        lengthThrew = true;
    }

    std::unique_ptr<wchar_t[]> wide;
    try {
        wide.reset(Utf8ToWide(begin, count));
    } catch (const exception::Exception&) {
        KA_FUZZ_CHECK(lengthThrew);
        return;
    }
    KA_FUZZ_CHECK(!lengthThrew);
    KA_FUZZ_CHECK(length <= size);
    KA_FUZZ_CHECK(wide[length] == 0);

    // The decoder writing into a range of exactly the announced length.
    ka_fuzz::Block exact(length * sizeof(wchar_t));
    wchar_t* out = reinterpret_cast<wchar_t*>(exact.begin());
    KA_FUZZ_CHECK(DecodeUtf8(begin, begin + size, out) == out + length);
    KA_FUZZ_CHECK(std::memcmp(out, wide.get(), length * sizeof(wchar_t)) == 0);
    const std::vector<wchar_t> text(out, out + length);

    const std::string encoded = Encode(text);
    if (std::memchr(begin, 0xF8, size) == nullptr) {
        KA_FUZZ_CHECK(encoded == std::string(begin, size));
    }
    std::unique_ptr<wchar_t[]> again(Utf8ToWide(encoded.data(), encoded.size()));
    KA_FUZZ_CHECK(std::memcmp(again.get(), wide.get(), (length + 1) * sizeof(wchar_t)) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        Check(data, size);
    } catch (const std::bad_alloc&) {
    } catch (const exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
