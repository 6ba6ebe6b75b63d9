// Last-resort error output.
#pragma once

namespace ka {
namespace kor {
namespace osdep {

// Writes text to the standard error stream as it stands (no newline is added); null writes
// nothing.
void OutputErrorString(const char* text) noexcept;

}  // namespace osdep
}  // namespace kor
}  // namespace ka
