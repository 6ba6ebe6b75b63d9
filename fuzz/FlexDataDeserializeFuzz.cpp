// FlexData from any bytes. deserialize either raises the library's exception and leaves the value
// empty, or adopts a packet whose serialized form deserializes to an equal value and serializes
// to the same bytes again (decode -> serialize -> decode). Every reader then runs on the value:
// each either raises the library's exception or answers consistently with the others (a copy
// equals it, an array's elements match its dimensions, an attribute found by name is there).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ka/kor/AbsTime.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/Vector.h"
#include "ka/kor/exception.h"

using namespace ka::kor;
using fd::FlexType;

namespace {

void Read(const std::function<void()>& reader) {
    try {
        reader();
    } catch (const exception::Exception&) {
    }
}

bool SameBytes(const BufferWrapper& a, const BufferWrapper& b) {
    return a.length() == b.length() &&
           (a.length() == 0 || std::memcmp(a.data(), b.data(), a.length()) == 0);
}

void ReadEverything(const FlexData& v) {
    const FlexType type = v.getType();
    Read([&] { v.getI8(); });
    Read([&] { v.getUI16(); });
    Read([&] { v.getI32(); });
    Read([&] { v.getUI64(); });
    Read([&] { v.getF32(); });
    Read([&] { v.getF64(); });
    Read([&] { v.getBool(); });
    Read([&] { v.getTime(); });
    Read([&] {
        std::uint32_t length = 0;
        const char* text = v.getAString(length);
        KA_FUZZ_CHECK(type == FlexType::AString || type == FlexType::AStringAlt);
        const AString copy = v.getAString();
        KA_FUZZ_CHECK(copy.size() == length && std::memcmp(copy.data(), text, length) == 0);
    });
    Read([&] { v.getUnicode(); });

    Read([&] {
        const Vector<std::int32_t> dims = v.getDims();
        KA_FUZZ_CHECK(type == FlexType::Array);
        for (unsigned i = 0; i < dims.size(); ++i) {
            KA_FUZZ_CHECK(v.getDimSize(i) == dims[i]);
        }
        std::uint32_t product = 1;
        for (std::int32_t d : dims) {
            product *= static_cast<std::uint32_t>(d);
        }
        KA_FUZZ_CHECK(v.getNumElts() == product);
        v.getArrayElementType();
        Read([&] { KA_FUZZ_CHECK(v.getScalarArray<double>().size() == product); });
        Read([&] { KA_FUZZ_CHECK(v.getScalarArray<std::int64_t>().size() == product); });
        Read([&] { KA_FUZZ_CHECK(v.getAStringArray().size() == product); });
    });

    Read([&] {
        const std::uint32_t count = v.getWaveformSampleCount();
        KA_FUZZ_CHECK(v.isWaveform());
        v.getWaveformSampleType();
        Read([&] { KA_FUZZ_CHECK(v.getWaveform<double>().samples.size() == count); });
        Read([&] { KA_FUZZ_CHECK(v.getWaveform<std::uint8_t>().samples.size() == count); });
    });
    Read([&] {
        if (v.isWaves()) {
            Read([&] { v.getWaves<float>(); });
            Read([&] { v.getWaves<std::int32_t>(); });
        }
    });

    Read([&] {
        const Vector<AString> names = v.getAttributeNames();
        KA_FUZZ_CHECK(names.empty() || v.hasAttributes());
        for (const AString& name : names) {
            KA_FUZZ_CHECK(v.hasAttribute(name));
            Read([&] { v.getAttribute(name); });
            Read([&] {
                FlexData without(v);
                KA_FUZZ_CHECK(without.deleteAttribute(name));
            });
        }
    });

    // The value rebuilt from its two parts has the same parts.
    Read([&] {
        FlexData rebuilt;
        rebuilt.buildPacketFromComponents(v.getMetaDataBuffer(), v.getDataBuffer());
        KA_FUZZ_CHECK(SameBytes(rebuilt.getMetaDataBuffer(), v.getMetaDataBuffer()));
        KA_FUZZ_CHECK(SameBytes(rebuilt.getDataBuffer(), v.getDataBuffer()));
    });
}

}  // namespace

std::vector<std::string> ka_fuzz::Seeds() {
    std::vector<FlexData> values;
    values.emplace_back(std::int32_t{42});
    values.emplace_back(-1.25);
    values.emplace_back(AString("text"));
    values.emplace_back(String(L"wide \u00e9"));
    values.emplace_back(AbsTime(1, 2, 3, 4));
    FlexData array;
    array.setScalarArray(Vector<std::int16_t>{1, 2, 3, 4, 5, 6}.data(), Vector<std::int32_t>{2, 3});
    values.push_back(array);
    values.emplace_back(Vector<AString>{AString("a"), AString("bc")});
    FlexData::Waveform<std::int16_t> wave;
    wave.dt = 0.5;
    wave.samples = Vector<std::int16_t>{1, 2, 3};
    values.emplace_back(wave);
    values.emplace_back(Vector<FlexData::Waveform<double>>(2));
    FlexData named(std::int32_t{7});
    named.setAttribute(AString("unit"), FlexData(AString("V")));
    named.setAttribute(AString("scale"), FlexData(2.0));
    values.push_back(named);
    values.emplace_back();

    std::vector<std::string> seeds;
    for (const FlexData& v : values) {
        seeds.push_back(ka_fuzz::Serialized(v));
    }
    return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        ka_fuzz::Block in(data, size);
        const unsigned char* cursor = in.begin();
        FlexData value;
        try {
            value.deserialize(cursor, in.end());
        } catch (const exception::Exception&) {
            KA_FUZZ_CHECK(value.begin() == nullptr);
            return 0;
        }
        // The cursor moves past the packet's bytes in the source: its size field (4 for an empty
        // value), or the padded size that the value now has.
        std::uint32_t sourceSize = 0;
        std::memcpy(&sourceSize, in.begin(), 4);
        sourceSize = little_endian::FromLittleEndian(sourceSize);
        const std::size_t advance = static_cast<std::size_t>(cursor - in.begin());
        KA_FUZZ_CHECK(advance == (sourceSize != 0 ? sourceSize : 4) ||
                      advance == value.serializationSize());

        const std::string bytes = ka_fuzz::Serialized(value);
        ka_fuzz::Block copy(bytes);
        const unsigned char* again = copy.begin();
        FlexData decoded;
        decoded.deserialize(again, copy.end());
        KA_FUZZ_CHECK(again == copy.end());
        KA_FUZZ_CHECK(decoded == value);
        KA_FUZZ_CHECK(decoded.getType() == value.getType());
        KA_FUZZ_CHECK(ka_fuzz::Serialized(decoded) == bytes);
        KA_FUZZ_CHECK(FlexData(value) == value);

        ReadEverything(value);
    } catch (const std::bad_alloc&) {
    } catch (const exception::Exception& e) {
        ka_fuzz::Unexpected(e);
    }
    return 0;
}
