#include "Help.h"

#include <sstream>

namespace katag {

namespace {

constexpr std::size_t kLineWidth = 100;
constexpr std::size_t kColumn = 24;

// Appends text to out as words wrapped at kLineWidth, continuation lines starting at column, and
// ends the line. A word longer than a line stands on a line of its own.
void AppendWrapped(std::string& out, const std::string& text, std::size_t column) {
    const std::size_t lineStart = out.rfind('\n');
    std::size_t at = lineStart == std::string::npos ? out.size() : out.size() - lineStart - 1;
    std::istringstream words(text);
    std::string word;
    bool first = true;
    while (words >> word) {
        if (!first && at + 1 + word.size() > kLineWidth) {
            out += '\n' + std::string(column, ' ');
            at = column;
        } else if (!first) {
            out += ' ';
            ++at;
        }
        out += word;
        at += word.size();
        first = false;
    }
    out += '\n';
}

// head, then description in the column: on the same line when head leaves room for it.
std::string Entry(std::string head, const std::string& description) {
    if (head.size() + 1 > kColumn) {
        head += '\n';
        head.append(kColumn, ' ');
    } else {
        head.append(kColumn - head.size(), ' ');
    }
    AppendWrapped(head, description, kColumn);
    return head;
}

}  // namespace

std::string CommandList(const Command* commands, std::size_t count) {
    std::string out =
        "usage: katag COMMAND [ARGS]\n"
        "       katag help COMMAND  (or katag COMMAND --help) the command's arguments and options\n"
        "commands:\n";
    for (std::size_t i = 0; i < count; ++i) {
        const Command& c = commands[i];
        out += Entry(std::string("  ") + c.name + (*c.synopsis != '\0' ? " " : "") + c.synopsis,
                     c.summary);
    }
    return out;
}

HelpFormatter::HelpFormatter() {
    label("Usage", "usage");
    column_width(kColumn);
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
    if (option->get_positional()) {
        return std::string();
    }
    if (!option->get_option_text().empty()) {
        return " " + option->get_option_text();
    }
    return option->get_type_size() != 0 ? " " + option->get_type_name() : std::string();
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool positional) const {
    return Entry("  " + make_option_name(option, positional) + make_option_opts(option),
                 make_option_desc(option));
}

std::string HelpFormatter::make_footer(const CLI::App* app) const {
    std::string out;
    if (!app->get_footer().empty()) {
        AppendWrapped(out, app->get_footer(), 0);
    }
    return out;
}

}  // namespace katag
