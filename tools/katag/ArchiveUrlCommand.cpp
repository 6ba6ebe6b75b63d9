// katag archive-url TEXT: how the library reads an archive address: its render type, its
// components with their roles, the item address inside it and the text it renders back.

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ka/kor/BastionURL.h"
#include "ka/kor/exception.h"

namespace katag {

namespace {

int Run(const std::string& text, std::ostream& out) {
    using ka::kor::BastionURL;
    using ka::kor::RenderType;
    const BastionURL url(Wide(text));
    const bool absolute = url.type() == RenderType::Absolute;
    out << "render type: " << static_cast<int>(url.type()) << " ("
        << ka::kor::GetRenderTypeName(url.type()) << ")\n"
        << "components:  " << url.size() << '\n';
    for (unsigned int i = 0; i < url.size(); ++i) {
        const char* role = !absolute ? ""
                           : i == 0  ? " (machine)"
                           : i == 1  ? " (database)"
                                     : " (item)";
        out << "  [" << i << "] " << Quoted(url[i]) << role << '\n';
    }
    out << "rendered:    " << Printable(url.str()) << '\n';
    if (absolute && url.size() > 2) {
        std::string item;
        try {
            item = Printable(url.getVestaURLComponent().str());
        } catch (const ka::kor::exception::SyntaxError&) {
            item = "not a valid item address";
        }
        out << "item:        " << item << '\n';
    }
    return 0;
}

}  // namespace

Action DefineArchiveUrlCommand(CLI::App& app) {
    auto text = std::make_shared<std::string>();
    app.add_option("TEXT", *text, "the archive address, e.g. '\\\\db1\\archive\\m1\\proc\\x'")
        ->required();
    return [text](std::ostream& out) { return Run(*text, out); };
}

}  // namespace katag
