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

TEST(Guid, NullGuid) {
    const Guid g;
    EXPECT_TRUE(g.isNull());
    EXPECT_EQ(L"{00000000-0000-0000-0000-000000000000}", TextOf(g));
    EXPECT_FALSE(kSample.isNull());
    const unsigned char lastOnly[8] = {0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_FALSE(Guid(0, 0, 0, lastOnly).isNull());
}

TEST(Guid, FieldsAreHeldLittleEndian) {
    const Bytes expected = {0x67, 0x45, 0x23, 0x01, 0xAB, 0x89, 0xEF, 0xCD,
                            0x89, 0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45, 0x67};
    EXPECT_EQ(expected, Bytes(kSample.bytes(), kSample.bytes() + 16));
    EXPECT_EQ(0x01234567u, kSample.data1());
    EXPECT_EQ(0x89AB, kSample.data2());
    EXPECT_EQ(0xCDEF, kSample.data3());
    EXPECT_EQ(Bytes(kData4, kData4 + 8), Bytes(kSample.data4(), kSample.data4() + 8));
}

TEST(Guid, TextRoundTrips) {
    EXPECT_EQ(kSampleText, TextOf(kSample));
    EXPECT_EQ(kSample, Guid(String(kSampleText)));

    // Lower-case digits are read too; the text is always written upper case.
    const Guid lower(String(L"{01234567-89ab-cdef-89Ab-cdEF01234567}"));
    EXPECT_EQ(kSample, lower);
    EXPECT_EQ(kSampleText, TextOf(lower));

    const unsigned char ff[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    const Guid all(0xFFFFFFFF, 0xFFFF, 0xFFFF, ff);
    EXPECT_EQ(L"{FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}", TextOf(all));
    EXPECT_EQ(all, Guid(String(TextOf(all).c_str())));
}

TEST(Guid, MalformedTextIsRejectedAndLeavesTheGuidUnchanged) {
    const wchar_t* kBad[] = {
        L"",
        L"{01234567-89AB-CDEF-89AB-CDEF0123456}",        // 37 characters
        L"{01234567-89AB-CDEF-89AB-CDEF012345678}",      // 39
        L"01234567-89AB-CDEF-89AB-CDEF01234567",         // no braces
        L" 01234567-89AB-CDEF-89AB-CDEF01234567 ",       // blanks for braces
        L"(01234567-89AB-CDEF-89AB-CDEF01234567)",       //
        L"{01234567-89AB-CDEF-89AB-CDEF01234567 ",       //
        L"{0123456789AB-CDEF-89AB-CDEF01234567xx}",      // hyphen missing (length kept)
        L"{01234567-89ABCCDEF-89AB-CDEF01234567}",       //
        L"{01234567-89AB-CDEF:89AB-CDEF01234567}",       //
        L"{01234567-89AB-CDEF-89AB_CDEF01234567}",       //
        L"{0123456G-89AB-CDEF-89AB-CDEF01234567}",       // not hex
        L"{01234567-89AB-CDEF-89AB-CDEF0123456g}",       //
        L"{ 1234567-89AB-CDEF-89AB-CDEF01234567}",       //
        L"{+1234567-89AB-CDEF-89AB-CDEF01234567}",       //
        L"{01234567-89AB-CDEF-89AB-CDEF0123456\uff10}",  // a full-width digit
        L"{01234567-89AB-CDEF-89AB-CDEF01234567}}",      //
    };
    for (const wchar_t* text : kBad) {
        SCOPED_TRACE(testing::Message() << "text " << std::wstring(text).size());
        Guid g = kSample;
        try {
            g.fromString(String(text));
            ADD_FAILURE() << "nothing thrown";
        } catch (const exception::BadGuidString& e) {
            EXPECT_STREQ("Badly formatted Guid string.", e.what());
            EXPECT_STREQ("ka/kor/Guid", e.file());
        }
        EXPECT_EQ(kSample, g);
    }
    EXPECT_THROW(Guid(String(L"{}")), exception::BadGuidString);
}

TEST(Guid, OrdersByStoredBytesNotByText) {
    // data1 0x00000100 is held as 00 01 00 00, 0x00000001 as 01 00 00 00: the first sorts first
    // although its text is larger.
    const unsigned char zero[8] = {};
    const Guid a(0x00000100, 0, 0, zero);
    const Guid b(0x00000001, 0, 0, zero);
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_GT(TextOf(a), TextOf(b));

    // Bytes compare unsigned.
    const unsigned char high[8] = {0x80, 0, 0, 0, 0, 0, 0, 0};
    const unsigned char low[8] = {0x7F, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_TRUE(Guid(0, 0, 0, low) < Guid(0, 0, 0, high));

    EXPECT_FALSE(kSample < kSample);
    EXPECT_TRUE(kSample == Guid(kSample));
    EXPECT_FALSE(kSample != Guid(kSample));
    EXPECT_TRUE(a != b);
}

TEST(Guid, SwapAndAssign) {
    Guid a = kSample;
    Guid b;
    swap(a, b);
    EXPECT_TRUE(a.isNull());
    EXPECT_EQ(kSample, b);
    a = b;
    EXPECT_EQ(kSample, a);
}

TEST(Guid, SerializesTheSixteenBytesAsHeld) {
    Bytes storage(19, 0xEE);
    unsigned char* p = storage.data() + 1;  // unaligned
    kSample.serialize(p, storage.data() + 17);
    EXPECT_EQ(storage.data() + 17, p);
    EXPECT_EQ(16u, kSample.serializationSize());
    Bytes expected = {0xEE, 0x67, 0x45, 0x23, 0x01, 0xAB, 0x89, 0xEF, 0xCD, 0x89,
                      0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45, 0x67, 0xEE, 0xEE};
    EXPECT_EQ(expected, storage);

    const unsigned char* q = storage.data() + 1;
    Guid back;
    back.deserialize(q, storage.data() + 17);
    EXPECT_EQ(kSample, back);
    EXPECT_EQ(storage.data() + 17, q);
}

TEST(Guid, ShortRangesThrowTheRangeChecksExceptions) {
    Bytes storage(15, 0xEE);
    unsigned char* p = storage.data();
    try {
        kSample.serialize(p, storage.data() + 15);
        ADD_FAILURE() << "nothing thrown";
    } catch (const exception::BufferOverflow& e) {
        EXPECT_EQ(111u, e.line());
    }
    EXPECT_EQ(storage.data(), p);
    EXPECT_EQ(Bytes(15, 0xEE), storage);

    const unsigned char* q = storage.data();
    Guid g = kSample;
    try {
        g.deserialize(q, storage.data() + 15);
        ADD_FAILURE() << "nothing thrown";
    } catch (const exception::DeserializationError& e) {
        EXPECT_EQ(124u, e.line());
    }
    EXPECT_EQ(storage.data(), q);
    EXPECT_EQ(kSample, g);
}

}  // namespace
