// This computer's host name as the system reports it now.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// Queries the host name afresh on every call (so a renamed computer is seen at once) and returns
// it as wide text, converted from the locale's code set. A failing query raises PosixError
// ("gethostname: <reason>").
String GetHostName();

}  // namespace osdep
}  // namespace kor
}  // namespace ka
