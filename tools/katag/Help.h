// Help texts of katag: the command list that "katag help" prints and the layout of one command's
// help, both wrapped to 100 columns with descriptions in one column.
#pragma once

#include <cstddef>
#include <string>

#include <CLI/CLI.hpp>

#include "Commands.h"

namespace katag {

// "usage: katag COMMAND [ARGS]", how to ask for one command's help, and one entry per command:
// its name and synopsis, then its summary in a column (on the next line when the synopsis is too
// long for the column).
std::string CommandList(const Command* commands, std::size_t count);

// CLI11's layout of one command's help, with positionals shown by name only (the usage line says
// which are optional), options shown with their option_text (what the value looks like, e.g.
// "MINUTES[,NAME]") instead of a C++ type, and descriptions and the footer wrapped.
class HelpFormatter : public CLI::Formatter {
  public:
    HelpFormatter();
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option(const CLI::Option* option, bool positional) const override;
    std::string make_footer(const CLI::App* app) const override;
};

}  // namespace katag
