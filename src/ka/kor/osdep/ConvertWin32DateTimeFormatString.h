// Date and time patterns in the Windows locale letter style ("dddd, MMMM dd, yyyy", "h:mm tt")
// translated into strftime patterns, so that AbsTimeToString can render them.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// Translates pattern[0 .. length-2] (length counts the terminating zero; below 2, or a null
// pattern, gives ""). Runs of a pattern letter become their strftime form:
//
//   letter  run 1   run 2  run 3  run 4  run 5+
//   d       %#d     %d     %a     %A     -
//   M       %#m     %m     %b     %B     -
//   y       %#y     %y     -      %Y     -
//   h       %#I     %I     -      -      -
//   H       %#H     %H     -      -      -
//   m       %#M     %M     -      -      -
//   s       %#S     %S     -      -      -
//   t       %p      -      -      -      -
//
// ("-": nothing; "#" means without a leading zero). Text between single quotes is copied without
// the quotes (two quotes in a row give nothing; a missing closing quote runs to the end). Every
// other byte is copied as one wide character, sign-extended.
//
// The era letter "g" is never consumed: a pattern that holds it does not return. Callers must
// reject such patterns first (see the comment at the loop).
String ConvertWin32DateTimeFormatString(const char* pattern, unsigned int length);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
