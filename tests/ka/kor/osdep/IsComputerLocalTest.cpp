#include "ka/kor/osdep/IsComputerLocal.h"

#include <gtest/gtest.h>

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

String UpperCase(const String& s) {
    String r;
    for (wchar_t c : s) {
        r += static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
    }
    return r;
}

TEST(GetHostName, AgreesWithTheCachedName) {
    const String name = GetHostName();
    EXPECT_FALSE(name.empty());
    EXPECT_EQ(0, name.exactCompare(GetCachedHostName()));
}

TEST(GetCachedHostName, ConcurrentFirstCallsSeeOneName) {
    std::vector<String> seen(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] { seen[i] = GetCachedHostName(); });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    for (const String& s : seen) {
        EXPECT_EQ(0, s.exactCompare(seen[0]));
    }
}

TEST(IsComputerLocal, KnowsTheNamesAndAddressesOfThisComputer) {
    const String host = GetHostName();
    const String local[] = {
        L"localhost",        L"LOCALHOST", L"LocalHost",    L"printer.localhost",
        L"127.0.0.1",        L"127.1.2.3", L"::1",          L"[::1]",
        L"::ffff:127.0.0.1", host,         UpperCase(host),
    };
    for (const String& name : local) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(name.c_str())));
        EXPECT_TRUE(IsComputerLocal(name));
    }
}

TEST(IsComputerLocal, RejectsOtherNamesWithoutResolvingThem) {
    const String host = GetHostName();
    const String other[] = {
        L"",
        L"surely-not-this-computer.invalid",
        L"192.0.2.1",  // reserved for documentation, never assigned
        L"2001:db8::1",
        L"128.0.0.1",
        L"localhost.example.invalid",
        L"x" + host,
        host + L"\u00e9",
    };
    for (const String& name : other) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(name.c_str())));
        EXPECT_FALSE(IsComputerLocal(name));
    }
}

}  // namespace
