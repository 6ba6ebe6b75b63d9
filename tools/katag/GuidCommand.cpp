// katag guid [N]: new time-based identifiers from the library's generator, one per line.

#include <memory>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ka/kor/Guid.h"
#include "ka/kor/osdep/MakeGUID.h"

namespace katag {

namespace {

int Run(unsigned long count, std::ostream& out) {
    ka::kor::String text;
    for (unsigned long i = 0; i < count; ++i) {
        ka::kor::osdep::MakeGUID().toString(text);
        out << Narrow(text) << '\n';
    }
    return 0;
}

}  // namespace

Action DefineGuidCommand(CLI::App& app) {
    auto count = std::make_shared<unsigned long>(1);
    app.add_option("N", *count, "how many, from 1 to 1000000 (default 1)")
        ->check(CLI::Range(1ul, 1000000ul));
    return [count](std::ostream& out) { return Run(*count, out); };
}

}  // namespace katag
