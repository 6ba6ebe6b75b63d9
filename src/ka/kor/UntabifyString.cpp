#include "ka/kor/UntabifyString.h"

#include <cstdint>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/UntabifyString";

}  // namespace

String UntabifyString(String text, unsigned int width) {
    std::uint64_t tabs = 0;
    for (wchar_t c : text) {
        tabs += c == L'\t';
    }
    if (tabs == 0) {
        return text;
    }
    const std::uint64_t size = text.size() - tabs + tabs * width;
    if (size > String::max_size()) {
        throw exception::BoundExceeded2(__LINE__, kSourceFile, "Resulting string too large");
    }
    String result;
    result.reserve(static_cast<String::size_type>(size));
    String::size_type run = 0;
    for (String::size_type i = 0; i < text.size(); ++i) {
        if (text[i] == L'\t') {
            result.append(text, run, i - run);
            result.append(width, L' ');
            run = i + 1;
        }
    }
    result.append(text, run, String::npos);
    return result;
}

}  // namespace kor
}  // namespace ka
