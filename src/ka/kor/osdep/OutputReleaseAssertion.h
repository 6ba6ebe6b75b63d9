// Prints a failed release assertion to the standard error stream and aborts the process. Used only
// where carrying on would be worse than stopping the host.
#pragma once

namespace ka {
namespace kor {
namespace osdep {

// Prints "<file>(<line>): Release Assertion failed: <message>", a BEL character and a newline
// (the expression when the message is empty; a null text prints "???"), flushes, then aborts.
[[noreturn]] void OutputReleaseAssertion(const char* expression, const char* message,
                                         const char* file, unsigned int line) noexcept;

}  // namespace osdep
}  // namespace kor
}  // namespace ka
