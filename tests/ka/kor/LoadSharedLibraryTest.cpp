#include "ka/kor/LoadSharedLibrary.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "ka/kor/GetILibraryInterface.h"
#include "ka/kor/ILibraryA.h"
#include "ka/kor/LoadSecurityLibrary.h"
#include "ka/kor/SecurityLibraryPath.h"
#include "ka/kor/ThrowSite.h"
#include "ka/kor/osdep/OSException.h"

namespace {

using namespace ka::kor;

// Built beside this program by the test's CMake list.
const AString kLibrary(KA_TEST_LIBRARY_PATH);

int LiveObjects(const osdep::SharedLibrary& library) {
    return reinterpret_cast<int (*)()>(library.getSymbol("LiveObjects"))();
}

TEST(LoadSharedLibrary, KeepsTheLibraryAsLongAsTheInterface) {
    LibraryInterface<ILibraryA> loaded;
    LoadSharedLibrary(kLibrary, 2, loaded);
    ASSERT_TRUE(loaded.interface);
    EXPECT_EQ(2u, loaded.interface->interfaceVersion());
    EXPECT_EQ(1, LiveObjects(loaded.library));
    // Loading again replaces the interface and lets the first one go.
    LoadSecurityLibrary(kLibrary, 2, loaded);
    EXPECT_EQ(1, LiveObjects(loaded.library));
    loaded.interface.reset();
    EXPECT_EQ(0, LiveObjects(loaded.library));
}

TEST(LoadSharedLibrary, WrongVersionsAndMissingLibraries) {
    const std::string wrong =
        "ka/kor/LoadSharedLibrary.h:208: Installed library is of the wrong version";
    LibraryInterface<ILibraryA> loaded;
    for (std::uint32_t version : {3u, 4u}) {  // another kind of interface; nothing at all
        SCOPED_TRACE(version);
        EXPECT_EQ(wrong, ka_test::ThrowSite<exception::WrongLibraryVersion>(
                             [&] { LoadSharedLibrary(kLibrary, version, loaded); }));
    }
    EXPECT_FALSE(loaded.interface);
    EXPECT_FALSE(loaded.library.isOpen());

    LoadSharedLibrary(kLibrary, 2, loaded);
    try {
        LoadSharedLibrary(AString("/nonexistent/libnothing.so"), 2, loaded);
        FAIL() << "nothing thrown";
    } catch (const osdep::OSException& e) {
        EXPECT_EQ(0u, std::string(e.what()).find("dlopen: /nonexistent/libnothing.so"));
        EXPECT_EQ(42u, e.getErrorCode());
    }
    EXPECT_TRUE(loaded.interface);  // a failed load leaves what was loaded before

    // A library without the entry.
    try {
        LoadSharedLibrary(AString("libm.so.6"), 2, loaded);
        FAIL() << "nothing thrown";
    } catch (const osdep::OSException& e) {
        EXPECT_EQ(0u, std::string(e.what()).find("dlsym: "));
    }
}

TEST(SecurityLibraryPath, NextToTheSecurityCommandOrInTheDefaultDirectory) {
    char pattern[] = "/tmp/ka_security_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    const std::string dir = pattern;
    const AString link((dir + "/security").c_str());
    const AString defaultDir((dir + "/default").c_str());
    EXPECT_EQ(dir + "/default/lib", SecurityLibraryPath("lib", link, defaultDir).c_str());
    EXPECT_EQ("/abs/lib", std::string(SecurityLibraryPath("/abs/lib", link, defaultDir).c_str()));

    ASSERT_EQ(0, symlink("/opt/zc/bin/security-tool", link.c_str()));
    EXPECT_EQ("/opt/zc/bin/lib", std::string(SecurityLibraryPath("lib", link, defaultDir).c_str()));
    unlink(link.c_str());
    ASSERT_EQ(0, symlink("../sec/security-tool", link.c_str()));
    EXPECT_EQ(dir + "/../sec/lib", SecurityLibraryPath("lib", link, defaultDir).c_str());
    unlink(link.c_str());
    ASSERT_EQ(0, symlink("security-tool", link.c_str()));
    EXPECT_EQ(dir + "/lib", SecurityLibraryPath("lib", link, defaultDir).c_str());
    unlink(link.c_str());
    rmdir(pattern);

    // Where this machine would look for the thin-authentication client; not installed here.
    const std::string expected = std::string(SecurityLibraryPath(thin_auth::kLibraryName).c_str());
    EXPECT_NE(std::string::npos, expected.find("/pelo_client_thinauth"));
    LibraryInterface<ILibraryA> loaded;
    if (access(expected.c_str(), F_OK) != 0) {
        EXPECT_THROW(GetILibraryInterface(loaded), osdep::OSException);
    }
}

}  // namespace
