// The locale's own date and time patterns, used when a caller gives none.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// "%x", the locale's date representation. Adopts the environment's time locale for the whole
// process first (setlocale(LC_TIME, "")), so that the pattern renders the way the user's
// settings say.
String GetSystemDateFormat();
// "%X", the locale's time representation; adopts the environment's time locale the same way.
String GetSystemTimeFormat();

}  // namespace osdep
}  // namespace kor
}  // namespace ka
