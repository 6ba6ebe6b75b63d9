#include "ka/tagger/gx/ka_tagger_gx.h"

#include <cstdint>
#include <cstring>
#include <exception>

#include "ka/kor/AbsTime.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/GetGraphixErrorCode.h"
#include "ka/kor/exception.h"
#include "ka/kor/gx/FlexDataToGxVariant.h"
#include "ka/kor/gx/KorANSIStringToLStrHandle.h"
#include "ka/tagger/gx/Initializer.h"
#include "ka/tagger/gx/Item.h"
#include "ka/tagger/gx/ReportError.h"
#include "ka/tagger/gx/VestaQualityException.h"
#include "ka/tagger/gx/quality.h"
#include "vesta/VarData.h"

namespace {

using namespace ka;

constexpr const char* kSource = "ka_tagger_gx_Read";
constexpr const char* kSourceFile = "ka/tagger/gx/Read";
constexpr std::uint32_t kBadQualityLine = 65;
// The no-known-value quality code, reported as a warning.
constexpr std::uint32_t kNoKnownValue = 0x8BBB0006u;

static_assert(sizeof(ka_tagger_gx_TimeStamp) == sizeof(kor::AbsTime) &&
                  alignof(ka_tagger_gx_TimeStamp) == alignof(kor::AbsTime),
              "the exported time stamp is an AbsTime's bytes");

// Unlike the other functions, Read writes its source text through the string bridge (the handle
// is created when the cluster has none). A failure to write it leaves status and code set.
void Report(ErrorCluster* error, bool status, std::uint32_t code) noexcept {
    if (error == nullptr) {
        return;
    }
    error->status = status ? 1 : 0;
    error->code = static_cast<std::int32_t>(code);
    try {
        kor::gx::string::KorANSIStringToLStrHandle(kor::AString(kSource), error->source);
    } catch (const std::exception&) {
        // status and code already say what went wrong; the source is only its label.
    }
}

void Read(ka_tagger_gx_Refnum refnum, GxVariant** value, std::uint32_t* quality,
          ka_tagger_gx_TimeStamp* time) {
    tagger::gx::Item* item = tagger::gx::Initializer::getGlobalClient()->lookup(refnum);
    if (value == nullptr || quality == nullptr || time == nullptr) {
        throw kor::exception::InvalidArgument(__LINE__, kSourceFile);
    }
    std::uint32_t itemQuality = 0;
    kor::AbsTime itemTime;
    VarData current = item->read(itemQuality, itemTime);
    *quality = itemQuality;
    std::memcpy(time, &itemTime, sizeof itemTime);
    if (!tagger::gx::QualityIsGood(itemQuality)) {
        throw tagger::gx::VestaQualityException(kBadQualityLine, kSourceFile, itemQuality);
    }
    if (current.empty()) {
        // A good quality without a value: the host hears "no value", as for a value of type Void.
        kor::FlexData none;
        none.setVoid();
        kor::gx::FlexDataToGxVariant(none, *value);
        return;
    }
    if (current.type() != VT_FLEXDATA) {
        current.Convert(VT_FLEXDATA);
    }
    kor::gx::FlexDataToGxVariant(current.getFlexData(), *value);
}

}  // namespace

extern "C" void ka_tagger_gx_Read(ka_tagger_gx_Refnum refnum, GxVariant** value, uint32_t* quality,
                                  ka_tagger_gx_TimeStamp* time, ErrorCluster* error) noexcept {
    if (tagger::gx::HasIncomingError(error)) {
        return;
    }
    try {
        Read(refnum, value, quality, time);
    } catch (const tagger::gx::VestaQualityException& e) {
        Report(error, !e.warning(), e.getErrorCode());
    } catch (const kor::exception::NoValue&) {
        Report(error, false, kNoKnownValue);
    } catch (const kor::exception::Exception& e) {
        const std::uint32_t code = kor::GetGraphixErrorCode(e);
        if (code == static_cast<std::uint32_t>(kor::gx::kNoValueStatus) || code == kNoKnownValue) {
            Report(error, false, kNoKnownValue);
        } else {
            Report(error, true, code);
        }
    } catch (const std::exception& e) {
        Report(error, true, kor::GetGraphixErrorCode(e));
    }
}
