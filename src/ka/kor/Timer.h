// The process-wide high-resolution counter, constructed when the library loads.
#pragma once

#include "ka/kor/osdep/CallQPC.h"

namespace ka {
namespace kor {

class Timer {
  public:
    Timer() = delete;

    // Readable from any thread. Static constructors of other files that run before this one see
    // it without a frequency, and reading it then throws NotImplemented instead of dividing by 0.
    static osdep::CallQPC qpc_;
};

}  // namespace kor
}  // namespace ka
