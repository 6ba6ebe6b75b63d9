#include "ka/kor/osdep/GetCodePageID.h"

#include <strings.h>

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
    if (::strcasecmp(codeSet, "US-ASCII") == 0) {
        return 20127;
    }
    if (::strcasecmp(codeSet, "cp932") == 0) {
        return 932;
    }
    throw exception::InvalidLocale(__LINE__, kSourceFile);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
