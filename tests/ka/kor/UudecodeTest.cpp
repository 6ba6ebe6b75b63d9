#include "ka/kor/Uudecode.h"

#include <gtest/gtest.h>

#include <string>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;

TEST(Uudecode, RejectsCharactersOutsideTheRangeAndASingleTrailingCharacter) {
    const std::string kBad[] = {
        // one character cannot carry a byte
        "!",
        "!!!!!",
        // classic uuencode's zero (0x20), characters above the backquote, line breaks, zero
        " !!!",
        "!!!a",
        "!!!!~!",
        "!!\x80!",
        "!!\xff",
        "!!!\n!!!!",
        std::string("!\0", 2),
    };
    for (const std::string& text : kBad) {
        SCOPED_TRACE(text);
        EXPECT_THROW(Uudecode(AString(text.data(), text.data() + text.size())),
                     exception::DeserializationError);
    }
}

TEST(Uudecode, EmptyTextIsAbsentAndUnusedBitsAreIgnored) {
    EXPECT_EQ(nullptr, Uudecode(AString()).Data());
    const AutoBuffer b = Uudecode("!\"");  // a bit below the single byte is set
    ASSERT_EQ(1u, b.Len());
    EXPECT_EQ(0u, b.Data()[0]);
}

}  // namespace
