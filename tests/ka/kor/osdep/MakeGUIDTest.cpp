#include "ka/kor/osdep/MakeGUID.h"

#include <gtest/gtest.h>

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "ka/kor/osdep/ThreadTestSupport.h"

namespace {

using namespace ka::kor;

std::uint64_t TimeOf(const Guid& g) {
    return (std::uint64_t{g.data3() & 0x0FFFu} << 48) | (std::uint64_t{g.data2()} << 32) |
           g.data1();
}

TEST(MakeGUID, IsAVersionOneIdentifierOfThisMoment) {
    Guid g;
    g.make();
    EXPECT_EQ(0x1000, g.data3() & 0xF000);  // version 1
    EXPECT_EQ(0x80, g.data4()[0] & 0xC0);   // variant 10

    // 100-ns intervals since 1582-10-15, within an hour of the system time.
    timeval now;
    ASSERT_EQ(0, gettimeofday(&now, nullptr));
    const std::uint64_t expected = static_cast<std::uint64_t>(now.tv_sec) * 10000000 +
                                   static_cast<std::uint64_t>(now.tv_usec) * 10 +
                                   0x01B21DD213814000ull;
    const std::uint64_t hour = 36000000000ull;
    EXPECT_LT(TimeOf(g), expected + hour);
    EXPECT_GT(TimeOf(g), expected - hour);
}

TEST(MakeGUID, ThreadsMakingIdentifiersAtOnceNeverCollide) {
    constexpr int kThreads = 6;
    constexpr int kEach = 5000;
    std::vector<std::vector<Guid>> made(kThreads);
    std::atomic<int> next(0);
    ka_test::RunOnThreads(kThreads, [&] {
        std::vector<Guid>& list = made[next++];
        for (int i = 0; i < kEach; ++i) {
            list.push_back(osdep::MakeGUID());
        }
    });
    const Guid& first = made[0][0];
    std::set<std::string> seen;
    for (const std::vector<Guid>& list : made) {
        for (std::size_t i = 0; i < list.size(); ++i) {
            const Guid& g = list[i];
            ASSERT_TRUE(
                seen.insert(std::string(reinterpret_cast<const char*>(g.bytes()), 16)).second);
            ASSERT_EQ(0, std::memcmp(first.data4() + 2, g.data4() + 2, 6));  // one node
            if (i > 0) {
                ASSERT_GE(TimeOf(g), TimeOf(list[i - 1]));  // times never go back
            }
        }
    }
    EXPECT_EQ(static_cast<std::size_t>(kThreads * kEach), seen.size());
}

std::uint16_t SequenceOf(const Guid& g) {
    return static_cast<std::uint16_t>(((g.data4()[0] & 0x3F) << 8) | g.data4()[1]);
}

TEST(MakeGUID, ForkedChildStartsItsOwnSequence) {
    const Guid before = osdep::MakeGUID();
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    const pid_t pid = fork();
    if (pid == 0) {
        const Guid g = osdep::MakeGUID();
        _exit(write(fds[1], g.bytes(), 16) == 16 ? 0 : 1);
    }
    close(fds[1]);
    unsigned char bytes[16] = {};
    const ssize_t n = read(fds[0], bytes, sizeof bytes);
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_EQ(16, n);
    Guid child;
    const unsigned char* cursor = bytes;
    child.deserialize(cursor, bytes + 16);
    // Same node and the same moment, so only a sequence of its own keeps the child apart.
    EXPECT_NE(SequenceOf(before), SequenceOf(child));
    EXPECT_NE(SequenceOf(osdep::MakeGUID()), SequenceOf(child));
}

}  // namespace
