#include "JsonOutput.h"

#include "ka/tagger/gx/quality.h"

namespace katag {

void WriteJsonLine(std::ostream& out, const nlohmann::json& value) {
    out << value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

nlohmann::json QualityJson(std::uint32_t quality) {
    return {{"quality", quality},
            {"quality_text", ka::tagger::gx::RenderQuality(quality, ", ").c_str()}};
}

}  // namespace katag
