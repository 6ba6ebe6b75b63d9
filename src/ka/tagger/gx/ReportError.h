// The one place where the exported functions turn a failure into the host's error cluster:
// status, code and the function's name as source text.
#pragma once

#include <cstdint>

#include "gxhost/gxhost.h"

namespace ka {
namespace tagger {
namespace gx {

// True when the cluster already reports an error (a null cluster reports none).
bool HasIncomingError(const ErrorCluster* error) noexcept;

// Sets status (true: error; false: a warning that carries a code) and code, then writes source
// into the cluster's source handle: the handle is resized with DSSetHandleSize to the text's
// length plus its count, and only when that succeeds are the count and the characters (no
// terminator) stored. A failing resize leaves the earlier source text. A null cluster is ignored.
void ReportError(ErrorCluster* error, bool status, std::uint32_t code, const char* source) noexcept;

}  // namespace gx
}  // namespace tagger
}  // namespace ka
