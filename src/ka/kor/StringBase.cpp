#include "ka/kor/StringBase.h"

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {
constexpr const char* kSourceFile = "ka/kor/StringBase";
}

void ThrowStringOffsetOutOfRange() {
    throw exception::OutOfRange2(__LINE__, kSourceFile, "String offset out of range");
}

void ThrowStringTooLarge() {
    throw exception::BoundExceeded2(__LINE__, kSourceFile, "Resulting string too large");
}

void ThrowNarrowStringUnterminated() {
    throw exception::DeserializationError(__LINE__, kSourceFile);
}

}  // namespace kor
}  // namespace ka
