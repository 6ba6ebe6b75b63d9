#include "ka/tagger/gx/ka_tagger_gx.h"

#include <exception>

#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/tagger/gx/Initializer.h"

// The result has no meaning to callers; a failure (memory exhausted) still gives its code, which
// is all that can be said without an error cluster.
extern "C" int32_t ka_tagger_gx_Startup(void) noexcept {
    try {
        ka::tagger::gx::Initializer::startup();
    } catch (const std::exception& e) {
        return static_cast<int32_t>(ka::kor::GetGraphixErrorCode(e));
    }
    return 0;
}
