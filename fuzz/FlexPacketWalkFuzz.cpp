// The flex packet walkers over any bytes, in place: each either raises the library's exception or
// returns positions inside the range in walk order (prefix elements, then the type element, then
// the data), and the data size routines finish. The input is walked as a packet and, from its
// first byte on, as a bare MD.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/exception.h"
#include "ka/kor/fd.h"

using namespace ka::kor;

namespace {

typedef const unsigned char* Ptr;

// Runs one walk; the library's exceptions end only that walk.
void Walk(const std::function<void()>& walk) {
    try {
        walk();
    } catch (const exception::Exception&) {
    }
}

bool Inside(Ptr p, Ptr begin, Ptr end) {
    return p >= begin && p <= end;
}

// The element-by-element walk over an MD up to its type element, as the accessors make it.
void WalkPrefixes(Ptr md, Ptr end) {
    std::uint16_t code = fd::ReadCode(md, end);
    Ptr element = md;
    for (unsigned steps = 0; (code & fd::kClassMask) != 0; ++steps) {
        KA_FUZZ_CHECK(steps <= static_cast<std::size_t>(end - md));
        const std::uint32_t size = fd::GetMDEltSize(element, end);
        Ptr next = fd::GetNextElt(element, code, end);
        KA_FUZZ_CHECK(next == element + size);
        KA_FUZZ_CHECK(Inside(next + 2, md, end));
        if (next == element) {
            return;
        }
        element = next;
    }
    KA_FUZZ_CHECK(element == fd::GetTypeFromMD(md, end));
}

void WalkMD(Ptr md, Ptr end, const AString& name) {
    Walk([&] { WalkPrefixes(md, end); });
    Walk([&] {
        Ptr type = fd::GetTypeFromMD(md, end);
        KA_FUZZ_CHECK(Inside(type, md, end - 2));
        const std::uint32_t mdSize = fd::GetMDSize(md, end);
        KA_FUZZ_CHECK(mdSize >= static_cast<std::size_t>(type - md) + 2);
        KA_FUZZ_CHECK(mdSize <= static_cast<std::size_t>(end - md));
        fd::GetDataSize(type, nullptr, end);
        fd::GetDataSize(type, md + mdSize, end);
        if (fd::IsWaveformType(type, end)) {
            KA_FUZZ_CHECK(fd::IsWaveformSampleType(fd::GetWaveformSampleType(type, end)));
        }
    });
    for (const fd::FlexAttr attr : {fd::FlexAttrNamed, fd::FlexAttrName}) {
        Walk([&] {
            Ptr element = fd::GetAttributeMD(md, attr, end);
            KA_FUZZ_CHECK(element == nullptr || Inside(element, md, end - 2));
            Ptr packet = fd::GetAttributePacket(md, attr, end);
            KA_FUZZ_CHECK(packet == (element != nullptr ? element + 2 : nullptr));
        });
    }
    Walk([&] {
        Ptr element = fd::GetAttributeMD(md, name, end);
        KA_FUZZ_CHECK(element == nullptr || Inside(element, md, end - 2));
        KA_FUZZ_CHECK(fd::GetAttributePacket(md, name, end) ==
                      (element != nullptr ? element + 2 : nullptr));
    });
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    std::vector<FlexData> values;
    values.emplace_back(std::int32_t{42});
    values.emplace_back(AString("text"));
    values.emplace_back(String(L"wide"));
    values.emplace_back(AbsTime(1, 2, 3, 4));
    values.emplace_back(Vector<double>{1.5, -2.0});
    values.emplace_back(Vector<AString>{AString("a"), AString("bc")});
    FlexData::Waveform<std::int16_t> wave;
    wave.dt = 0.5;
    wave.samples = Vector<std::int16_t>{1, 2, 3};
    values.emplace_back(wave);
    values.emplace_back(Vector<FlexData::Waveform<std::int16_t>>{wave, wave});
    FlexData named(std::int32_t{7});
    named.setAttribute(AString("unit"), FlexData(AString("V")));
    values.push_back(named);

    std::vector<std::string> seeds;
    for (const FlexData& v : values) {
        seeds.push_back(ka_fuzz::Serialized(v));
    }
    return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        ka_fuzz::Block in(data, size);
        Ptr begin = in.begin();
        Ptr end = in.end();
        // A name to look for: the text of the last few bytes.
        const std::size_t nameSize = size < 4 ? size : 4;
        const AString name(reinterpret_cast<const char*>(end - nameSize),
                           reinterpret_cast<const char*>(end));

        Walk([&] {
            Ptr type = fd::GetTypeFromPacket(begin, end);
            KA_FUZZ_CHECK(Inside(type, begin + 4, end - 2));
            Ptr data = fd::GetData(begin, end);
            KA_FUZZ_CHECK(Inside(data, type + 2, end));
            fd::GetDataSize(type, data, end);
            fd::GetTime(data, end, fd::TAEndianLittle);
        });
        if (size >= 4) {
            WalkMD(begin + 4, end, name);
        }
        WalkMD(begin, end, name);
        Walk([&] { fd::GetDataSize(static_cast<fd::FlexType>(fd::ReadCode(begin, end))); });
    } catch (const std::bad_alloc&) {
    } catch (const exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
