// Small helpers for file-system paths, used to place the files through which processes share
// named objects.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {
namespace path {

// Joins two parts with exactly one "/" between them: trailing slashes of first and leading
// slashes of second are dropped. An empty part yields the other part unchanged. A second part
// that starts with "/" is still appended below the first, never taken as a root of its own, so
// that a name given by a caller cannot move a file out of the directory chosen for it.
// Join("/tmp/", "/a") and Join("/tmp", "a") are both "/tmp/a"; Join("/", "a") is "/a".
String Join(const String& first, const String& second);
AString Join(const AString& first, const AString& second);

// True when path names an existing file system entry that is not a directory (symbolic links
// are followed). Any failure to look the path up, a missing file included, gives false.
bool DoesFileExist(const AString& path);

}  // namespace path
}  // namespace osdep
}  // namespace kor
}  // namespace ka
