// katag guid [N]: new time-based identifiers from the library's generator, one per line.

#include <cerrno>
#include <cstdlib>

#include "Commands.h"
#include "ka/kor/Guid.h"
#include "ka/kor/osdep/MakeGUID.h"

namespace katag {

namespace {

constexpr unsigned long kMaxCount = 1000000;

}  // namespace

int GuidCommand(const Args& args, std::ostream& out) {
    const char* kUsageText = "usage: katag guid [N] (N from 1 to 1000000, default 1)";
    if (args.size() > 1) {
        throw UsageError(kUsageText);
    }
    unsigned long count = 1;
    if (args.size() == 1) {
        const char* text = args[0].c_str();
        char* end = nullptr;
        errno = 0;
        count = std::strtoul(text, &end, 10);
        if (*text < '0' || *text > '9' || *end != '\0' || errno == ERANGE || count == 0 ||
            count > kMaxCount) {
            throw UsageError(kUsageText);
        }
    }
    ka::kor::String text;
    for (unsigned long i = 0; i < count; ++i) {
        ka::kor::osdep::MakeGUID().toString(text);
        out << Narrow(text) << '\n';
    }
    return 0;
}

}  // namespace katag
