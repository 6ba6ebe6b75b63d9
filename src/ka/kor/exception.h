// The library's exception tree. Every failure inside the library is one of these: each object
// records the source file and line of its throw site and answers a short English text (what())
// and a 32-bit error code in the host's code space (getErrorCode()), which the exported functions
// hand to the host.
//
// Codes 0x8ABC70nn are the basics library's own; 0x80004001/0x80004005 are the COM-style "not
// implemented" and "unspecified failure"; 2, 7 and 42 are host codes (memory full, file not found,
// generic error).
//
// Throw sites pass (line, file) with the file written in the library's path style, for example
// throw NotFound(__LINE__, "ka/kor/FlexData"), or fixed numbers where other components rely on
// them.
#pragma once

#include <cstdint>
#include <exception>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace exception {

class Exception : public std::exception {
  public:
    Exception() noexcept : line_(0), file_(nullptr) {}
    Exception(std::uint32_t line, const char* file) noexcept : line_(line), file_(file) {}
    ~Exception() override;

    // "unspecified exception"
    const char* what() const noexcept override;
    // 0xFFFFFFFF unless a subclass says otherwise.
    virtual std::uint32_t getErrorCode() const noexcept;

    // Source line of the throw, 0 when not given.
    std::uint32_t line() const noexcept { return line_; }
    // Static text naming the source file of the throw (for example "ka/kor/RefnumMap.h"), null when
    // not given.
    const char* file() const noexcept { return file_; }

  private:
    std::uint32_t line_;
    const char* file_;
};

// Declares a class with a fixed text and, optionally, its own code.
#define KA_KOR_DECLARE_EXCEPTION(Name, Base)                                      \
    class Name : public Base {                                                    \
      public:                                                                     \
        Name() noexcept = default;                                                \
        Name(std::uint32_t line, const char* file) noexcept : Base(line, file) {} \
        ~Name() override;                                                         \
        const char* what() const noexcept override;                               \
        std::uint32_t getErrorCode() const noexcept override;                     \
    }

KA_KOR_DECLARE_EXCEPTION(BufferOverflow, Exception);         // "Buffer overflowed", 0x8ABC7017
KA_KOR_DECLARE_EXCEPTION(DeserializationError, Exception);   // "Failed to deserialize", 0x8ABC7014
KA_KOR_DECLARE_EXCEPTION(InvalidArgument, Exception);        // "Invalid argument(s)", 0x8ABC700F
KA_KOR_DECLARE_EXCEPTION(OutOfRange, Exception);             // "Out of range", 0x8ABC7007
KA_KOR_DECLARE_EXCEPTION(InvalidLocale, Exception);          // "Invalid locale", 0x8ABC7024
KA_KOR_DECLARE_EXCEPTION(NotImplemented, Exception);         // "Not implemented", 0x80004001
KA_KOR_DECLARE_EXCEPTION(ObjectAlreadyExists, Exception);    // "Object already exists", 0x8ABC7009
KA_KOR_DECLARE_EXCEPTION(UnableToConvert, Exception);        // "Unable to convert.", 0xFFFFFFFF
KA_KOR_DECLARE_EXCEPTION(NotFound, Exception);               // "Not found", 0x8ABC700A
KA_KOR_DECLARE_EXCEPTION(FileReadFailed, Exception);         // 0x8ABC7012
KA_KOR_DECLARE_EXCEPTION(FileWriteFailed, Exception);        // 0x8ABC7011
KA_KOR_DECLARE_EXCEPTION(FileAlreadyExists, Exception);      // 0x8ABC701B
KA_KOR_DECLARE_EXCEPTION(SharedMemoryCorrupted, Exception);  // 0xFFFFFFFF
KA_KOR_DECLARE_EXCEPTION(ServiceFailure, Exception);         // 0x8ABC7006
KA_KOR_DECLARE_EXCEPTION(InitializationFailure, Exception);  // 0x8ABC7010
KA_KOR_DECLARE_EXCEPTION(BadGuidString, Exception);          // 0x8ABC7032
KA_KOR_DECLARE_EXCEPTION(InvalidSequence,
                         Exception);                 // "Invalid UTF8 encoding sequence", 0x8ABC7030
KA_KOR_DECLARE_EXCEPTION(InvalidRefnum, Exception);  // 0x8ABC701C
KA_KOR_DECLARE_EXCEPTION(NullRefnum, InvalidRefnum);  // 0x8ABC701D; also caught as InvalidRefnum
KA_KOR_DECLARE_EXCEPTION(WrongLibraryVersion, Exception);  // 0x8ABC7001

#undef KA_KOR_DECLARE_EXCEPTION

// Shares OutOfRange's code on purpose, but keeps the base text "unspecified exception".
class BoundExceeded : public Exception {
  public:
    BoundExceeded() noexcept = default;
    BoundExceeded(std::uint32_t line, const char* file) noexcept : Exception(line, file) {}
    ~BoundExceeded() override;
    std::uint32_t getErrorCode() const noexcept override;  // 0x8ABC7007
};

// Only caught by this library, never thrown by it: base text and code.
class InvalidOperation : public Exception {
  public:
    using Exception::Exception;
    ~InvalidOperation() override;
};

class NoValue : public Exception {
  public:
    using Exception::Exception;
    ~NoValue() override;
};

// The classes below carry a text given at the throw site; what() returns the stored text.

// what() is the description exactly as given.
class InvalidArgument2 : public InvalidArgument {
  public:
    InvalidArgument2(std::uint32_t line, const char* file, const AString& description);
    ~InvalidArgument2() override;
    const char* what() const noexcept override;
    const AString& message() const noexcept { return message_; }

  private:
    AString message_;
};

// what() is "Out of range: " followed by the description.
class OutOfRange2 : public OutOfRange {
  public:
    OutOfRange2(std::uint32_t line, const char* file, const AString& description);
    ~OutOfRange2() override;
    const char* what() const noexcept override;
    const AString& message() const noexcept { return message_; }

  private:
    AString message_;
};

// what() is "A request was made that would exceed the bounds: " followed by the description.
class BoundExceeded2 : public BoundExceeded {
  public:
    BoundExceeded2(std::uint32_t line, const char* file, const AString& description);
    ~BoundExceeded2() override;
    const char* what() const noexcept override;
    const AString& message() const noexcept { return message_; }

  private:
    AString message_;
};

// what() is "SyntaxError" for an empty description, else "SyntaxError: " followed by it.
class SyntaxError : public Exception {
  public:
    SyntaxError(std::uint32_t line, const char* file, const AString& description = AString());
    ~SyntaxError() override;
    const char* what() const noexcept override;
    std::uint32_t getErrorCode() const noexcept override;  // 0x8ABC7004
    const AString& message() const noexcept { return message_; }

  private:
    AString message_;
};

// what() is the description exactly as given.
class AccessDenied : public Exception {
  public:
    AccessDenied(std::uint32_t line, const char* file, const AString& description);
    ~AccessDenied() override;
    const char* what() const noexcept override;
    std::uint32_t getErrorCode() const noexcept override;  // 0x8ABC7019
    const AString& message() const noexcept { return message_; }

  private:
    AString message_;
};

// A COM-style result value from an interface call; getErrorCode() returns it.
class COMError : public Exception {
  public:
    COMError(std::uint32_t line, const char* file, std::uint32_t code) noexcept
        : Exception(line, file), code_(code) {}
    ~COMError() override;
    const char* what() const noexcept override;  // "COM error"
    std::uint32_t getErrorCode() const noexcept override;

  private:
    std::uint32_t code_;
};

}  // namespace exception
}  // namespace kor
}  // namespace ka
