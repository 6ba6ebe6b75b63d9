#include "ka/kor/lurlparse/PathSeparator.h"

namespace ka {
namespace kor {
namespace lurlparse {

template class PathSeparator<char>;
template class PathSeparator<wchar_t>;
template struct CSingleQuote<char>;
template struct CSingleQuote<wchar_t>;

const char* GetParseStatusText(int status) {
    switch (status) {
        case kComplete:
            return "complete";
        case kNothingAfterProcess:
            return "nothing after the process";
        case kNoMachine:
            return "no machine";
        case kNoProcess:
            return "no process";
        case kThreeLeadingBackslashes:
            return "three leading backslashes";
        case kTooFewLeadingBackslashes:
            return "fewer than two leading backslashes";
        case kNoBackslashAfterMachine:
            return "no backslash after the machine";
        case kEmptyComponent:
            return "empty component";
        case kNoBackslashAfterProcess:
            return "no backslash after the process";
        case kMissingDotOrBackslash:
            return "missing local-machine '.' or leading backslash";
        case kTextLeftOver:
            return "text left over or a bad '..'";
        case kEmptyUnquotedComponent:
            return "empty unquoted component";
        case kBadMachineStart:
            return "illegal first character of a machine name";
        case kUnterminatedQuotation:
            return "unterminated quotation";
    }
    return "unknown status";
}

}  // namespace lurlparse
}  // namespace kor
}  // namespace ka
