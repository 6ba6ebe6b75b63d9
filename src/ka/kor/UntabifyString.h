// Replaces tab characters of wide text by spaces, for output that cannot show tabs.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

// A copy of text in which every tab is replaced by exactly width spaces (none for width 0).
// Deliberately a fixed count, not a move to the next tab stop: callers rely on the widths it gives.
// Other characters, zeros included, are kept. Throws BoundExceeded2 when the result would be longer
// than String::max_size().
String UntabifyString(String text, unsigned int width);

}  // namespace kor
}  // namespace ka
