// The conversion an item host applies to a written value (and to its own updates): the value is
// made into the item's type, or refused. Numbers convert between every numeric type and Bool when
// the value fits: integers must lie in the target's range, floating values are rounded to the
// nearest integer (halves away from zero) and must then fit, and a float target refuses finite
// values beyond its range. Text converts to a number or Bool when it reads as one in full ("C"
// notation; "true"/"false" in any case for Bool), and numbers and Bool convert to text. AString
// and UTF16 convert into each other (AString bytes are Latin-1; UTF16 above U+00FF does not fit).
// Every other type (time stamps, arrays, clusters, waveforms, ...) takes only a value of exactly
// its own type description. The result is a plain packet: named attributes of the written value
// are not kept, except in that last case, where the value is taken as it stands.
#pragma once

#include "ka/kor/FlexData.h"

namespace vesta {

// True with `out` holding `value` converted to the type of `like`; false (out unchanged) when
// there is no conversion. std::bad_alloc may escape.
bool ConvertToType(const ka::kor::FlexData& value, const ka::kor::FlexData& like,
                   ka::kor::FlexData& out);

}  // namespace vesta
