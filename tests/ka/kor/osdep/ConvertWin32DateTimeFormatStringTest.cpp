#include "ka/kor/osdep/ConvertWin32DateTimeFormatString.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace {

using ka::kor::String;
using ka::kor::osdep::ConvertWin32DateTimeFormatString;

// Exact (not case-insensitive) comparisons go through std::wstring.
std::wstring Convert(const char* pattern, unsigned int length) {
    const String s = ConvertWin32DateTimeFormatString(pattern, length);
    return std::wstring(s.begin(), s.end());
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
            EXPECT_EQ(row.byRun[run - 1], Convert(pattern.c_str(), run + 1));
            // A run ends at the next different character, which is kept.
            EXPECT_EQ(std::wstring(row.byRun[run - 1]) + L"|",
                      Convert((pattern + "|").c_str(), run + 2));
        }
    }
}

TEST(ConvertWin32DateTimeFormatString, WholePatterns) {
    // The length counts the terminator.
    EXPECT_EQ(L"%A, %B %d, %Y", Convert("dddd, MMMM dd, yyyy", 20));
    EXPECT_EQ(L"%#I:%M:%S ", Convert("h:mm:ss tt", 11));
    EXPECT_EQ(L"at %#H", Convert("'at' H", 7));
    EXPECT_EQ(L"", Convert("yyy", 4));
    EXPECT_EQ(L"", Convert("''", 3));  // no escaped quote: two quotes give nothing
    EXPECT_EQ(L"Its %#d", Convert("'It''s' d", 10));
    EXPECT_EQ(L"open", Convert("'open", 6));  // a missing closing quote runs to the end
    // Letters, the era letter too, are literal inside quotes.
    EXPECT_EQ(L"dd MM g", Convert("'dd MM g'", 10));
    EXPECT_EQ(L"%Q", Convert("%Q", 3));      // other characters pass through, strftime syntax too
    EXPECT_EQ(L"%Y", Convert("yyyyMM", 5));  // the length ends the scan
    EXPECT_EQ(L"", Convert("yyyy", 0));
    EXPECT_EQ(L"", Convert(nullptr, 10));
    // Other bytes are sign-extended.
    EXPECT_EQ(L"\xFFFFFFE9\xFFFFFFE8", Convert("\xE9'\xE8'", 5));
}

// Runs a translation in a child process that an alarm ends after the given seconds; true when
// the translation finished first.
bool FinishesInChild(const char* pattern, unsigned seconds) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(seconds);
        ConvertWin32DateTimeFormatString(pattern, std::strlen(pattern) + 1);
        _exit(0);
    }
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(ConvertWin32DateTimeFormatString, EraLetterNeverCompletes) {
    // The control shows that the child machinery works; the era letter must keep its child busy.
    EXPECT_TRUE(FinishesInChild("yyyy-MM-dd", 20));
    EXPECT_FALSE(FinishesInChild("yyyy g", 1));
}

}  // namespace
