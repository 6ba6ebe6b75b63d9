#include "ka/kor/osdep/path.h"

#include <gtest/gtest.h>

#include "ka/kor/osdep/ProcessTestSupport.h"

namespace {

using ka::kor::AString;
namespace path = ka::kor::osdep::path;

TEST(Join, PutsExactlyOneSlashBetweenTheParts) {
    const char* cases[][3] = {
        {"/tmp", "a", "/tmp/a"},
        {"/tmp//", "//a", "/tmp/a"},
        {"/", "a", "/a"},
        {"/tmp", "/a/b/", "/tmp/a/b/"},  // an absolute second part stays below the first
        {"rel", "x//y", "rel/x//y"},
        {"", "/a", "/a"},
        {"/tmp/", "", "/tmp/"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c[0]) + " + " + c[1]);
        EXPECT_STREQ(c[2], path::Join(AString(c[0]), AString(c[1])).c_str());
        EXPECT_EQ(
            0,
            path::Join(ka_test::Wide(c[0]), ka_test::Wide(c[1])).exactCompare(ka_test::Wide(c[2])));
    }
}

}  // namespace
