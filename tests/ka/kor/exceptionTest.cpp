#include "ka/kor/exception.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>

#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/kor/gx/GXErrorException.h"
#include "ka/kor/osdep/NotResolvedException.h"
#include "ka/kor/osdep/PosixError.h"

namespace {

namespace ex = ka::kor::exception;
namespace osdep = ka::kor::osdep;
using ka::kor::GetGraphixErrorCode;

// Makes an E thrown at line 77 of "ka/kor/Test", with the class's own further arguments.
template <class E, class... Args>
std::function<ex::Exception*()> Make(Args... args) {
    return [=] { return new E(77, "ka/kor/Test", args...); };
}

struct Row {
    const char* name;
    std::function<ex::Exception*()> make;
    const char* text;
    std::uint32_t code;
};

// Every class of the tree with the text and code the host sees.
const Row kRows[] = {
    {"Exception", Make<ex::Exception>(), "unspecified exception", 0xFFFFFFFF},
    {"BufferOverflow", Make<ex::BufferOverflow>(), "Buffer overflowed", 0x8ABC7017},
    {"DeserializationError", Make<ex::DeserializationError>(), "Failed to deserialize", 0x8ABC7014},
    {"InvalidArgument", Make<ex::InvalidArgument>(), "Invalid argument(s)", 0x8ABC700F},
    {"InvalidArgument2", Make<ex::InvalidArgument2>("bad x"), "bad x", 0x8ABC700F},
    {"OutOfRange", Make<ex::OutOfRange>(), "Out of range", 0x8ABC7007},
    {"OutOfRange2", Make<ex::OutOfRange2>("String offset out of range"),
     "Out of range: String offset out of range", 0x8ABC7007},
    {"BoundExceeded", Make<ex::BoundExceeded>(), "unspecified exception", 0x8ABC7007},
    {"BoundExceeded2", Make<ex::BoundExceeded2>("Resulting string too large"),
     "A request was made that would exceed the bounds: Resulting string too large", 0x8ABC7007},
    {"InvalidLocale", Make<ex::InvalidLocale>(), "Invalid locale", 0x8ABC7024},
    {"NotImplemented", Make<ex::NotImplemented>(), "Not implemented", 0x80004001},
    {"ObjectAlreadyExists", Make<ex::ObjectAlreadyExists>(), "Object already exists", 0x8ABC7009},
    {"UnableToConvert", Make<ex::UnableToConvert>(), "Unable to convert.", 0xFFFFFFFF},
    {"NotFound", Make<ex::NotFound>(), "Not found", 0x8ABC700A},
    {"AccessDenied", Make<ex::AccessDenied>("no entry"), "no entry", 0x8ABC7019},
    {"FileReadFailed", Make<ex::FileReadFailed>(), "Read file operation failed", 0x8ABC7012},
    {"FileWriteFailed", Make<ex::FileWriteFailed>(), "Write file operation failed", 0x8ABC7011},
    {"FileAlreadyExists", Make<ex::FileAlreadyExists>(), "File already exists", 0x8ABC701B},
    {"SharedMemoryCorrupted", Make<ex::SharedMemoryCorrupted>(),
     "Corruptions were detected in shared memory.", 0xFFFFFFFF},
    {"ServiceFailure", Make<ex::ServiceFailure>(), "Unable to start service", 0x8ABC7006},
    {"InitializationFailure", Make<ex::InitializationFailure>(), "Initialization failed",
     0x8ABC7010},
    {"SyntaxError empty", Make<ex::SyntaxError>(), "SyntaxError", 0x8ABC7004},
    {"SyntaxError text", Make<ex::SyntaxError>("\\\\\\x"), "SyntaxError: \\\\\\x", 0x8ABC7004},
    {"BadGuidString", Make<ex::BadGuidString>(), "Badly formatted Guid string.", 0x8ABC7032},
    {"InvalidSequence", Make<ex::InvalidSequence>(), "Invalid UTF8 encoding sequence", 0x8ABC7030},
    {"InvalidRefnum", Make<ex::InvalidRefnum>(), "The provided refnum is invalid", 0x8ABC701C},
    {"NullRefnum", Make<ex::NullRefnum>(), "A null refnum was provided as input", 0x8ABC701D},
    {"WrongLibraryVersion", Make<ex::WrongLibraryVersion>(),
     "Installed library is of the wrong version", 0x8ABC7001},
    {"COMError", Make<ex::COMError>(0x80070005u), "COM error", 0x80070005},
    {"InvalidOperation", Make<ex::InvalidOperation>(), "unspecified exception", 0xFFFFFFFF},
    {"NoValue", Make<ex::NoValue>(), "unspecified exception", 0xFFFFFFFF},
    {"NotResolvedException", Make<osdep::NotResolvedException>(),
     "Not able to resolve the network name or address", 0xFFFFFFFF},
    {"OSException default", Make<osdep::OSException>(), "Unknown error", 42},
    {"OSException", Make<osdep::OSException>("disk on fire", 5), "disk on fire", 42},
    {"PosixError code 0", Make<osdep::PosixError>("fine", 0), "fine", 0},
    {"PosixError ENOENT", Make<osdep::PosixError>("gone", ENOENT), "gone", 7},
    {"PosixError EACCES", Make<osdep::PosixError>("denied", EACCES), "denied", 42},
    {"GXErrorException", Make<ka::kor::gx::GXErrorException>("host said no", -42), "host said no",
     0xFFFFFFD6},
};

TEST(Exception, EveryClassReportsItsTextCodeAndThrowSite) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        std::unique_ptr<ex::Exception> e(row.make());
        EXPECT_STREQ(row.text, e->what());
        EXPECT_EQ(row.code, e->getErrorCode());
        EXPECT_EQ(row.code, GetGraphixErrorCode(*e));
        EXPECT_EQ(77u, e->line());
        EXPECT_STREQ("ka/kor/Test", e->file());
        // Seen as a plain std::exception the host gets the generic failure code.
        EXPECT_EQ(0x80004005u, GetGraphixErrorCode(static_cast<const std::exception&>(*e)));
    }
    EXPECT_EQ(2u, GetGraphixErrorCode(std::bad_alloc()));
    EXPECT_EQ(0x80004005u, GetGraphixErrorCode(std::runtime_error("x")));
}

