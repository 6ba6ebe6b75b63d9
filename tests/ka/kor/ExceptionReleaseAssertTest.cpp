#include "ka/kor/ExceptionReleaseAssert.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

#include "ka/kor/osdep/OutputAssertion.h"
#include "ka/kor/osdep/OutputErrorString.h"
#include "ka/kor/osdep/OutputReleaseAssertion.h"

namespace {

using namespace ka::kor;

// How a null text is printed (spelled out this way because "??(" would be a trigraph).
const std::string kUnknown(3, '?');

struct ChildResult {
    std::string stderrBytes;
    bool aborted;
    int exitCode;
};

// Runs body in a child process with stderr captured, so the exact bytes written and an abort can
// be checked without ending the test program.
ChildResult RunInChild(const std::function<void()>& body) {
    int fds[2];
    EXPECT_EQ(0, pipe(fds));
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        dup2(fds[1], 2);
        body();
        std::fflush(stderr);
        _exit(0);
    }
    close(fds[1]);
    ChildResult r{std::string(), false, -1};
    char buffer[4096];
    ssize_t n;
    while ((n = read(fds[0], buffer, sizeof buffer)) > 0) {
        r.stderrBytes.append(buffer, static_cast<std::size_t>(n));
    }
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    r.aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

// Assertions print and return, release assertions print and abort; the bytes are exact.
TEST(ExceptionReleaseAssert, WritesExactlyTheseBytesThenAbortsOrReturns) {
    const struct {
        const char* name;
        std::function<void()> body;
        std::string bytes;
        bool aborts;
    } cases[] = {
        {"assertion with message",
         [] { osdep::OutputAssertion("x > 0", "x must be positive", "ka/kor/A", 12); },
         "ka/kor/A(12): Assertion failed: x must be positive\a\n", false},
        {"assertion without message", [] { osdep::OutputAssertion("x > 0", "", "ka/kor/A", 12); },
         "ka/kor/A(12): Assertion failed: x > 0\a\n", false},
        {"assertion of nulls", [] { osdep::OutputAssertion(nullptr, nullptr, nullptr, 0); },
         kUnknown + "(0): Assertion failed: " + kUnknown + "\a\n", false},
        {"release assertion", [] { osdep::OutputReleaseAssertion("p != 0", "", "ka/kor/B", 7); },
         "ka/kor/B(7): Release Assertion failed: p != 0\a\n", true},
        {"error string", [] { osdep::OutputErrorString("no newline"); }, "no newline", false},
        {"null error string", [] { osdep::OutputErrorString(nullptr); }, "", false},
        {"std::exception",
         [] { ExceptionReleaseAssert(std::runtime_error("boom"), "ka/kor/Caller", 33); },
         "ka/kor/Caller(33): Release Assertion failed: \n"
         "        Unexpected std::exception caught \n"
         "        Description: boom\n"
         "\a\n",
         true},
        {"library exception",
         [] {
             ExceptionReleaseAssert(exception::NotFound(601, "ka/kor/RefnumMap.h"), "ka/kor/Caller",
                                    34);
         },
         "ka/kor/Caller(34): Release Assertion failed: \n"
         "        Unexpected ka::kor::exception caught \n"
         "        Thrown From File: ka/kor/RefnumMap.h\n"
         "        Thrown From Line: 601\n"
         "\n"
         "        Description: Not found\n"
         "\a\n",
         true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ChildResult r = RunInChild(c.body);
        EXPECT_EQ(c.bytes, r.stderrBytes);
        EXPECT_EQ(c.aborts, r.aborted);
        EXPECT_EQ(c.aborts ? -1 : 0, r.exitCode);
    }
}

TEST(ExceptionReleaseAssert, UnknownThrowSiteAndOverlongTextStayBounded) {
    const ChildResult unknown =
        RunInChild([] { ExceptionReleaseAssert(exception::NotFound(), nullptr, 1); });
    EXPECT_NE(std::string::npos, unknown.stderrBytes.find("Thrown From File: ???\n"));
    EXPECT_EQ(0u, unknown.stderrBytes.find(kUnknown + "(1): "));

    const std::string longText(10000, 'x');
    const ChildResult overlong =
        RunInChild([&longText] { ExceptionReleaseAssert(std::runtime_error(longText), "f", 2); });
    EXPECT_TRUE(overlong.aborted);
    EXPECT_LT(overlong.stderrBytes.size(), 2100u);
}

}  // namespace
