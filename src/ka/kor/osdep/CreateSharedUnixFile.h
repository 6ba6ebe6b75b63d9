// Opens the file through which processes share a named object, so that every user on the
// machine can open it too, whatever the umask of the process that created it.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// Opens path for reading and writing, creating it with mode 0666 when absent, and returns the
// descriptor (closed on exec, so that programs the host starts do not keep the file's locks).
// EACCES is retried after 1 ms, three attempts in all, since another process may be between
// creating the file and opening up its mode. The mode is then set to 0666 again; EPERM there (the
// file belongs to another user) is ignored. Any other failure raises PosixError naming the call
// and the path.
int CreateSharedUnixFile(const AString& path);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
