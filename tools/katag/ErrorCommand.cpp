// katag error CODE: which of the library's exception classes report a host error code, and with
// what text.

#include <cinttypes>
#include <cstdio>
#include <memory>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ka/kor/exception.h"
#include "ka/kor/gx/GXErrorException.h"
#include "ka/kor/osdep/NotResolvedException.h"
#include "ka/kor/osdep/PosixError.h"
#include "ka/tagger/gx/VestaQualityException.h"
#include "ka/tagger/gx/quality.h"

namespace katag {

namespace {

using ka::kor::exception::Exception;

struct Reporter {
    std::string name;
    std::unique_ptr<Exception> instance;
};

// One instance of every class with a fixed code; classes that carry a text given at the throw
// site are built with the placeholder "<description>" so that the shape of their text shows.
std::vector<Reporter> FixedCodeClasses() {
    namespace ex = ka::kor::exception;
    namespace os = ka::kor::osdep;
    const char* d = "<description>";
    std::vector<Reporter> r;
    auto add = [&r](const char* name, Exception* e) {
        r.push_back({name, std::unique_ptr<Exception>(e)});
    };
    add("ka::kor::exception::Exception", new ex::Exception());
    add("ka::kor::exception::BufferOverflow", new ex::BufferOverflow());
    add("ka::kor::exception::DeserializationError", new ex::DeserializationError());
    add("ka::kor::exception::InvalidArgument", new ex::InvalidArgument());
    add("ka::kor::exception::InvalidArgument2", new ex::InvalidArgument2(0, nullptr, d));
    add("ka::kor::exception::OutOfRange", new ex::OutOfRange());
    add("ka::kor::exception::OutOfRange2", new ex::OutOfRange2(0, nullptr, d));
    add("ka::kor::exception::BoundExceeded", new ex::BoundExceeded());
    add("ka::kor::exception::BoundExceeded2", new ex::BoundExceeded2(0, nullptr, d));
    add("ka::kor::exception::InvalidLocale", new ex::InvalidLocale());
    add("ka::kor::exception::NotImplemented", new ex::NotImplemented());
    add("ka::kor::exception::ObjectAlreadyExists", new ex::ObjectAlreadyExists());
    add("ka::kor::exception::UnableToConvert", new ex::UnableToConvert());
    add("ka::kor::exception::NotFound", new ex::NotFound());
    add("ka::kor::exception::AccessDenied", new ex::AccessDenied(0, nullptr, d));
    add("ka::kor::exception::FileReadFailed", new ex::FileReadFailed());
    add("ka::kor::exception::FileWriteFailed", new ex::FileWriteFailed());
    add("ka::kor::exception::FileAlreadyExists", new ex::FileAlreadyExists());
    add("ka::kor::exception::SharedMemoryCorrupted", new ex::SharedMemoryCorrupted());
    add("ka::kor::exception::ServiceFailure", new ex::ServiceFailure());
    add("ka::kor::exception::InitializationFailure", new ex::InitializationFailure());
    add("ka::kor::exception::SyntaxError", new ex::SyntaxError(0, nullptr, d));
    add("ka::kor::exception::BadGuidString", new ex::BadGuidString());
    add("ka::kor::exception::InvalidSequence", new ex::InvalidSequence());
    add("ka::kor::exception::InvalidRefnum", new ex::InvalidRefnum());
    add("ka::kor::exception::NullRefnum", new ex::NullRefnum());
    add("ka::kor::exception::WrongLibraryVersion", new ex::WrongLibraryVersion());
    add("ka::kor::exception::InvalidOperation", new ex::InvalidOperation());
    add("ka::kor::exception::NoValue", new ex::NoValue());
    add("ka::kor::osdep::NotResolvedException", new os::NotResolvedException());
    add("ka::kor::osdep::OSException", new os::OSException(0, nullptr, d, 0));
    add("ka::kor::osdep::PosixError with errno 0", new os::PosixError(0, nullptr, d, 0));
    add("ka::kor::osdep::PosixError with errno ENOENT", new os::PosixError(0, nullptr, d, 2));
    add("ka::kor::osdep::PosixError with any other errno", new os::PosixError(0, nullptr, d, 13));
    return r;
}

std::string Hex(std::uint32_t v) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08" PRIX32, v);
    return text;
}

int Run(const std::string& text, std::ostream& out) {
    const std::uint32_t code = ParseWord(text, "error code");
    out << "code " << FormatCode(code) << '\n';

    int found = 0;
    for (const Reporter& r : FixedCodeClasses()) {
        if (r.instance->getErrorCode() == code) {
            out << "  " << r.name << ": \"" << r.instance->what() << "\"\n";
            ++found;
        }
    }

    // Quality codes: the single bits (and the good quality) whose exception reports this code.
    using ka::tagger::gx::VestaQualityException;
    const std::uint32_t kUnranked = VestaQualityException(0, nullptr, 0).getErrorCode();
    for (int bit = -1; bit < 32; ++bit) {
        const std::uint32_t quality = bit < 0 ? 0u : (1u << bit);
        const VestaQualityException e(0, nullptr, quality);
        if (e.getErrorCode() != code) {
            continue;
        }
        out << "  ka::tagger::gx::VestaQualityException for quality " << Hex(quality) << " ("
            << ka::tagger::gx::GetQualityDescription(quality).c_str()
            << (bit < 0 ? ""
                        : (code == kUnranked ? ", when no ranked condition is set"
                                             : ", when no higher-ranked condition is set"))
            << "): \"" << e.what() << "\"\n";
        ++found;
    }

    if (found == 0) {
        out << "  no exception class of the library reports this code by itself\n";
    }
    out << "  (ka::kor::exception::COMError and ka::kor::gx::GXErrorException report whatever code "
           "they carry)\n";
    return 0;
}

}  // namespace

Action DefineErrorCommand(CLI::App& app) {
    auto code = std::make_shared<std::string>();
    app.add_option("CODE", *code, "the host error code, hex 0x... or decimal (negative allowed)")
        ->required();
    return [code](std::ostream& out) { return Run(*code, out); };
}

}  // namespace katag
