#include "ka/kor/osdep/path.h"

#include <sys/stat.h>

namespace ka {
namespace kor {
namespace osdep {
namespace path {

namespace {

template <class S>
S JoinParts(const S& first, const S& second) {
    using C = typename S::value_type;
    const C slash = C('/');
    if (first.empty()) {
        return second;
    }
    if (second.empty()) {
        return first;
    }
    const C* firstEnd = first.end();
    while (firstEnd != first.begin() && firstEnd[-1] == slash) {
        --firstEnd;
    }
    const C* secondBegin = second.begin();
    while (secondBegin != second.end() && *secondBegin == slash) {
        ++secondBegin;
    }
    S joined(first.begin(), firstEnd);
    joined += slash;
    joined += S(secondBegin, second.end());
    return joined;
}

}  // namespace

String Join(const String& first, const String& second) {
    return JoinParts(first, second);
}

AString Join(const AString& first, const AString& second) {
    return JoinParts(first, second);
}

bool DoesFileExist(const AString& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && !S_ISDIR(st.st_mode);
}

}  // namespace path
}  // namespace osdep
}  // namespace kor
}  // namespace ka
