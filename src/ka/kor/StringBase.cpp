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

// Every member of the three strings is compiled here once and exported from the library.
template class StringBase<wchar_t, char, wchar_t>;
template class StringBase<char, wchar_t, wchar_t>;
template class StringBase<char, wchar_t, char>;

}  // namespace kor
}  // namespace ka
