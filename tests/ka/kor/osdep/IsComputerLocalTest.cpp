#include "ka/kor/osdep/IsComputerLocal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <thread>
#include <vector>

#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/kor/osdep/GetHostName.h"

namespace {

using ka::kor::String;
using ka::kor::osdep::GetCachedHostName;
using ka::kor::osdep::GetHostName;
using ka::kor::osdep::IsComputerLocal;

// Run alone, as each test is, the threads race to the first look-up.
TEST(GetCachedHostName, ConcurrentFirstCallsSeeTheQueriedName) {
    std::vector<String> seen(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] { seen[i] = GetCachedHostName(); });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    for (const String& s : seen) {
        EXPECT_EQ(0, s.exactCompare(GetHostName()));
    }
}

TEST(IsComputerLocal, KnowsOnlyTheNamesAndAddressesOfThisComputer) {
    const String host = GetHostName();
    String upper = host;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towupper(c)); });
    const String local[] = {
        L"localhost", L"LOCALHOST", L"printer.localhost", L"127.0.0.1", L"127.1.2.3",
        L"::1",       L"[::1]",     L"::ffff:127.0.0.1",  host,         upper};
    for (const String& name : local) {
        EXPECT_TRUE(IsComputerLocal(name)) << testing::PrintToString(std::wstring(name.c_str()));
    }
    // 192.0.2.1 and 2001:db8::1 are reserved for documentation and never assigned.
    const String other[] = {L"",          L"other.invalid", L"192.0.2.1",
                            L"128.0.0.1", L"2001:db8::1",   L"localhost.example.invalid",
                            L"x" + host,  host + L"\u00e9"};
    for (const String& name : other) {
        EXPECT_FALSE(IsComputerLocal(name)) << testing::PrintToString(std::wstring(name.c_str()));
    }
}

}  // namespace
