#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace exception {

// Out-of-line destructors anchor each class's virtual table in this library.
Exception::~Exception() = default;
const char* Exception::what() const noexcept {
    return "unspecified exception";
}
std::uint32_t Exception::getErrorCode() const noexcept {
    return 0xFFFFFFFFu;
}

#define KA_KOR_DEFINE_EXCEPTION(Name, text, code)       \
    Name::~Name() = default;                            \
    const char* Name::what() const noexcept {           \
        return text;                                    \
    }                                                   \
    std::uint32_t Name::getErrorCode() const noexcept { \
        return code;                                    \
    }

KA_KOR_DEFINE_EXCEPTION(BufferOverflow, "Buffer overflowed", 0x8ABC7017u)
KA_KOR_DEFINE_EXCEPTION(DeserializationError, "Failed to deserialize", 0x8ABC7014u)
KA_KOR_DEFINE_EXCEPTION(InvalidArgument, "Invalid argument(s)", 0x8ABC700Fu)
KA_KOR_DEFINE_EXCEPTION(OutOfRange, "Out of range", 0x8ABC7007u)
KA_KOR_DEFINE_EXCEPTION(InvalidLocale, "Invalid locale", 0x8ABC7024u)
KA_KOR_DEFINE_EXCEPTION(NotImplemented, "Not implemented", 0x80004001u)
KA_KOR_DEFINE_EXCEPTION(ObjectAlreadyExists, "Object already exists", 0x8ABC7009u)
KA_KOR_DEFINE_EXCEPTION(UnableToConvert, "Unable to convert.", 0xFFFFFFFFu)
KA_KOR_DEFINE_EXCEPTION(NotFound, "Not found", 0x8ABC700Au)
KA_KOR_DEFINE_EXCEPTION(FileReadFailed, "Read file operation failed", 0x8ABC7012u)
KA_KOR_DEFINE_EXCEPTION(FileWriteFailed, "Write file operation failed", 0x8ABC7011u)
KA_KOR_DEFINE_EXCEPTION(FileAlreadyExists, "File already exists", 0x8ABC701Bu)
KA_KOR_DEFINE_EXCEPTION(SharedMemoryCorrupted, "Corruptions were detected in shared memory.",
                        0xFFFFFFFFu)
KA_KOR_DEFINE_EXCEPTION(ServiceFailure, "Unable to start service", 0x8ABC7006u)
KA_KOR_DEFINE_EXCEPTION(InitializationFailure, "Initialization failed", 0x8ABC7010u)
KA_KOR_DEFINE_EXCEPTION(BadGuidString, "Badly formatted Guid string.", 0x8ABC7032u)
KA_KOR_DEFINE_EXCEPTION(InvalidSequence, "Invalid UTF8 encoding sequence", 0x8ABC7030u)
KA_KOR_DEFINE_EXCEPTION(InvalidRefnum, "The provided refnum is invalid", 0x8ABC701Cu)
KA_KOR_DEFINE_EXCEPTION(NullRefnum, "A null refnum was provided as input", 0x8ABC701Du)
KA_KOR_DEFINE_EXCEPTION(WrongLibraryVersion, "Installed library is of the wrong version",
                        0x8ABC7001u)

#undef KA_KOR_DEFINE_EXCEPTION

BoundExceeded::~BoundExceeded() = default;
std::uint32_t BoundExceeded::getErrorCode() const noexcept {
    return 0x8ABC7007u;
}

InvalidOperation::~InvalidOperation() = default;
NoValue::~NoValue() = default;

namespace {

AString Prefixed(const char* prefix, const AString& description) {
    AString text(prefix);
    text += description;
    return text;
}

}  // namespace

InvalidArgument2::InvalidArgument2(std::uint32_t line, const char* file, const AString& description)
    : InvalidArgument(line, file), message_(description) {}
InvalidArgument2::~InvalidArgument2() = default;
const char* InvalidArgument2::what() const noexcept {
    return message_.c_str();
}

OutOfRange2::OutOfRange2(std::uint32_t line, const char* file, const AString& description)
    : OutOfRange(line, file), message_(Prefixed("Out of range: ", description)) {}
OutOfRange2::~OutOfRange2() = default;
const char* OutOfRange2::what() const noexcept {
    return message_.c_str();
}

BoundExceeded2::BoundExceeded2(std::uint32_t line, const char* file, const AString& description)
    : BoundExceeded(line, file),
      message_(Prefixed("A request was made that would exceed the bounds: ", description)) {}
BoundExceeded2::~BoundExceeded2() = default;
const char* BoundExceeded2::what() const noexcept {
    return message_.c_str();
}

SyntaxError::SyntaxError(std::uint32_t line, const char* file, const AString& description)
    : Exception(line, file),
      message_(description.empty() ? AString("SyntaxError")
                                   : Prefixed("SyntaxError: ", description)) {}
SyntaxError::~SyntaxError() = default;
const char* SyntaxError::what() const noexcept {
    return message_.c_str();
}
std::uint32_t SyntaxError::getErrorCode() const noexcept {
    return 0x8ABC7004u;
}

AccessDenied::AccessDenied(std::uint32_t line, const char* file, const AString& description)
    : Exception(line, file), message_(description) {}
AccessDenied::~AccessDenied() = default;
const char* AccessDenied::what() const noexcept {
    return message_.c_str();
}
std::uint32_t AccessDenied::getErrorCode() const noexcept {
    return 0x8ABC7019u;
}

COMError::~COMError() = default;
const char* COMError::what() const noexcept {
    return "COM error";
}
std::uint32_t COMError::getErrorCode() const noexcept {
    return code_;
}

}  // namespace exception
}  // namespace kor
}  // namespace ka