TEST(Exception, HandlersSeeTheDocumentedBasesAndDefaultsRecordNoSite) {
    EXPECT_THROW(throw ex::NullRefnum(601, "f"), ex::InvalidRefnum);
    EXPECT_THROW(throw ex::InvalidArgument2(1, "f", "x"), ex::InvalidArgument);
    EXPECT_THROW(throw ex::OutOfRange2(1, "f", "x"), ex::OutOfRange);
    EXPECT_THROW(throw ex::BoundExceeded2(1, "f", "x"), ex::BoundExceeded);
    EXPECT_THROW(throw osdep::PosixError(1, "f", "x", 1), osdep::OSException);
    const ex::NotFound e;
    EXPECT_EQ(0u, e.line());
    EXPECT_EQ(nullptr, e.file());
}

TEST(PosixError, ReadsErrnoOnceForTextAndCodeAndNamesTheCall) {
    errno = ENOENT;
    const osdep::PosixError e(3, "ka/kor/osdep/Test");
    EXPECT_EQ(static_cast<std::uint32_t>(ENOENT), e.whatcode());
    EXPECT_STREQ(std::strerror(ENOENT), e.what());
    errno = EAGAIN;
    const auto call = osdep::PosixError::FromCall(9, "ka/kor/osdep/Test", "flock");
    EXPECT_EQ(std::string("flock: ") + std::strerror(EAGAIN), call.what());
    EXPECT_EQ(static_cast<std::uint32_t>(EAGAIN), call.whatcode());
    EXPECT_EQ(42u, call.getErrorCode());
}

}  // namespace
