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
using ka::kor::GetGraphixErrorCode;

struct Row {
    const char* name;
    std::function<ex::Exception*()> make;
    const char* text;
    std::uint32_t code;
};

// Every class of the tree with the text and code the host sees. Each is built with line 77 and
// file "ka/kor/Test" so that the recorded throw site can be checked for all of them.
const Row kRows[] = {
    {"Exception", [] { return new ex::Exception(77, "ka/kor/Test"); }, "unspecified exception",
     0xFFFFFFFF},
    {"BufferOverflow", [] { return new ex::BufferOverflow(77, "ka/kor/Test"); },
     "Buffer overflowed", 0x8ABC7017},
    {"DeserializationError", [] { return new ex::DeserializationError(77, "ka/kor/Test"); },
     "Failed to deserialize", 0x8ABC7014},
    {"InvalidArgument", [] { return new ex::InvalidArgument(77, "ka/kor/Test"); },
     "Invalid argument(s)", 0x8ABC700F},
    {"InvalidArgument2", [] { return new ex::InvalidArgument2(77, "ka/kor/Test", "bad x"); },
     "bad x", 0x8ABC700F},
    {"OutOfRange", [] { return new ex::OutOfRange(77, "ka/kor/Test"); }, "Out of range",
     0x8ABC7007},
    {"OutOfRange2",
     [] { return new ex::OutOfRange2(77, "ka/kor/Test", "String offset out of range"); },
     "Out of range: String offset out of range", 0x8ABC7007},
    {"BoundExceeded", [] { return new ex::BoundExceeded(77, "ka/kor/Test"); },
     "unspecified exception", 0x8ABC7007},
    {"BoundExceeded2",
     [] { return new ex::BoundExceeded2(77, "ka/kor/Test", "Resulting string too large"); },
     "A request was made that would exceed the bounds: Resulting string too large", 0x8ABC7007},
    {"InvalidLocale", [] { return new ex::InvalidLocale(77, "ka/kor/Test"); }, "Invalid locale",
     0x8ABC7024},
    {"NotImplemented", [] { return new ex::NotImplemented(77, "ka/kor/Test"); }, "Not implemented",
     0x80004001},
    {"ObjectAlreadyExists", [] { return new ex::ObjectAlreadyExists(77, "ka/kor/Test"); },
     "Object already exists", 0x8ABC7009},
    {"UnableToConvert", [] { return new ex::UnableToConvert(77, "ka/kor/Test"); },
     "Unable to convert.", 0xFFFFFFFF},
    {"NotFound", [] { return new ex::NotFound(77, "ka/kor/Test"); }, "Not found", 0x8ABC700A},
    {"AccessDenied", [] { return new ex::AccessDenied(77, "ka/kor/Test", "no entry"); }, "no entry",
     0x8ABC7019},
    {"FileReadFailed", [] { return new ex::FileReadFailed(77, "ka/kor/Test"); },
     "Read file operation failed", 0x8ABC7012},
    {"FileWriteFailed", [] { return new ex::FileWriteFailed(77, "ka/kor/Test"); },
     "Write file operation failed", 0x8ABC7011},
    {"FileAlreadyExists", [] { return new ex::FileAlreadyExists(77, "ka/kor/Test"); },
     "File already exists", 0x8ABC701B},
    {"SharedMemoryCorrupted", [] { return new ex::SharedMemoryCorrupted(77, "ka/kor/Test"); },
     "Corruptions were detected in shared memory.", 0xFFFFFFFF},
    {"ServiceFailure", [] { return new ex::ServiceFailure(77, "ka/kor/Test"); },
     "Unable to start service", 0x8ABC7006},
    {"InitializationFailure", [] { return new ex::InitializationFailure(77, "ka/kor/Test"); },
     "Initialization failed", 0x8ABC7010},
    {"SyntaxError empty", [] { return new ex::SyntaxError(77, "ka/kor/Test"); }, "SyntaxError",
     0x8ABC7004},
    {"SyntaxError text", [] { return new ex::SyntaxError(77, "ka/kor/Test", "\\\\\\x"); },
     "SyntaxError: \\\\\\x", 0x8ABC7004},
    {"BadGuidString", [] { return new ex::BadGuidString(77, "ka/kor/Test"); },
     "Badly formatted Guid string.", 0x8ABC7032},
    {"InvalidSequence", [] { return new ex::InvalidSequence(77, "ka/kor/Test"); },
     "Invalid UTF8 encoding sequence", 0x8ABC7030},
    {"InvalidRefnum", [] { return new ex::InvalidRefnum(77, "ka/kor/Test"); },
     "The provided refnum is invalid", 0x8ABC701C},
    {"NullRefnum", [] { return new ex::NullRefnum(77, "ka/kor/Test"); },
     "A null refnum was provided as input", 0x8ABC701D},
    {"WrongLibraryVersion", [] { return new ex::WrongLibraryVersion(77, "ka/kor/Test"); },
     "Installed library is of the wrong version", 0x8ABC7001},
    {"COMError", [] { return new ex::COMError(77, "ka/kor/Test", 0x80070005); }, "COM error",
     0x80070005},
    {"InvalidOperation", [] { return new ex::InvalidOperation(77, "ka/kor/Test"); },
     "unspecified exception", 0xFFFFFFFF},
    {"NoValue", [] { return new ex::NoValue(77, "ka/kor/Test"); }, "unspecified exception",
     0xFFFFFFFF},
    {"NotResolvedException",
     [] { return new ka::kor::osdep::NotResolvedException(77, "ka/kor/Test"); },
     "Not able to resolve the network name or address", 0xFFFFFFFF},
    {"OSException default", [] { return new ka::kor::osdep::OSException(77, "ka/kor/Test"); },
     "Unknown error", 42},
    {"OSException",
     [] { return new ka::kor::osdep::OSException(77, "ka/kor/Test", "disk on fire", 5); },
     "disk on fire", 42},
    {"PosixError code 0",
     [] { return new ka::kor::osdep::PosixError(77, "ka/kor/Test", "fine", 0); }, "fine", 0},
    {"PosixError ENOENT",
     [] { return new ka::kor::osdep::PosixError(77, "ka/kor/Test", "gone", ENOENT); }, "gone", 7},
    {"PosixError EACCES",
     [] { return new ka::kor::osdep::PosixError(77, "ka/kor/Test", "denied", EACCES); }, "denied",
     42},
    {"GXErrorException",
     [] { return new ka::kor::gx::GXErrorException(77, "ka/kor/Test", "host said no", -42); },
     "host said no", 0xFFFFFFD6},
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
}

