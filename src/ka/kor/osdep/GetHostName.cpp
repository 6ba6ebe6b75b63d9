#include "ka/kor/osdep/GetHostName.h"

#include <unistd.h>

#include "ka/kor/osdep/PosixError.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {
constexpr const char* kSourceFile = "ka/kor/osdep/GetHostName";
}

String GetHostName() {
    // Host names are at most 255 bytes (the limit of a fully qualified DNS name).
    char name[256 + 1] = {0};
    if (::gethostname(name, sizeof name - 1) != 0) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "gethostname");
    }
    return String(name);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
