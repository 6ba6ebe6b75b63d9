// Prints a failed assertion to the standard error stream and returns.
#pragma once

namespace ka {
namespace kor {
namespace osdep {

// Prints "<file>(<line>): Assertion failed: <message>", a BEL character and a newline, then
// flushes. The expression is printed instead when the message is empty; a null text prints "???".
void OutputAssertion(const char* expression, const char* message, const char* file,
                     unsigned int line) noexcept;

}  // namespace osdep
}  // namespace kor
}  // namespace ka
