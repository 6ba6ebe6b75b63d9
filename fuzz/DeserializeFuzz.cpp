// Reading the serialized forms of byte buffers (linear and ring), narrow and wide strings, time
// stamps and time zones from any bytes. A read either fails with the library's exception, leaving
// the object and the cursor as they were, or consumes exactly serializationSize() bytes, which
// the object's own writer reproduces byte for byte. The first input byte picks the form.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/AbsTime.h"
#include "ka/kor/AutoBuffer.h"
#include "ka/kor/BufferWrapper.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/TimeZone.h"
#include "ka/kor/exception.h"

using namespace ka::kor;
using ka_fuzz::Block;

namespace {

enum Form : unsigned char {
    kAutoBuffer,
    kRing,
    kBufferWrapper,
    kAString,
    kString,
    kNString,
    kAbsTime,
    kTimeZone,
    kForms
};

const unsigned char kSentinel[] = {'o', 'l', 'd'};

bool SameZone(const TimeZone& a, const TimeZone& b) {
    return a.offset() == b.offset() && ka_fuzz::Same(a.name(), b.name());
}

// Reads a T over sentinel from the bytes and checks the promises of a linear read.
template <typename T>
void CheckRead(const T& sentinel, const std::string& bytes,
               const std::function<bool(const T&, const T&)>& same, bool canonical = true) {
    Block in(bytes);
    const unsigned char* p = in.begin();
    T value(sentinel);
    try {
        value.deserialize(p, in.end());
    } catch (const exception::Exception&) {
        KA_FUZZ_CHECK(p == in.begin());
        KA_FUZZ_CHECK(same(value, sentinel));
        return;
    }
    const std::size_t used = static_cast<std::size_t>(p - in.begin());
    KA_FUZZ_CHECK(used <= bytes.size());
    if (!canonical) {
        // The reader takes forms the writer never writes (overlong five-byte UTF-8), so what
        // it wrote must read back as the same value, not as the same bytes.
        const std::string again = ka_fuzz::Serialized(value);
        KA_FUZZ_CHECK(again.size() == value.serializationSize());
        Block out(again);
        const unsigned char* q = out.begin();
        T back(sentinel);
        back.deserialize(q, out.end());
        KA_FUZZ_CHECK(q == out.end() && same(back, value));
        return;
    }
    KA_FUZZ_CHECK(used == value.serializationSize());
    KA_FUZZ_CHECK(ka_fuzz::Serialized(value) == bytes.substr(0, used));
}

// The ring form: the rest of the input is the ring, read from the offset given by one byte.
void CheckRing(ka_fuzz::Input& in) {
    const unsigned offset = in.byte();
    Block ring(in.rest());
    const unsigned char* start = ring.begin() + (ring.size() != 0 ? offset % ring.size() : 0);
    const unsigned char* pos = start;
    const AutoBuffer original(kSentinel, sizeof kSentinel);
    AutoBuffer value(original);
    try {
        value.circularDeserialize(ring.begin(), ring.end(), pos);
    } catch (const exception::Exception&) {
        KA_FUZZ_CHECK(pos == start);
        KA_FUZZ_CHECK(value == original);
        return;
    }
    KA_FUZZ_CHECK(pos >= ring.begin() && pos < ring.end());
    KA_FUZZ_CHECK(original == AutoBuffer(kSentinel, sizeof kSentinel));
    // Writing the value back at the same place rewrites the ring as it was.
    Block copy(ring.begin(), ring.size());
    unsigned char* out = copy.begin() + (start - ring.begin());
    value.circularSerialize(copy.begin(), copy.end(), out);
    KA_FUZZ_CHECK(out - copy.begin() == pos - ring.begin());
    KA_FUZZ_CHECK(std::memcmp(copy.begin(), ring.begin(), ring.size()) == 0);
}

template <typename T>
std::string Seed(Form form, const T& value) {
    return std::string(1, static_cast<char>(form)) + ka_fuzz::Serialized(value);
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    const unsigned char bytes[] = {0, 1, 2, 0xFF, 0x80, 'x'};
    std::vector<std::string> seeds = {
        Seed(kAutoBuffer, AutoBuffer(bytes, sizeof bytes)),
        Seed(kBufferWrapper, BufferWrapper(bytes, sizeof bytes)),
        Seed(kAString, AString("narrow")),
        Seed(kString, String(L"wide \u00e9\u4e2d\U0001F600")),
        Seed(kNString, NString("plain")),
        Seed(kAbsTime, AbsTime(0x80000000u, 1, 0xFFFFFFFFu, 42)),
        Seed(kTimeZone, TimeZone(String(L"Eastern \u00e9"), -300)),
    };
    // A ring whose form wraps around its end: read from offset 4.
    const AutoBuffer wrapped(bytes, sizeof bytes);
    std::vector<unsigned char> ring(wrapped.serializationSize() + 2);
    unsigned char* pos = ring.data() + 4;
    wrapped.circularSerialize(ring.data(), ring.data() + ring.size(), pos);
    seeds.push_back(std::string(1, static_cast<char>(kRing)) + '\x04' +
                    std::string(ring.begin(), ring.end()));
    return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ka_fuzz::Input in(data, size);
    try {
        switch (in.below(kForms)) {
            case kAutoBuffer: {
                const AutoBuffer original(kSentinel, sizeof kSentinel);
                CheckRead<AutoBuffer>(
                    original, in.rest(),
                    [](const AutoBuffer& a, const AutoBuffer& b) { return a == b; });
                KA_FUZZ_CHECK(original == AutoBuffer(kSentinel, sizeof kSentinel));
                break;
            }
            case kRing:
                CheckRing(in);
                break;
            case kBufferWrapper:
                CheckRead<BufferWrapper>(
                    BufferWrapper(kSentinel, sizeof kSentinel), in.rest(),
                    [](const BufferWrapper& a, const BufferWrapper& b) { return a == b; });
                break;
            case kAString:
                CheckRead<AString>(AString("old"), in.rest(), ka_fuzz::Same<AString>);
                break;
            case kString:
                CheckRead<String>(String(L"old"), in.rest(), ka_fuzz::Same<String>, false);
                break;
            case kNString:
                CheckRead<NString>(NString("old"), in.rest(), ka_fuzz::Same<NString>);
                break;
            case kAbsTime:
                CheckRead<AbsTime>(AbsTime(1, 2, 3, 4), in.rest(),
                                   [](const AbsTime& a, const AbsTime& b) { return a == b; });
                break;
            default:
                CheckRead<TimeZone>(TimeZone(String(L"old"), 60), in.rest(), SameZone, false);
                break;
        }
    } catch (const std::bad_alloc&) {
    } catch (const exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