TEST(Exception, DefaultConstructedRecordsNoThrowSite) {
    ex::NotFound e;
    EXPECT_EQ(0u, e.line());
    EXPECT_EQ(nullptr, e.file());
}

TEST(Exception, HandlersSeeTheDocumentedBases) {
    // A handler for invalid refnums also sees null ones, and they keep their own code.
    try {
        throw ex::NullRefnum(601, "ka/kor/RefnumMap.h");
    } catch (const ex::InvalidRefnum& e) {
        EXPECT_EQ(0x8ABC701Du, e.getErrorCode());
        EXPECT_EQ(601u, e.line());
    }
    EXPECT_THROW(throw ex::InvalidArgument2(1, "f", "x"), ex::InvalidArgument);
    EXPECT_THROW(throw ex::OutOfRange2(1, "f", "x"), ex::OutOfRange);
    EXPECT_THROW(throw ex::BoundExceeded2(1, "f", "x"), ex::BoundExceeded);
    EXPECT_THROW(throw ka::kor::osdep::PosixError(1, "f", "x", 1), ka::kor::osdep::OSException);
    EXPECT_THROW(throw ex::NotFound(1, "f"), std::exception);
}

TEST(GetGraphixErrorCode, ChoosesByStaticType) {
    EXPECT_EQ(2u, GetGraphixErrorCode(std::bad_alloc()));
    EXPECT_EQ(0x80004005u, GetGraphixErrorCode(std::runtime_error("x")));
    const ex::NotFound notFound(1, "f");
    EXPECT_EQ(0x8ABC700Au, GetGraphixErrorCode(notFound));
    EXPECT_EQ(0x80004005u, GetGraphixErrorCode(static_cast<const std::exception&>(notFound)));
}

TEST(PosixError, DefaultReadsErrnoOnceForTextAndCode) {
    errno = ENOENT;
    const ka::kor::osdep::PosixError e(3, "ka/kor/osdep/Test");
    EXPECT_EQ(static_cast<std::uint32_t>(ENOENT), e.whatcode());
    EXPECT_STREQ(std::strerror(ENOENT), e.what());
    EXPECT_EQ(7u, e.getErrorCode());
}

TEST(PosixError, FromCallNamesTheCall) {
    errno = EAGAIN;
    const auto e = ka::kor::osdep::PosixError::FromCall(9, "ka/kor/osdep/Test", "flock");
    EXPECT_EQ(std::string("flock: ") + std::strerror(EAGAIN), e.what());
    EXPECT_EQ(static_cast<std::uint32_t>(EAGAIN), e.whatcode());
    EXPECT_EQ(42u, e.getErrorCode());
}

}  // namespace
