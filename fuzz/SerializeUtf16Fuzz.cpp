// UTF-16 serialization, both coders. Reading: any bytes decode (undecodable units become "?"),
// and the text serializes to exactly the size announced and reads back the same; bytes that
// decoded without a substitute serialize back to themselves. Writing: any wide text (each four
// input bytes one character) reads back with only the characters UTF-16 cannot hold turned
// into "?", and a range one byte short is refused with nothing written. Only reading arbitrary
// bytes may raise the library's exceptions.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/SerializeUtf16.h"

using namespace ka::kor;
using ka_fuzz::Block;

namespace {

template <typename Coder>
std::string Write(const String& text) {
    const unsigned size = Coder::GetUtf16SerializationSize(text);
    Block out(static_cast<std::size_t>(size));
    unsigned char* p = out.begin();
    Coder::SerializeAsUtf16(text, p, out.end());
    KA_FUZZ_CHECK(p == out.end());
    if (size != 0) {
        Block shorter(static_cast<std::size_t>(size - 1));
        unsigned char* q = shorter.begin();
        try {
            Coder::SerializeAsUtf16(text, q, shorter.end());
            KA_FUZZ_CHECK(!"a range one byte short was accepted");
        } catch (const exception::BufferOverflow&) {
            KA_FUZZ_CHECK(q == shorter.begin());
        }
    }
    return std::string(reinterpret_cast<const char*>(out.begin()), out.size());
}

template <typename Coder>
String Read(const std::string& bytes) {
    Block in(bytes);
    return Coder::DeserializeFromUtf16(in.begin(), in.end());
}

bool HasSubstitute(const String& text) {
    for (wchar_t c : text) {
        if (c == L'?') {
            return true;
        }
    }
    return false;
}

template <typename Coder>
void CheckReading(const std::string& input) {
    String text;
    try {
        text = Read<Coder>(input);
    } catch (const exception::Exception&) {
        return;
    }
    KA_FUZZ_CHECK(text.length() <= (input.size() + 1) / 2);
    const std::string written = Write<Coder>(text);
    KA_FUZZ_CHECK(ka_fuzz::Same(Read<Coder>(written), text));
    if (input.size() % 2 == 0 && !HasSubstitute(text)) {
        KA_FUZZ_CHECK(written == input);
    }
}

// What reading back a character written by the coder gives.
wchar_t RoundTripped(wchar_t c, bool plain) {
    const std::uint32_t u = static_cast<std::uint32_t>(c);
    if (plain) {
        return u > 0xFFFF ? L'?' : c;
    }
    return (u >= 0xD800 && u <= 0xDFFF) || u > 0x10FFFF ? L'?' : c;
}

template <typename Coder>
void CheckWriting(const String& text, bool plain) {
    const String back = Read<Coder>(Write<Coder>(text));
    KA_FUZZ_CHECK(back.length() == text.length());
    for (unsigned i = 0; i < text.length(); ++i) {
        KA_FUZZ_CHECK(back[i] == RoundTripped(text[i], plain));
    }
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    const String texts[] = {
        String(L"plain text"),
        String(L"\u00e9\u4e2d\U0001F600\U0010FFFF"),
    };
    std::vector<std::string> seeds;
    for (const String& text : texts) {
        seeds.push_back(Write<osdep::IconvUtf16Coder>(text));
        seeds.push_back(Write<osdep::PlainUtf16Coder>(text));
    }
    // An unpaired surrogate and an odd last byte.
    seeds.push_back(
        std::string("\x00\xD8"
                    "a\x00"
                    "b",
                    5));
    return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    try {
        CheckReading<osdep::IconvUtf16Coder>(input);
        CheckReading<osdep::PlainUtf16Coder>(input);

        ka_fuzz::Input in(data, size);
        std::vector<wchar_t> chars;
        while (in.remaining() >= 4) {
            chars.push_back(static_cast<wchar_t>(in.number<std::uint32_t>()));
        }
        const String text(chars.data(), chars.data() + chars.size());
        CheckWriting<osdep::IconvUtf16Coder>(text, false);
        CheckWriting<osdep::PlainUtf16Coder>(text, true);
    } catch (const std::bad_alloc&) {
    } catch (const exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
