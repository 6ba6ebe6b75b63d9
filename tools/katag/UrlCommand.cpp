// katag url TEXT: how the library reads an item address: its render type, its components and the
// text it renders back.

#include <memory>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ka/kor/VestaURL.h"
#include "ka/kor/exception.h"
#include "ka/kor/lurlparse/PathSeparator.h"

namespace katag {

namespace {

const char* SeparatorName(wchar_t sep) {
    switch (sep) {
        case L'\0':
            return "none";
        case L'\\':
            return "backslash";
        case L'.':
            return "dot";
    }
    return "other";
}

int Run(const std::string& address, std::ostream& out) {
    using ka::kor::VestaURL;
    const ka::kor::String text = Wide(address);
    typedef ka::kor::lurlparse::PathSeparator<wchar_t> Parser;
    const int status = Parser::Parse(text.begin(), text.end());
    VestaURL url;
    try {
        url = VestaURL(text);
    } catch (const ka::kor::exception::SyntaxError& e) {
        throw std::runtime_error(std::string(e.what()) + " (status " + std::to_string(status) +
                                 ": " + ka::kor::lurlparse::GetParseStatusText(status) + ")");
    }
    out << "render type: " << static_cast<int>(url.type()) << " ("
        << ka::kor::GetRenderTypeName(url.type()) << ")\n"
        << "status:      " << status << " (" << ka::kor::lurlparse::GetParseStatusText(status)
        << ")\n"
        << "components:  " << url.size() << '\n';
    for (unsigned int i = 0; i < url.size(); ++i) {
        const VestaURL::Component& c = url[i];
        out << "  [" << i << "] " << (c.parent() ? std::string("..") : "name " + Quoted(c.name()))
            << ", separator " << SeparatorName(c.sep()) << ", parent "
            << (c.parent() ? "yes" : "no") << ", first " << (c.first() ? "yes" : "no") << '\n';
    }
    out << "rendered:    " << Printable(url.str()) << '\n';
    return 0;
}

}  // namespace

Action DefineUrlCommand(CLI::App& app) {
    auto text = std::make_shared<std::string>();
    app.add_option("TEXT", *text,
                   "the item address, e.g. '\\\\m1\\proc\\a.b' (after -- if it starts with -)")
        ->required();
    return [text](std::ostream& out) { return Run(*text, out); };
}

}  // namespace katag
