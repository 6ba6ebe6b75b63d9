#include "ka/kor/Base64Decode.h"

#include <gtest/gtest.h>

#include <string>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;

TEST(Base64Decode, RejectsEverythingTheEncoderCannotWrite) {
    const std::string kBad[] = {
        // length not a multiple of 4
        "AAAAA",
        "Zm9vYg=",
        // misplaced "="
        "A===",
        "====",
        "=AAA",
        "AA=A",
        // padding in a group that is not the last
        "Zg==Zm9v",
        "Zm9vZg==Zm8=",
        // line breaks and blanks are not skipped; no URL-safe alphabet
        "Zm9v\nZm9v",
        "Zm9vYmFy\r\n",
        "Zm9 ",
        "Zm-v",
        "Zm_v",
        // bytes outside ASCII, zero, and a bad character inside the four-group steps
        "Zm9v\x80g==",
        "Zm9vAAA\xff",
        std::string("Zm\0v", 4),
        "Zm9vZm9vZm9vZm9vZm9vZm.v",
    };
    for (const std::string& text : kBad) {
        SCOPED_TRACE(text);
        try {
            Base64Decode(AString(text.data(), text.data() + text.size()));
            ADD_FAILURE() << "nothing thrown";
        } catch (const exception::DeserializationError& e) {
            EXPECT_STREQ("ka/kor/Base64Decode", e.file());
        }
    }
}

TEST(Base64Decode, IgnoresUnusedBitsOfAPaddedGroup) {
    EXPECT_EQ(0, Base64Decode("Zh==").exactCompare("f"));
    EXPECT_EQ(0, Base64Decode("Zm9=").exactCompare("fo"));
}

}  // namespace
