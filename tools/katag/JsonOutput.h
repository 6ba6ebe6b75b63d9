// JSON output of katag: one compact object per line, so that each line can be handed to jq or a
// script as it arrives, and the fields that describe a quality word in every command.
#pragma once

#include <cstdint>
#include <ostream>

#include <nlohmann/json.hpp>

namespace katag {

// Writes value on one line. Text that is not valid UTF-8 (a value in another code set) has its
// bad bytes replaced with U+FFFD instead of failing the whole line.
void WriteJsonLine(std::ostream& out, const nlohmann::json& value);

// {"quality": 65, "quality_text": "stale, no known value"}: the word as a number and the names
// of its conditions ("good" for 0).
nlohmann::json QualityJson(std::uint32_t quality);

}  // namespace katag
