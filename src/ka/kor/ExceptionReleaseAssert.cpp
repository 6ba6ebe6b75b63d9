#include "ka/kor/ExceptionReleaseAssert.h"

#include <cstdio>

#include "ka/kor/osdep/OutputReleaseAssertion.h"

namespace ka {
namespace kor {

namespace {

const char* OrUnknown(const char* text) {
    return text ? text : "???";
}

}  // namespace

// snprintf truncates a description longer than the buffer instead of overrunning it.
void ExceptionReleaseAssert(const std::exception& e, const char* file, unsigned int line) noexcept {
    char text[2048];
    std::snprintf(text, sizeof text,
                  "\n        Unexpected std::exception caught \n        Description: %s\n",
                  OrUnknown(e.what()));
    osdep::OutputReleaseAssertion(nullptr, text, file, line);
}

void ExceptionReleaseAssert(const exception::Exception& e, const char* file,
                            unsigned int line) noexcept {
    char text[2048];
    std::snprintf(text, sizeof text,
                  "\n        Unexpected ka::kor::exception caught \n"
                  "        Thrown From File: %s\n"
                  "        Thrown From Line: %lu\n\n"
                  "        Description: %s\n",
                  OrUnknown(e.file()), static_cast<unsigned long>(e.line()), OrUnknown(e.what()));
    osdep::OutputReleaseAssertion(nullptr, text, file, line);
}

}  // namespace kor
}  // namespace ka
