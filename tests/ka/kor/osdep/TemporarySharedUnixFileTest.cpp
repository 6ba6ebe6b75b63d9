#include "ka/kor/osdep/TemporarySharedUnixFile.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <memory>
#include <thread>
#include <vector>

#include "ka/kor/osdep/ProcessTestSupport.h"
#include "ka/kor/osdep/ThreadTestSupport.h"

namespace {

using ka::kor::osdep::TemporarySharedUnixFile;
using ka_test::FileExists;
using ka_test::Pipe;

std::string TestPath() {
    return "/tmp/ka_kor_osdep_" + ka_test::UniqueName("tsuf");
}

// Children are forked before this process opens the file: a child forked later would inherit
// this process's descriptor instead of opening the file itself.
TEST(TemporarySharedUnixFile, TheFileStaysUntilEveryProcessHasLetGo) {
    for (bool killed : {false, true}) {
        SCOPED_TRACE(killed ? "other user killed" : "other user lets go last");
        const std::string path = TestPath();
        Pipe toParent, toChild;
        const pid_t child = ka_test::Spawn([&] {
            TemporarySharedUnixFile file(path.c_str());
            // Shares the descriptor: letting go of it must not drop this process's locks.
            { TemporarySharedUnixFile extra(path.c_str()); }
            toParent.send('o');
            return toChild.receive() == 'q' ? 0 : 2;
        });
        ASSERT_EQ('o', toParent.receive());
        { TemporarySharedUnixFile file(path.c_str()); }
        EXPECT_TRUE(FileExists(path));
        if (killed) {
            EXPECT_EQ(-1, ka_test::WaitForChild(child, true));
            { TemporarySharedUnixFile file(path.c_str()); }  // the dead user's locks are gone
        } else {
            toChild.send('q');
            EXPECT_EQ(0, ka_test::WaitForChild(child));
        }
        EXPECT_FALSE(FileExists(path));
    }
}

// Deliberately, paths are told apart without regard to case: the second object shares the first
// one's file, and whichever lets go last deletes that file, not one named by its own path.
TEST(TemporarySharedUnixFile, PathsThatDifferOnlyInCaseShareTheFirstFile) {
    const std::string path = TestPath();
    const std::string other = "/tmp/" + ka_test::Upper(path.substr(5));
    std::unique_ptr<TemporarySharedUnixFile> first(new TemporarySharedUnixFile(path.c_str()));
    std::unique_ptr<TemporarySharedUnixFile> second(new TemporarySharedUnixFile(other.c_str()));
    EXPECT_EQ(static_cast<int>(*first), static_cast<int>(*second));
    EXPECT_FALSE(FileExists(other));
    first.reset();
    EXPECT_TRUE(FileExists(path));
    second.reset();
    EXPECT_FALSE(FileExists(path));
}

// Tries a lock on a byte of path through a descriptor of its own: 0 when granted.
int TryByte(const std::string& path, off_t byte, short type) {
    struct flock request = {};
    request.l_type = type;
    request.l_whence = SEEK_SET;
    request.l_start = byte;
    request.l_len = 1;
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT, 0666);
    return ::fcntl(fd, F_SETLK, &request) == 0 ? 0 : 1;
}

TEST(TemporarySharedUnixFile, CallerLocksStartAtByteTwo) {
    const std::string path = TestPath();
    TemporarySharedUnixFile file(path.c_str());
    ASSERT_TRUE(file.grabExclusiveLock(0, true));
    ASSERT_TRUE(file.grabSharedLock(3, false));
    // Byte 0, the guard, is held only while opening or deleting; byte 1 shared by every user.
    const off_t bytes[] = {0, 1, 1, 2, 3, 5, 5};
    const short types[] = {F_WRLCK, F_WRLCK, F_RDLCK, F_RDLCK, F_WRLCK, F_RDLCK, F_WRLCK};
    const int refused[] = {0, 1, 0, 1, 0, 0, 1};
    for (int i = 0; i < 7; ++i) {
        SCOPED_TRACE(bytes[i]);
        EXPECT_EQ(refused[i], ka_test::WaitForChild(ka_test::Spawn(
                                  [&] { return TryByte(path, bytes[i], types[i]); })));
    }
    file.releaseLock(0);
    EXPECT_EQ(0, ka_test::WaitForChild(ka_test::Spawn([&] { return TryByte(path, 2, F_WRLCK); })));
}

// Another process holds the guard byte, as the last user does while it deletes the file. We
// open the file and wait for the guard; meanwhile the file is unlinked and the guard released.
// The open must notice that it holds a deleted file and create a new one.
TEST(TemporarySharedUnixFile, ReopensAFileDeletedBetweenOpenAndLock) {
    const std::string path = TestPath();
    Pipe toParent, toChild;
    const pid_t child = ka_test::Spawn([&] {
        if (TryByte(path, 0, F_WRLCK) != 0) {
            return 2;
        }
        toParent.send('g');
        return toChild.receive() == 'u' ? 0 : 3;  // exiting releases the guard
    });
    ASSERT_EQ('g', toParent.receive());
    std::unique_ptr<TemporarySharedUnixFile> file;
    std::thread opener([&] { file.reset(new TemporarySharedUnixFile(path.c_str())); });
    // The opener has opened the file once a descriptor of ours refers to it.
    EXPECT_TRUE(ka_test::WaitUntil([&] { return !ka_test::DescriptorsOn(path).empty(); }));
    ASSERT_EQ(0, ::unlink(path.c_str()));
    toChild.send('u');
    opener.join();
    EXPECT_EQ(0, ka_test::WaitForChild(child));
    EXPECT_EQ(std::vector<int>{*file}, ka_test::DescriptorsOn(path));  // the file now named so
    file.reset();
    EXPECT_FALSE(FileExists(path));
}

}  // namespace
