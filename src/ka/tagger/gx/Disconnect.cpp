#include "ka/tagger/gx/ka_tagger_gx.h"

#include <exception>

#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/tagger/gx/Initializer.h"
#include "ka/tagger/gx/ReportError.h"

// Runs whatever the cluster says on entry: a host program that failed earlier must still be able
// to give its items back.
extern "C" void ka_tagger_gx_Disconnect(ka_tagger_gx_Refnum refnum, ErrorCluster* error) noexcept {
    using namespace ka;
    try {
        tagger::gx::Initializer::getGlobalClient()->disconnect(refnum);
    } catch (const std::exception& e) {
        tagger::gx::ReportError(error, true, kor::GetGraphixErrorCode(e),
                                "ka_tagger_gx_Disconnect");
    }
}
