#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "gxhost/GxHost.h"
#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/NotResolvedException.h"
#include "ka/kor/osdep/PosixError.h"
#include "ka/tagger/gx/VestaQualityException.h"

namespace {

namespace ex = ka::kor::exception;
namespace os = ka::kor::osdep;

// Every code an exception of the library reports: one object of each class, PosixError for each
// kind of errno, the quality exception for each single bit and for none, and the codes the
// exported functions report by themselves.
std::vector<std::uint32_t> LibraryCodes() {
    const ka::kor::AString d("d");
    std::vector<std::unique_ptr<ex::Exception>> all;
    all.emplace_back(new ex::Exception());
    all.emplace_back(new ex::BufferOverflow());
    all.emplace_back(new ex::DeserializationError());
    all.emplace_back(new ex::InvalidArgument());
    all.emplace_back(new ex::InvalidArgument2(0, nullptr, d));
    all.emplace_back(new ex::OutOfRange());
    all.emplace_back(new ex::OutOfRange2(0, nullptr, d));
    all.emplace_back(new ex::BoundExceeded());
    all.emplace_back(new ex::BoundExceeded2(0, nullptr, d));
    all.emplace_back(new ex::InvalidLocale());
    all.emplace_back(new ex::NotImplemented());
    all.emplace_back(new ex::ObjectAlreadyExists());
    all.emplace_back(new ex::UnableToConvert());
    all.emplace_back(new ex::NotFound());
    all.emplace_back(new ex::AccessDenied(0, nullptr, d));
    all.emplace_back(new ex::FileReadFailed());
    all.emplace_back(new ex::FileWriteFailed());
    all.emplace_back(new ex::FileAlreadyExists());
    all.emplace_back(new ex::SharedMemoryCorrupted());
    all.emplace_back(new ex::ServiceFailure());
    all.emplace_back(new ex::InitializationFailure());
    all.emplace_back(new ex::SyntaxError(0, nullptr, d));
    all.emplace_back(new ex::BadGuidString());
    all.emplace_back(new ex::InvalidSequence());
    all.emplace_back(new ex::InvalidRefnum());
    all.emplace_back(new ex::NullRefnum());
    all.emplace_back(new ex::WrongLibraryVersion());
    all.emplace_back(new ex::InvalidOperation());
    all.emplace_back(new ex::NoValue());
    all.emplace_back(new os::NotResolvedException());
    all.emplace_back(new os::OSException(0, nullptr, d, 0));
    for (const std::uint32_t errnoValue : {0u, 2u, 13u}) {
        all.emplace_back(new os::PosixError(0, nullptr, d, errnoValue));
    }
    for (int bit = -1; bit < 32; ++bit) {
        const std::uint32_t quality = bit < 0 ? 0u : 1u << bit;
        all.emplace_back(new ka::tagger::gx::VestaQualityException(0, nullptr, quality));
    }
    std::vector<std::uint32_t> codes;
    for (const auto& e : all) {
        codes.push_back(e->getErrorCode());
    }
    codes.push_back(ka::kor::GetGraphixErrorCode(std::bad_alloc()));
    codes.push_back(
        ka::kor::GetGraphixErrorCode(static_cast<const std::exception&>(ex::NotFound())));
    // No value yet, no such interface, and the front-panel access checks.
    codes.insert(codes.end(), {0x8ABC7023u, 0x80004002u, 0x8ABC0064u, 0x8ABC0065u, 0x8ABC0066u});
    return codes;
}

TEST(GGetOneErrorCode, GivesATextForEveryCodeTheLibraryReports) {
    std::vector<std::uint32_t> codes = LibraryCodes();
    codes.insert(codes.end(), {0u, 1u, 2u, 7u, 42u, 53u});  // the runtime's own
    for (const std::uint32_t code : codes) {
        SCOPED_TRACE(code);
        LStrHandle text = nullptr;
        ASSERT_TRUE(GGetOneErrorCode(static_cast<int32_t>(code), &text));
        ASSERT_NE(nullptr, text);
        const char* expected = GxHostErrorText(static_cast<int32_t>(code));
        ASSERT_NE(nullptr, expected);
        EXPECT_EQ(std::string(expected),
                  std::string(reinterpret_cast<const char*>((*text)->str), (*text)->cnt));
        EXPECT_GT((*text)->cnt, 0);
        DSDisposeHandle(reinterpret_cast<UHandle>(text));
    }
}

TEST(GGetOneErrorCode, AnswersFalseForCodesItDoesNotKnow) {
    for (const std::uint32_t code : {3u, 0x8ABC7002u, 0x8ABC70FFu, 0x8BBB0017u, 0xFFFFFFFEu}) {
        SCOPED_TRACE(code);
        LStrHandle untouched = reinterpret_cast<LStrHandle>(&untouched);
        LStrHandle text = untouched;
        EXPECT_FALSE(GGetOneErrorCode(static_cast<int32_t>(code), &text));
        EXPECT_EQ(untouched, text);
        EXPECT_EQ(nullptr, GxHostErrorText(static_cast<int32_t>(code)));
    }
}

}  // namespace
