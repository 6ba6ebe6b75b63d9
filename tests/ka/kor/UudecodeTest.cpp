#include "ka/kor/Uudecode.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace ka::kor;
using Bytes = std::vector<unsigned char>;

Bytes Decode(const std::string& text) {
    const AutoBuffer b = Uudecode(AString(text.data(), text.data() + text.size()));
    return Bytes(b.Data(), b.Data() + b.Len());
}

TEST(Uudecode, ReadsEveryCharacterAsItsCodeLess0x21InSixBits) {
    const struct {
        std::string text;
        Bytes bytes;
    } cases[] = {
        // characters Uuencode never writes: blank 63, "a" 0, 0x80 31, 0xFF 30, zero 31, line feed
        // 41
        {" !!!", {0xFC, 0x00, 0x00}},
        {"!!!a", {0x00, 0x00, 0x00}},
        {"\x80\xff", {0x7D}},
        {std::string("\0!", 2), {0x7C}},
        {"!!!\n", {0x00, 0x00, 0x29}},
        // a final single character carries no whole byte and gives nothing
        {"!", {}},
        {"`", {}},
        {"!!!!~", {0x00, 0x00, 0x00}},
        // bits below the last byte of a short group are dropped
        {"!\"", {0x00}},
        {"!!\"", {0x00, 0x00}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(c.bytes, Decode(c.text));
    }
}

TEST(Uudecode, EmptyTextAndALoneCharacterGiveAnAbsentBuffer) {
    EXPECT_EQ(nullptr, Uudecode(AString()).Data());
    EXPECT_EQ(nullptr, Uudecode("Q").Data());
}

}  // namespace
