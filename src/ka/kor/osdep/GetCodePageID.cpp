#include "ka/kor/osdep/GetCodePageID.h"

#include <cstring>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {
constexpr const char* kSourceFile = "ka/kor/osdep/GetCodePageID";
}

std::uint32_t GetCodePageID(const char* codeSet) {
    if (codeSet == nullptr || *codeSet == '\0') {
        return 0;
    }
    if (std::strcmp(codeSet, "US-ASCII") == 0) {
        return 20127;
    }
    if (std::strcmp(codeSet, "cp932") == 0) {
        return 932;
    }
    throw exception::InvalidLocale(__LINE__, kSourceFile);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
