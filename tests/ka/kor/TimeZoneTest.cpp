#include "ka/kor/TimeZone.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ka/kor/exception.h"

namespace {

using ka::kor::String;
using ka::kor::TimeZone;
using ka::kor::exception::DeserializationError;
using Bytes = std::vector<unsigned char>;

std::wstring W(const String& s) {
    return std::wstring(s.begin(), s.end());
}

TEST(TimeZone, SerializesOffsetThenNameAndRoundTripsAtAnyAlignment) {
    Bytes est(9);
    unsigned char* p = est.data();
    TimeZone(L"EST", -300).serialize(p, est.data() + est.size());
    EXPECT_EQ(est.data() + est.size(), p);
    EXPECT_EQ((Bytes{0xD4, 0xFE, 3, 0, 0, 0, 'E', 'S', 'T'}), est);

    const TimeZone zones[] = {TimeZone(), TimeZone(L"Mitteleurop\u00e4ische Zeit", 60),
                              TimeZone(L"\U0001F552", -32768), TimeZone(L"x", 32767)};
    for (const TimeZone& zone : zones) {
        for (unsigned offset = 0; offset < 4; ++offset) {
            SCOPED_TRACE(::testing::Message() << zone.offset() << " at +" << offset);
            Bytes buffer(offset + zone.serializationSize());
            p = buffer.data() + offset;
            zone.serialize(p, buffer.data() + buffer.size());
            EXPECT_EQ(buffer.data() + buffer.size(), p);
            TimeZone back(L"old", 1);
            const unsigned char* q = buffer.data() + offset;
            back.deserialize(q, buffer.data() + buffer.size());
            EXPECT_EQ(buffer.data() + buffer.size(), q);
            EXPECT_EQ(zone.offset(), back.offset());
            EXPECT_EQ(W(zone.name()), W(back.name()));
        }
    }
}

// Reads length bytes into a zone that must stay as it was, the read throwing E.
template <typename E>
void ExpectFailedReadKeepsTarget(const unsigned char* bytes, unsigned length) {
    SCOPED_TRACE(length);
    TimeZone target(L"keep", -60);
    const unsigned char* q = bytes;
    EXPECT_THROW(target.deserialize(q, bytes + length), E);
    EXPECT_EQ(bytes, q);
    EXPECT_EQ(-60, target.offset());
    EXPECT_EQ(L"keep", W(target.name()));
}

TEST(TimeZone, FailedReadsAndWritesChangeNothing) {
    Bytes buffer(9, 0xEE);
    unsigned char* p = buffer.data();
    EXPECT_THROW(TimeZone(L"CET", 60).serialize(p, p + 8), ka::kor::exception::BufferOverflow);
    EXPECT_EQ(buffer.data(), p);
    EXPECT_EQ(Bytes(9, 0xEE), buffer);

    TimeZone(L"CET", 60).serialize(p, p + 9);
    for (unsigned length : {0u, 1u, 2u, 5u, 8u}) {
        ExpectFailedReadKeepsTarget<DeserializationError>(buffer.data(), length);
    }
    // A name that is not UTF-8: the offset was already read, but the target keeps its own.
    const unsigned char bad[7] = {0x10, 0x00, 1, 0, 0, 0, 0xC0};
    ExpectFailedReadKeepsTarget<ka::kor::exception::InvalidSequence>(bad, 7);
}

}  // namespace
