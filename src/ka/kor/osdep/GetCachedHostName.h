// This computer's host name, looked up once per process and then kept.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// Returns the host name found by the first successful call (see GetHostName); later renames of
// the computer are not seen. Safe to call from any thread: concurrent first calls wait for one
// look-up. A failed look-up raises PosixError and is tried again on the next call.
String GetCachedHostName();

}  // namespace osdep
}  // namespace kor
}  // namespace ka
