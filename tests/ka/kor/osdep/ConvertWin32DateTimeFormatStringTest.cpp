#include "ka/kor/osdep/ConvertWin32DateTimeFormatString.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

namespace {

using ka::kor::String;
using ka::kor::osdep::ConvertWin32DateTimeFormatString;

// Exact (not case-insensitive) comparisons go through std::wstring.
std::wstring Convert(const char* pattern, unsigned int length) {
    const String s = ConvertWin32DateTimeFormatString(pattern, length);
    return std::wstring(s.begin(), s.end());
}

std::wstring Convert(const char* pattern) {
    return Convert(pattern, std::strlen(pattern) + 1);
}

TEST(ConvertWin32DateTimeFormatString, EveryRunOfEveryLetter) {
    struct Row {
        char letter;
        const wchar_t* byRun[6];  // runs of 1 to 6
    };
    const Row rows[] = {
        {'d', {L"%#d", L"%d", L"%a", L"%A", L"", L""}},
        {'M', {L"%#m", L"%m", L"%b", L"%B", L"", L""}},
        {'y', {L"%#y", L"%y", L"", L"%Y", L"", L""}},
        {'h', {L"%#I", L"%I", L"", L"", L"", L""}},
        {'H', {L"%#H", L"%H", L"", L"", L"", L""}},
        {'m', {L"%#M", L"%M", L"", L"", L"", L""}},
        {'s', {L"%#S", L"%S", L"", L"", L"", L""}},
        {'t', {L"%p", L"", L"", L"", L"", L""}},
    };
    for (const Row& row : rows) {
        for (int run = 1; run <= 6; ++run) {
            const std::string pattern(run, row.letter);
            SCOPED_TRACE(pattern);
            EXPECT_EQ(row.byRun[run - 1], Convert(pattern.c_str()));
            // A run ends at the next different character, which is kept.
            EXPECT_EQ(std::wstring(row.byRun[run - 1]) + L"|", Convert((pattern + "|").c_str()));
        }
    }
}

TEST(ConvertWin32DateTimeFormatString, WholePatterns) {
    struct Case {
        const char* pattern;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {"dddd, MMMM dd, yyyy", L"%A, %B %d, %Y"},
        {"h:mm:ss tt", L"%#I:%M:%S "},
        {"'at' H", L"at %#H"},
        {"yyy", L""},
        {"yyyy-MM-dd HH:mm:ss", L"%Y-%m-%d %H:%M:%S"},
        {"d/M/yy", L"%#d/%#m/%y"},
        {"''", L""},  // no escaped quote: two quotes give nothing
        {"'It''s' d", L"Its %#d"},
        {"'open", L"open"},         // a missing closing quote runs to the end
        {"'dd MM g'", L"dd MM g"},  // letters, the era letter too, are literal inside quotes
        {"t tt", L"%p "},
        {"", L""},
        {"%Q", L"%Q"},  // other characters pass through, strftime syntax included
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pattern);
        EXPECT_EQ(c.expected, Convert(c.pattern));
    }
}

TEST(ConvertWin32DateTimeFormatString, LengthCountsTheTerminator) {
    EXPECT_EQ(L"%Y", Convert("yyyyMM", 5));  // scans "yyyy"
    EXPECT_EQ(L"", Convert("yyyy", 1));
    EXPECT_EQ(L"", Convert("yyyy", 0));
    EXPECT_EQ(L"", Convert(nullptr, 10));
}

TEST(ConvertWin32DateTimeFormatString, OtherBytesAreSignExtended) {
    const std::wstring s = Convert("\xE9'\xE8'");
    ASSERT_EQ(2u, s.length());
    EXPECT_EQ(static_cast<wchar_t>(static_cast<signed char>('\xE9')), s[0]);
    EXPECT_EQ(static_cast<wchar_t>(static_cast<signed char>('\xE8')), s[1]);
}

// Runs a translation in a child process and reports whether it finished within the wait; a
// child still running is killed.
bool FinishesInChild(const char* pattern, std::chrono::milliseconds wait) {
    const pid_t child = fork();
    if (child == 0) {
        ConvertWin32DateTimeFormatString(pattern, std::strlen(pattern) + 1);
        _exit(0);
    }
    if (child < 0) {
        ADD_FAILURE() << "fork failed";
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + wait;
    int status = 0;
    while (std::chrono::steady_clock::now() < deadline) {
        if (waitpid(child, &status, WNOHANG) == child) {
            return WIFEXITED(status) && WEXITSTATUS(status) == 0;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return false;
}

TEST(ConvertWin32DateTimeFormatString, EraLetterNeverCompletes) {
    // The control shows that the child machinery works; the era letter must keep its child busy.
    EXPECT_TRUE(FinishesInChild("yyyy-MM-dd", std::chrono::seconds(20)));
    EXPECT_FALSE(FinishesInChild("yyyy g", std::chrono::milliseconds(300)));
}

}  // namespace
