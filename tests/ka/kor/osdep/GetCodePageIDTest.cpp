#include "ka/kor/osdep/GetCodePageID.h"

#include <gtest/gtest.h>

#include "ka/kor/exception.h"

namespace {

using ka::kor::osdep::GetCodePageID;

TEST(GetCodePageID, KnowsTheLibrarysCodeSets) {
    EXPECT_EQ(0u, GetCodePageID(""));
    EXPECT_EQ(0u, GetCodePageID(nullptr));
    EXPECT_EQ(20127u, GetCodePageID("US-ASCII"));
    EXPECT_EQ(932u, GetCodePageID("cp932"));
    // Only the spellings the library passes are known, not every name iconv would accept.
    for (const char* other : {"UTF-8", "cp9320", "ASCII", " cp932", "us-ascii", "CP932", "Cp932"}) {
        SCOPED_TRACE(other);
        EXPECT_THROW(GetCodePageID(other), ka::kor::exception::InvalidLocale);
    }
}

}  // namespace
