// The end of the road for an exception that must not escape (destructors, thread bodies, calls
// from foreign libraries): describes it on the standard error stream as a release assertion and
// aborts the process. Never returns.
#pragma once

#include <exception>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

// Describes e by what() only. file and line name the place that caught it.
[[noreturn]] void ExceptionReleaseAssert(const std::exception& e, const char* file,
                                         unsigned int line) noexcept;

// Describes e by its throw site (file and line recorded in the exception) and what().
[[noreturn]] void ExceptionReleaseAssert(const exception::Exception& e, const char* file,
                                         unsigned int line) noexcept;

}  // namespace kor
}  // namespace ka
