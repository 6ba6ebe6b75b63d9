#include "ka/kor/Base64Decode.h"

#include <gtest/gtest.h>

#include <string>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;

TEST(Base64Decode, RejectsEverythingTheEncoderCannotWrite) {
    const std::string kBad[] = {
        "A",             // length not a multiple of 4
        "AAAAA",         //
        "Zm9vYg=",       //
        "A===",          // "=" in the second position
        "====",          //
        "=AAA",          // "=" in the first position
        "AA=A",          // a third "=" without a fourth
        "Zg==Zm9v",      // padding in a group that is not the last
        "Zm8=Zm9v",      //
        "Zm9vZg==Zm8=",  //
        "Zm9v\nZm9v",    // line breaks are not skipped
        "Zm9vYmFy\r\n",  //
        "Zm9 ",          // blank
        "Zm-v",          // the URL-safe alphabet is not accepted
        "Zm_v",          //
        "Zm9v\x80"
        "AAA",                    // 0x80 and above
        "Zm9vAAA\xff",            //
        std::string("Zm\0v", 4),  // zero
        "Zm9vZm9vZm9vZm9vZm9.",   // a bad character inside the four-group steps
        "Zm9vZm9vZm9vZm9vZm9vZm.v",
    };
    for (const std::string& text : kBad) {
        SCOPED_TRACE(text);
        try {
            Base64Decode(AString(text.data(), text.data() + text.size()));
            ADD_FAILURE() << "nothing thrown";
        } catch (const exception::DeserializationError& e) {
            EXPECT_STREQ("ka/kor/Base64Decode", e.file());
            EXPECT_NE(0u, e.line());
        }
    }
}

TEST(Base64Decode, IgnoresUnusedBitsOfAPaddedGroup) {
    // "Zh==" carries the same byte as "Zg==" with non-zero bits below it.
    EXPECT_EQ(0, Base64Decode("Zh==").exactCompare("f"));
    EXPECT_EQ(0, Base64Decode("Zm9=").exactCompare("fo"));
}

}  // namespace
