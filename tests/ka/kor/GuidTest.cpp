#include "ka/kor/Guid.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;
using Bytes = std::vector<unsigned char>;

std::wstring TextOf(const Guid& g) {
    String text;
    g.toString(text);
    return std::wstring(text.begin(), text.end());
}

const unsigned char kData4[8] = {0x89, 0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45, 0x67};
const Guid kSample(0x01234567, 0x89AB, 0xCDEF, kData4);
const wchar_t kSampleText[] = L"{01234567-89AB-CDEF-89AB-CDEF01234567}";
const Bytes kSampleBytes = {0x67, 0x45, 0x23, 0x01, 0xAB, 0x89, 0xEF, 0xCD,
                            0x89, 0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45, 0x67};

TEST(Guid, NullGuidAndFieldLayout) {
    EXPECT_TRUE(Guid().isNull());
    EXPECT_EQ(L"{00000000-0000-0000-0000-000000000000}", TextOf(Guid()));
    const unsigned char lastOnly[8] = {0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_FALSE(Guid(0, 0, 0, lastOnly).isNull());

    EXPECT_EQ(kSampleBytes, Bytes(kSample.bytes(), kSample.bytes() + 16));
    EXPECT_EQ(0x01234567u, kSample.data1());
    EXPECT_EQ(0x89AB, kSample.data2());
    EXPECT_EQ(0xCDEF, kSample.data3());
}

TEST(Guid, TextRoundTripsAndAcceptsLowerCase) {
    EXPECT_EQ(kSampleText, TextOf(kSample));
    EXPECT_EQ(kSample, Guid(String(kSampleText)));
    const Guid lower(String(L"{01234567-89ab-cdef-89Ab-cdEF01234567}"));
    EXPECT_EQ(kSample, lower);
    EXPECT_EQ(kSampleText, TextOf(lower));
}

TEST(Guid, MalformedTextIsRejectedAndLeavesTheGuidUnchanged) {
    const wchar_t* kBad[] = {
        L"",
        L"{01234567-89AB-CDEF-89AB-CDEF0123456}",        // 37 characters
        L"{01234567-89AB-CDEF-89AB-CDEF012345678}",      // 39
        L" 01234567-89AB-CDEF-89AB-CDEF01234567 ",       // no braces
        L"{01234567-89AB-CDEF-89AB-CDEF01234567 ",       //
        L"{0123456789AB-CDEF-89AB-CDEF01234567xx}",      // hyphen missing, length kept
        L"{01234567-89AB-CDEF:89AB-CDEF01234567}",       //
        L"{01234567-89AB-CDEF-89AB_CDEF01234567}",       //
        L"{0123456G-89AB-CDEF-89AB-CDEF01234567}",       // not hex
        L"{+1234567-89AB-CDEF-89AB-CDEF01234567}",       //
        L"{01234567-89AB-CDEF-89AB-CDEF0123456\uff10}",  // a full-width digit
    };
    for (const wchar_t* text : kBad) {
        SCOPED_TRACE(testing::Message() << "length " << std::wstring(text).size());
        Guid g = kSample;
        try {
            g.fromString(String(text));
            ADD_FAILURE() << "nothing thrown";
        } catch (const exception::BadGuidString& e) {
            EXPECT_STREQ("Badly formatted Guid string.", e.what());
        }
        EXPECT_EQ(kSample, g);
    }
}

TEST(Guid, OrdersByStoredBytesNotByText) {
    // data1 0x100 is held as 00 01 00 00 and 0x1 as 01 00 00 00: the first sorts first although
    // its text is larger.
    const unsigned char zero[8] = {};
    const Guid a(0x00000100, 0, 0, zero);
    const Guid b(0x00000001, 0, 0, zero);
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_GT(TextOf(a), TextOf(b));
    const unsigned char low[8] = {0x7F};  // bytes compare unsigned
    const unsigned char high[8] = {0x80};
    EXPECT_TRUE(Guid(0, 0, 0, low) < Guid(0, 0, 0, high));
    EXPECT_FALSE(kSample < kSample);
}

TEST(Guid, SerializesTheSixteenBytesAsHeld) {
    Bytes storage(18, 0xEE);
    unsigned char* p = storage.data() + 1;  // unaligned
    EXPECT_THROW(kSample.serialize(p, storage.data() + 16), exception::BufferOverflow);
    kSample.serialize(p, storage.data() + 17);
    EXPECT_EQ(storage.data() + 17, p);
    EXPECT_EQ(kSampleBytes, Bytes(storage.begin() + 1, storage.begin() + 17));

    const unsigned char* q = storage.data() + 1;
    Guid back;
    EXPECT_THROW(back.deserialize(q, storage.data() + 16), exception::DeserializationError);
    EXPECT_TRUE(back.isNull());
    EXPECT_EQ(storage.data() + 1, q);
    back.deserialize(q, storage.data() + 17);
    EXPECT_EQ(kSample, back);
    EXPECT_EQ(storage.data() + 17, q);
}

}  // namespace
