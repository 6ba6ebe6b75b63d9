#include "ka/kor/osdep/IconvConverter.h"

#include <errno.h>
#include <iconv.h>
#include <langinfo.h>

#include <cstring>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/IconvConverter";

const iconv_t kInvalid = reinterpret_cast<iconv_t>(-1);
const std::size_t kFailed = static_cast<std::size_t>(-1);

// The locale's own name for its code set, so that an empty name does not depend on the C
// library's reading of it.
const char* Resolve(const char* code) {
    return code == nullptr || *code == '\0' ? nl_langinfo(CODESET) : code;
}

}  // namespace

IconvConverter::IconvConverter(const char* toCode, const char* fromCode)
    : cd_(iconv_open(Resolve(toCode), Resolve(fromCode))) {
    if (static_cast<iconv_t>(cd_) == kInvalid) {
        throw exception::InvalidLocale(__LINE__, kSourceFile);
    }
}

IconvConverter::~IconvConverter() {
    iconv_close(static_cast<iconv_t>(cd_));
}

std::size_t IconvConverter::convert(const char* in, std::size_t inSize, std::size_t unitSize,
                                    char* out, std::size_t outSize, const char* substitute,
                                    std::size_t substituteSize) {
    return run(in, inSize, unitSize, out, outSize, substitute, substituteSize, true);
}

std::size_t IconvConverter::measure(const char* in, std::size_t inSize, std::size_t unitSize,
                                    std::size_t substituteSize) {
    char scratch[256];
    return run(in, inSize, unitSize, scratch, sizeof scratch, nullptr, substituteSize, false);
}

std::size_t IconvConverter::run(const char* in, std::size_t inSize, std::size_t unitSize, char* out,
                                std::size_t outSize, const char* substitute,
                                std::size_t substituteSize, bool limited) {
    const iconv_t cd = static_cast<iconv_t>(cd_);
    iconv(cd, nullptr, nullptr, nullptr, nullptr);  // start from the initial shift state

    // iconv's interface takes a non-const input pointer but never writes through it.
    char* inp = const_cast<char*>(in);
    std::size_t inLeft = inSize;
    char* outp = out;
    std::size_t outLeft = outSize;
    std::size_t spilled = 0;
    // Measuring: counts what the scratch area holds and makes it empty again. False when it
    // holds nothing, so that an output too large for it cannot loop forever.
    auto spill = [&]() {
        if (limited || outp == out) {
            return false;
        }
        spilled += static_cast<std::size_t>(outp - out);
        outp = out;
        outLeft = outSize;
        return true;
    };

    while (inLeft > 0) {
        if (iconv(cd, &inp, &inLeft, &outp, &outLeft) != kFailed) {
            break;
        }
        const int error = errno;
        if (error == E2BIG) {
            if (spill()) {
                continue;
            }
            break;
        }
        if (error != EILSEQ && error != EINVAL) {
            break;
        }
        if (outLeft < substituteSize && !spill()) {
            break;
        }
        if (substitute != nullptr) {
            std::memcpy(outp, substitute, substituteSize);
        }
        outp += substituteSize;
        outLeft -= substituteSize;
        const std::size_t skip = unitSize < inLeft ? unitSize : inLeft;
        inp += skip;
        inLeft -= skip;
    }
    // A stateful code set returns to its initial state, so that the output ends cleanly.
    while (iconv(cd, nullptr, nullptr, &outp, &outLeft) == kFailed && errno == E2BIG && spill()) {
    }
    return spilled + static_cast<std::size_t>(outp - out);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
