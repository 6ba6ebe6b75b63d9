#include "ka/kor/osdep/OutputAssertion.h"

#include <cstdio>

namespace ka {
namespace kor {
namespace osdep {

void OutputAssertion(const char* expression, const char* message, const char* file,
                     unsigned int line) noexcept {
    const char* text = (message != nullptr && *message != '\0') ? message : expression;
    std::fprintf(stderr, "%s(%d): Assertion failed: %s\a\n", file ? file : "???",
                 static_cast<int>(line), text ? text : "???");
    std::fflush(stderr);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
