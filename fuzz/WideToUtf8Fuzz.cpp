// UTF-8 encoding of any wide text (each four input bytes one character, any value): the size
// agrees with what is written, and the bytes decode back to the text, with every value of
// 0x80000000 or more turned into "?".
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

std::vector<std::string> ka_fuzz::Seeds() {
    const std::vector<std::vector<std::uint32_t>> texts = {
        {'a', 'b', 0, 'c'},
        {0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x10FFFF},
        {0xD800, 0xDFFF, 0x110000, 0x1FFFFF, 0x200000, 0x3FFFFFF, 0x4000000, 0x7FFFFFFF},
        {0x80000000u, 0xFFFFFFFFu, 'x'},
    };
    std::vector<std::string> seeds;
    for (const std::vector<std::uint32_t>& text : texts) {
        std::string s;
        for (std::uint32_t c : text) {
            for (int i = 0; i < 4; ++i) {
                s += static_cast<char>(c >> (8 * i));
            }
        }
        seeds.push_back(s);
    }
    return seeds;
}

namespace {

void Check(const std::uint8_t* data, std::size_t size) {
    ka_fuzz::Input in(data, size);
    const std::size_t length = size / 4;
    ka_fuzz::Block block(length * sizeof(wchar_t));
    wchar_t* text = reinterpret_cast<wchar_t*>(block.begin());
    for (std::size_t i = 0; i < length; ++i) {
        text[i] = static_cast<wchar_t>(in.number<std::uint32_t>());
    }

    const unsigned bytes = GetUtf8EncodingBytes(text, text + length);
    KA_FUZZ_CHECK(bytes >= length && bytes <= 6 * length);
    std::unique_ptr<char[]> encoded(WideToUtf8(text, text + length));
    KA_FUZZ_CHECK(encoded[bytes] == 0);

    // The encoder writing into a range of exactly the announced size.
    ka_fuzz::Block exact(static_cast<std::size_t>(bytes));
    char* out = reinterpret_cast<char*>(exact.begin());
    KA_FUZZ_CHECK(EncodeUtf8(text, text + length, out) == out + bytes);
    KA_FUZZ_CHECK(std::memcmp(out, encoded.get(), bytes) == 0);

    // What the encoder wrote decodes: an exception here is a finding.
    std::unique_ptr<wchar_t[]> decoded(Utf8ToWide(encoded.get(), bytes));
    for (std::size_t i = 0; i < length; ++i) {
        const std::uint32_t c = static_cast<std::uint32_t>(text[i]);
        KA_FUZZ_CHECK(decoded[i] == (c >= 0x80000000u ? L'?' : text[i]));
    }
    KA_FUZZ_CHECK(decoded[length] == 0);

    // The zero-terminated form stops at the first zero character.
    std::vector<wchar_t> terminated(text, text + length);
    terminated.push_back(0);
    std::unique_ptr<char[]> prefix(WideToUtf8(terminated.data()));
    KA_FUZZ_CHECK(std::strlen(prefix.get()) <= bytes);
    KA_FUZZ_CHECK(std::memcmp(prefix.get(), encoded.get(), std::strlen(prefix.get())) == 0);
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
