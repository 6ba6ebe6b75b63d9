#include "ka/kor/osdep/SystemDateTimeFormat.h"

#include <clocale>

namespace ka {
namespace kor {
namespace osdep {

String GetSystemDateFormat() {
    std::setlocale(LC_TIME, "");
    return String(L"%x");
}

String GetSystemTimeFormat() {
    std::setlocale(LC_TIME, "");
    return String(L"%X");
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
