// katag quality WORD: what a quality word means to the library and to the host.

#include <cinttypes>
#include <cstdio>

#include "Commands.h"
#include "ka/tagger/gx/VestaQualityException.h"
#include "ka/tagger/gx/quality.h"

namespace katag {

int QualityCommand(const Args& args, std::ostream& out) {
    if (args.size() != 1) {
        throw UsageError("usage: katag quality WORD (hex 0x... or decimal)");
    }
    using namespace ka::tagger::gx;
    const std::uint32_t quality = ParseWord(args[0], "quality word");
    const VestaQualityException e(0, nullptr, quality);
    const char* verdict = QualityIsGood(quality) ? "good" : (e.warning() ? "warning" : "error");

    char word[16];
    std::snprintf(word, sizeof word, "0x%08" PRIX32, quality);
    out << "quality:    " << word << '\n'
        << "conditions: " << RenderQuality(quality, ", ").c_str() << '\n'
        << "verdict:    " << verdict << '\n'
        << "host code:  " << FormatCode(e.getErrorCode()) << " (" << e.what()
        << (QualityIsGood(quality) ? ", reported only if a caller treats it as bad" : "") << ")\n";
    return 0;
}

}  // namespace katag
