#include "ka/kor/TimeZone.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ka/kor/exception.h"

namespace {

using ka::kor::String;
using ka::kor::TimeZone;

std::wstring W(const String& s) {
    return std::wstring(s.begin(), s.end());
}

TEST(TimeZone, SerializesOffsetThenName) {
    const TimeZone zone(L"EST", -300);
    ASSERT_EQ(9u, zone.serializationSize());
    unsigned char buffer[9];
    unsigned char* p = buffer;
    zone.serialize(p, buffer + sizeof buffer);
    EXPECT_EQ(buffer + 9, p);
    const unsigned char expected[9] = {0xD4, 0xFE, 3, 0, 0, 0, 'E', 'S', 'T'};
    EXPECT_EQ(0, std::memcmp(expected, buffer, sizeof expected));
}

TEST(TimeZone, RoundTripsAtAnyAlignment) {
    const TimeZone zones[] = {TimeZone(), TimeZone(L"Mitteleurop\u00e4ische Zeit", 60),
                              TimeZone(L"IST", 330), TimeZone(L"\U0001F552", -32768),
                              TimeZone(L"x", 32767)};
    for (const TimeZone& zone : zones) {
        for (unsigned offset = 0; offset < 4; ++offset) {
            SCOPED_TRACE(::testing::Message() << zone.offset() << " at +" << offset);
            std::vector<unsigned char> buffer(offset + zone.serializationSize());
            unsigned char* p = buffer.data() + offset;
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

TEST(TimeZone, FailedReadsAndWritesChangeNothing) {
    const TimeZone zone(L"CET", 60);
    unsigned char buffer[9];
    std::memset(buffer, 0xEE, sizeof buffer);
    unsigned char* p = buffer;
    EXPECT_THROW(zone.serialize(p, buffer + 8), ka::kor::exception::BufferOverflow);
    EXPECT_EQ(buffer, p);
    for (unsigned char b : buffer) {
        EXPECT_EQ(0xEE, b);
    }

    zone.serialize(p, buffer + sizeof buffer);
    for (unsigned length : {0u, 1u, 2u, 5u, 8u}) {
        SCOPED_TRACE(length);
        TimeZone target(L"keep", -60);
        const unsigned char* q = buffer;
        EXPECT_THROW(target.deserialize(q, buffer + length),
                     ka::kor::exception::DeserializationError);
        EXPECT_EQ(buffer, q);
        EXPECT_EQ(-60, target.offset());
        EXPECT_EQ(L"keep", W(target.name()));
    }

    // A name that is not UTF-8: the offset was already read, but the target keeps its own.
    const unsigned char bad[7] = {0x10, 0x00, 1, 0, 0, 0, 0xC0};
    TimeZone target(L"keep", -60);
    const unsigned char* q = bad;
    EXPECT_THROW(target.deserialize(q, bad + sizeof bad), ka::kor::exception::InvalidSequence);
    EXPECT_EQ(bad, q);
    EXPECT_EQ(-60, target.offset());
    EXPECT_EQ(L"keep", W(target.name()));
}

}  // namespace
