#include "ka/tagger/gx/ka_tagger_gx.h"

#include <cstdint>
#include <exception>

#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/kor/exception.h"
#include "ka/kor/gx/HostBuffer.h"
#include "ka/tagger/gx/Initializer.h"
#include "ka/tagger/gx/Item.h"
#include "ka/tagger/gx/ReportError.h"
#include "ka/tagger/gx/VestaQualityException.h"
#include "ka/tagger/gx/quality.h"
#include "vesta/VarData.h"

namespace {

using namespace ka;

constexpr const char* kSource = "ka_tagger_gx_Write";
constexpr const char* kSourceFile = "ka/tagger/gx/Write";
constexpr std::uint32_t kBadQualityLine = 93;

void Write(ka_tagger_gx_Refnum refnum, GxVariant** variant, ErrorCluster* error) {
    kor::gx::HostBuffer packet;
    std::int32_t length = 0;
    const MgErr status =
        GxVarToKORFlex(variant != nullptr ? *variant : nullptr, packet.address(), &length);
    if (status != 0) {
        // The host's own code, as it stands: the host program knows it better than any of ours.
        tagger::gx::ReportError(error, true, static_cast<std::uint32_t>(status), kSource);
        return;
    }
    VarData value;
    value.flexData(packet.get(), packet.get() + (length > 0 ? length : 0));
    try {
        value.convertToNativeType();
    } catch (const kor::exception::Exception&) {
        // The flex-data form is a value of its own that the provider converts for the item; a
        // value that has no native form is sent as it came.
    }
    tagger::gx::Item* item = tagger::gx::Initializer::getGlobalClient()->lookup(refnum);
    item->write(value);
    const std::uint32_t quality = item->quality();
    if (!tagger::gx::QualityIsGood(quality)) {
        throw tagger::gx::VestaQualityException(kBadQualityLine, kSourceFile, quality);
    }
}

}  // namespace

extern "C" void ka_tagger_gx_Write(ka_tagger_gx_Refnum refnum, GxVariant** value,
                                   ErrorCluster* error) noexcept {
    if (tagger::gx::HasIncomingError(error)) {
        return;
    }
    try {
        Write(refnum, value, error);
    } catch (const tagger::gx::VestaQualityException& e) {
        // An item that only lacks a value so far took the write; that is no failure.
        if (!e.noValueOnlyProblem()) {
            tagger::gx::ReportError(error, !e.warning(), e.getErrorCode(), kSource);
        }
    } catch (const std::exception& e) {
        tagger::gx::ReportError(error, true, kor::GetGraphixErrorCode(e), kSource);
    }
}
