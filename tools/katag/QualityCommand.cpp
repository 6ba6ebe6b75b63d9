// katag quality WORD: what a quality word means to the library and to the host.

#include <cinttypes>
#include <cstdio>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "JsonOutput.h"
#include "ka/tagger/gx/VestaQualityException.h"
#include "ka/tagger/gx/quality.h"

namespace katag {

namespace {

struct Options {
    std::string word;
    bool json = false;
};

int Run(const Options& o, std::ostream& out) {
    using namespace ka::tagger::gx;
    const std::uint32_t quality = ParseWord(o.word, "quality word");
    const VestaQualityException e(0, nullptr, quality);
    const bool good = QualityIsGood(quality);
    const char* verdict = good ? "good" : (e.warning() ? "warning" : "error");

    if (o.json) {
        nlohmann::json j = QualityJson(quality);
        nlohmann::json conditions = nlohmann::json::array();
        for (int bit = 0; bit < 32; ++bit) {
            if ((quality >> bit) & 1u) {
                conditions.push_back(GetQualityDescription(1u << bit).c_str());
            }
        }
        j["conditions"] = conditions;
        j["verdict"] = verdict;
        j["host_code"] = static_cast<std::int32_t>(e.getErrorCode());
        j["host_text"] = e.what();
        WriteJsonLine(out, j);
        return 0;
    }
    char word[16];
    std::snprintf(word, sizeof word, "0x%08" PRIX32, quality);
    out << "quality:    " << word << '\n'
        << "conditions: " << RenderQuality(quality, ", ").c_str() << '\n'
        << "verdict:    " << verdict << '\n'
        << "host code:  " << FormatCode(e.getErrorCode()) << " (" << e.what()
        << (good ? ", reported only if a caller treats it as bad" : "") << ")\n";
    return 0;
}

}  // namespace

Action DefineQualityCommand(CLI::App& app) {
    auto o = std::make_shared<Options>();
    app.add_option("WORD", o->word, "the quality word, hex 0x... or decimal")->required();
    app.add_flag("--json", o->json, "print one JSON object instead");
    return [o](std::ostream& out) { return Run(*o, out); };
}

}  // namespace katag
