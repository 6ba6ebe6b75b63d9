#include "ka/kor/Vector.h"

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {
constexpr const char* kSourceFile = "ka/kor/Vector";
}

void ThrowVectorIndexOutOfRange() {
    throw exception::OutOfRange2(__LINE__, kSourceFile, "Vector index out of range");
}

void ThrowVectorTooLarge() {
    throw exception::BoundExceeded2(__LINE__, kSourceFile, "Resulting vector too large");
}

}  // namespace kor
}  // namespace ka
