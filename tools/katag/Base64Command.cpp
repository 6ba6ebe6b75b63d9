// katag base64 encode|decode: Base64 of standard input on standard output, through the library's
// codec, so that texts stored by other components can be checked by hand.

#include <iostream>
#include <iterator>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ka/kor/Base64Decode.h"
#include "ka/kor/Base64Encode.h"

namespace katag {

namespace {

std::string ReadAll(std::istream& in) {
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

int Run(const std::string& direction, std::ostream& out) {
    std::string input = ReadAll(std::cin);
    if (input.size() > ka::kor::AString::max_size()) {
        throw UsageError("input too large");
    }
    if (direction == "encode") {
        const ka::kor::BufferWrapper bytes(reinterpret_cast<const unsigned char*>(input.data()),
                                           static_cast<std::uint32_t>(input.size()));
        out << ka::kor::Base64Encode(bytes).c_str() << '\n';
        return 0;
    }
    // The line end that echo and editors leave is not part of the text; anything else is, and
    // the decoder rejects it.
    while (!input.empty() && (input.back() == '\n' || input.back() == '\r')) {
        input.pop_back();
    }
    const ka::kor::AString text(input.data(), input.data() + input.size());
    const ka::kor::AString bytes = ka::kor::Base64Decode(text);
    out.write(bytes.c_str(), bytes.size());
    return 0;
}

}  // namespace

Action DefineBase64Command(CLI::App& app) {
    auto direction = std::make_shared<std::string>();
    app.add_option("DIRECTION", *direction, "encode or decode")
        ->required()
        ->check(CLI::IsMember({"encode", "decode"}));
    app.footer(
        "Filters standard input to standard output. decode ignores a final line end and rejects "
        "anything else that is not strict Base64.");
    return [direction](std::ostream& out) { return Run(*direction, out); };
}

}  // namespace katag
