// Splits a connection string of the form "name=value;name=value..." into attributes and looks
// them up by name without regard to letter case.
//
// Names: leading and trailing white space is dropped, inner white space kept; "==" stands for a
// "=" inside a name. Values: white space around them is dropped; a value that starts with "'" or
// '"' runs to the matching quote, a doubled quote standing for one, and may hold ";".
#pragma once

#include <map>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

class ConnectionStringParser {
  public:
    // Parses text. An empty text raises InvalidArgument. A name given twice (in any letter case)
    // raises InvalidArgument2 ("Connection string repeats attribute: " and the name) when
    // rejectRepeatedNames is true; otherwise its first value is kept and later ones are ignored.
    //
    // Parsing stops at the first empty name (for instance a text that starts with "=") and at the
    // end of the text; a quoted value left open becomes the empty text; a name without "=" gets
    // the empty value.
    ConnectionStringParser(const String& text, bool rejectRepeatedNames);

    // The value of the attribute called name, in any letter case. An empty name raises
    // InvalidArgument; a name not present NotFound.
    const String& getAttribute(const String& name) const;

    // All attributes, in case-insensitive name order.
    const std::map<String, String>& attributes() const noexcept { return attributes_; }

  private:
    // String's own ordering ignores letter case, so names differing only in case are one key.
    std::map<String, String> attributes_;
};

}  // namespace kor
}  // namespace ka
