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

TEST(OutputAssertion, PrintsMessageOrExpressionWithBellAndReturns) {
    const ChildResult withMessage =
        RunInChild([] { osdep::OutputAssertion("x > 0", "x must be positive", "ka/kor/A", 12); });
    EXPECT_EQ("ka/kor/A(12): Assertion failed: x must be positive\a\n", withMessage.stderrBytes);
    EXPECT_EQ(0, withMessage.exitCode);

    const ChildResult withoutMessage =
        RunInChild([] { osdep::OutputAssertion("x > 0", "", "ka/kor/A", 12); });
    EXPECT_EQ("ka/kor/A(12): Assertion failed: x > 0\a\n", withoutMessage.stderrBytes);

    const ChildResult nulls =
        RunInChild([] { osdep::OutputAssertion(nullptr, nullptr, nullptr, 0); });
    EXPECT_EQ("???" "(0): Assertion failed: ???\a\n", nulls.stderrBytes);
}

TEST(OutputReleaseAssertion, PrintsThenAborts) {
    const ChildResult r =
        RunInChild([] { osdep::OutputReleaseAssertion("p != 0", "", "ka/kor/B", 7); });
    EXPECT_EQ("ka/kor/B(7): Release Assertion failed: p != 0\a\n", r.stderrBytes);
    EXPECT_TRUE(r.aborted);
}

TEST(OutputErrorString, WritesTextAsItStands) {
    EXPECT_EQ("no newline", RunInChild([] { osdep::OutputErrorString("no newline"); }).stderrBytes);
    EXPECT_EQ("", RunInChild([] { osdep::OutputErrorString(nullptr); }).stderrBytes);
}

TEST(ExceptionReleaseAssert, DescribesStdException) {
    const ChildResult r =
        RunInChild([] { ExceptionReleaseAssert(std::runtime_error("boom"), "ka/kor/Caller", 33); });
    EXPECT_EQ(
        "ka/kor/Caller(33): Release Assertion failed: \n"
        "        Unexpected std::exception caught \n"
        "        Description: boom\n"
        "\a\n",
        r.stderrBytes);
    EXPECT_TRUE(r.aborted);
}

TEST(ExceptionReleaseAssert, DescribesLibraryExceptionWithItsThrowSite) {
    const ChildResult r = RunInChild([] {
        ExceptionReleaseAssert(exception::NotFound(601, "ka/kor/RefnumMap.h"), "ka/kor/Caller", 34);
    });
    EXPECT_EQ(
        "ka/kor/Caller(34): Release Assertion failed: \n"
        "        Unexpected ka::kor::exception caught \n"
        "        Thrown From File: ka/kor/RefnumMap.h\n"
        "        Thrown From Line: 601\n"
        "\n"
        "        Description: Not found\n"
        "\a\n",
        r.stderrBytes);
    EXPECT_TRUE(r.aborted);
}

TEST(ExceptionReleaseAssert, UnknownThrowSiteAndOverlongTextStayBounded) {
    const ChildResult unknown =
        RunInChild([] { ExceptionReleaseAssert(exception::NotFound(), nullptr, 1); });
    EXPECT_NE(std::string::npos, unknown.stderrBytes.find("Thrown From File: ???\n"));
    EXPECT_EQ(0u, unknown.stderrBytes.find("???" "(1): "));

    const std::string longText(10000, 'x');
    const ChildResult overlong =
        RunInChild([&longText] { ExceptionReleaseAssert(std::runtime_error(longText), "f", 2); });
    EXPECT_TRUE(overlong.aborted);
    EXPECT_LT(overlong.stderrBytes.size(), 2100u);
}

}  // namespace
