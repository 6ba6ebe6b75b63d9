#include "ka/kor/Uudecode.h"

#include <gtest/gtest.h>

#include <string>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;

TEST(Uudecode, EmptyTextGivesAnAbsentBuffer) {
    const AutoBuffer b = Uudecode(AString());
    EXPECT_EQ(nullptr, b.Data());
    EXPECT_EQ(0u, b.Len());
}

TEST(Uudecode, RejectsCharactersOutsideTheRangeAndASingleTrailingCharacter) {
    const std::string kBad[] = {
        "!",          // one character cannot carry a byte
        "!!!!!",      //
        " !!!",       // classic uuencode's zero (0x20)
        "!!!a",       // above the backquote
        "!!!!~!",     //
        "!!\x80!",    //
        "!!\xff",     //
        "!!!\n!!!!",  // no line structure
        std::string("!\0", 2),
    };
    for (const std::string& text : kBad) {
        SCOPED_TRACE(text);
        try {
            Uudecode(AString(text.data(), text.data() + text.size()));
            ADD_FAILURE() << "nothing thrown";
        } catch (const exception::DeserializationError& e) {
            EXPECT_STREQ("ka/kor/Uudecode", e.file());
        }
    }
}

TEST(Uudecode, IgnoresUnusedBitsOfAShortGroup) {
    // "!\"" has a bit below its single byte set; "!!" is the canonical form of the same byte.
    const AutoBuffer b = Uudecode("!\"");
    ASSERT_EQ(1u, b.Len());
    EXPECT_EQ(0u, b.Data()[0]);
}

}  // namespace
