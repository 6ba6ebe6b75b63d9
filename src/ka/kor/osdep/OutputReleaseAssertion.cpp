#include "ka/kor/osdep/OutputReleaseAssertion.h"

#include <cstdio>
#include <cstdlib>

namespace ka {
namespace kor {
namespace osdep {

void OutputReleaseAssertion(const char* expression, const char* message, const char* file,
                            unsigned int line) noexcept {
    const char* text = (message != nullptr && *message != '\0') ? message : expression;
    std::fprintf(stderr, "%s(%d): Release Assertion failed: %s\a\n", file ? file : "???",
                 static_cast<int>(line), text ? text : "???");
    std::fflush(stderr);
    std::abort();
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
