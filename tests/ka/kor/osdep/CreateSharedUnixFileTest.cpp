#include "ka/kor/osdep/CreateSharedUnixFile.h"

#include <gtest/gtest.h>

#include "ka/kor/osdep/ProcessTestSupport.h"

namespace {

using ka::kor::osdep::CreateSharedUnixFile;

TEST(CreateSharedUnixFile, OpensAFileEveryUserMayWriteWhateverTheUmask) {
    const ka_test::Unlink file{"/tmp/ka_kor_osdep_" + ka_test::UniqueName("shared")};
    const mode_t old = ::umask(077);
    const int fd = CreateSharedUnixFile(file.path.c_str());
    ::umask(old);
    struct stat st;
    ASSERT_EQ(0, ::fstat(fd, &st));
    EXPECT_EQ(0666u, st.st_mode & 0777);
    EXPECT_EQ(1, ::write(fd, "x", 1));
    ::close(fd);
}

}  // namespace
