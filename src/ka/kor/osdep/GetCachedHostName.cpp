#include "ka/kor/osdep/GetCachedHostName.h"

#include "ka/kor/osdep/GetHostName.h"

namespace ka {
namespace kor {
namespace osdep {

String GetCachedHostName() {
    // A function-local static is initialised exactly once even when threads race to it, and
    // initialisation that throws is attempted again by the next caller.
    static const String name = GetHostName();
    return name;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
