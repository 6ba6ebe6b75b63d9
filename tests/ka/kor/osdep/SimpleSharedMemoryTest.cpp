#include "ka/kor/osdep/SimpleSharedMemory.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/ProcessTestSupport.h"

namespace {

using ka::kor::exception::BufferOverflow;
using ka::kor::osdep::SimpleSharedMemory;
using ka_test::FileExists;

// The class-wide mutex's lock file is never deleted by the library; the tests remove it at the
// end so that they leave /tmp as they found it. A test process still using it keeps its own
// descriptor, and the regions of different tests never meet.
struct RemoveClassWideMutexFile : testing::Environment {
    void TearDown() override { ::unlink("/tmp/ka_kor_osdep_MutexSimpleSharedMemoryDummyMutex"); }
};
testing::Environment* const kCleanUp =
    testing::AddGlobalTestEnvironment(new RemoveClassWideMutexFile);

// This process's descriptors on the class-wide mutex's file, found by the name they were opened
// with, so that a file another test process has just removed still counts.
int ClassWideMutexDescriptors() {
    const std::string path = "/tmp/ka_kor_osdep_MutexSimpleSharedMemoryDummyMutex";
    int count = 0;
    for (int fd = 0; fd < 1024; ++fd) {
        char target[512];
        const std::string link = "/proc/self/fd/" + std::to_string(fd);
        const ssize_t n = ::readlink(link.c_str(), target, sizeof target);
        count += n >= 0 && std::string(target, static_cast<std::size_t>(n)).rfind(path, 0) == 0;
    }
    return count;
}

// First in the file, so that it also runs first when all the tests share one process: the
// mutex is open before any region is made.
TEST(SimpleSharedMemory, TheClassWideMutexIsMadeWhenTheLibraryLoads) {
    EXPECT_EQ(1, ClassWideMutexDescriptors());
}

struct Region {
    std::string name = "/tmp/ka_kor_osdep_" + ka_test::UniqueName("ssm");
    std::string file = name + "_ssm.ssm";
};

TEST(SimpleSharedMemory, OneProcessReadsWhatAnotherWroteAndAnotherLengthIsRefused) {
    Region r;
    ka_test::Pipe toParent, toChild;
    const unsigned char text[] = "written by the child";
    const pid_t child = ka_test::Spawn([&] {
        SimpleSharedMemory ssm(r.name.c_str(), 64);
        ssm.writeRaw(10, text, text + sizeof text);
        toParent.send('w');
        return toChild.receive() == 'q' ? 0 : 2;
    });
    ASSERT_EQ('w', toParent.receive());
    {
        SimpleSharedMemory ssm(r.name.c_str(), 64);
        unsigned char got[sizeof text] = {};
        ssm.readRaw(10, got, got + sizeof got);
        EXPECT_EQ(0, std::memcmp(text, got, sizeof text));
        try {
            SimpleSharedMemory other(r.name.c_str(), 63);
            ADD_FAILURE() << "no exception";
        } catch (const ka::kor::exception::InvalidArgument& e) {
            EXPECT_STREQ(
                "Shared region already exists, but you passed in a different length than the "
                "existing one.",
                e.what());
        }
        toChild.send('q');
        EXPECT_EQ(0, ka_test::WaitForChild(child));
        EXPECT_TRUE(FileExists(r.file));
    }
    EXPECT_FALSE(FileExists(r.file));
}

TEST(SimpleSharedMemory, LaysOutLengthDataAndATrailingZero) {
    Region r;
    const std::uint32_t length = 6;
    SimpleSharedMemory ssm(r.name.c_str(), length);
    const unsigned char data[] = {1, 2, 3};
    ssm.writeRaw(2, data, data + 3);
    std::vector<unsigned char> want(length + 5, 0);
    std::memcpy(want.data(), &length, 4);
    std::memcpy(want.data() + 4 + 2, data, 3);
    std::ifstream in(r.file, std::ios::binary);
    EXPECT_EQ(want, std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {}));
    EXPECT_EQ(0, std::memcmp(want.data(), ssm.getRawMemory(), length + 4));
}

TEST(SimpleSharedMemory, ChecksTheHeaderAndTheBoundsOfEveryAccess) {
    Region r;
    SimpleSharedMemory ssm(r.name.c_str(), 8);
    unsigned char buffer[9] = {};
    const struct {
        std::uint32_t offset, count;
        bool fits;
    } cases[] = {{0, 8, true},  {8, 0, true},  {7, 1, true},           {9, 0, false},
                 {7, 2, false}, {0, 9, false}, {0xFFFFFFFFu, 1, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.offset) + " + " + std::to_string(c.count));
        if (c.fits) {
            EXPECT_NO_THROW(ssm.readRaw(c.offset, buffer, buffer + c.count));
            EXPECT_NO_THROW(ssm.writeRaw(c.offset, buffer, buffer + c.count));
        } else {
            EXPECT_THROW(ssm.readRaw(c.offset, buffer, buffer + c.count), BufferOverflow);
            EXPECT_THROW(ssm.writeRaw(c.offset, buffer, buffer + c.count), BufferOverflow);
        }
    }
    ssm.getRawMemory()[0] ^= 1;
    EXPECT_THROW(ssm.readRaw(0, buffer, buffer), ka::kor::exception::SharedMemoryCorrupted);
}

}  // namespace
