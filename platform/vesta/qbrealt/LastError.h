// The text behind VestaLastErrorText: per thread, kept until the next failure replaces it.
#pragma once

namespace vesta {

// Records the text of a failure on the calling thread. Never throws (an unrecordable text leaves
// a short fixed one).
void SetLastErrorText(const char* text) noexcept;
const char* LastErrorText() noexcept;

}  // namespace vesta
