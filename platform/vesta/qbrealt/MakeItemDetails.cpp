#include "qbrealt/MakeItemDetails.h"

#include <cstring>

#include "ka/kor/WideToUtf8.h"

namespace vesta {

std::shared_ptr<const ITEMDETAILS> MakeItemDetails(ka::kor::fd::FlexType type,
                                                   std::uint32_t accessRights,
                                                   const std::wstring& description) {
    auto d = std::make_shared<ITEMDETAILS>();
    std::memset(d.get(), 0, sizeof(ITEMDETAILS));
    d->flags = ITEMDETAILS_HAS_TYPE | ITEMDETAILS_HAS_DESCRIPTION | ITEMDETAILS_HAS_ACCESS;
    d->accessRights = accessRights;
    d->flexType = ka::kor::fd::Code(type);
    const wchar_t* p = description.data();
    const wchar_t* end = p + description.size();
    char* out = d->description;
    const char* limit = d->description + sizeof(d->description) - 1;
    for (; p != end; ++p) {
        char utf8[8];
        const char* stop = ka::kor::EncodeUtf8(p, p + 1, utf8);
        const auto n = static_cast<std::size_t>(stop - utf8);
        if (*p == L'\0' || n > static_cast<std::size_t>(limit - out)) {
            break;  // a NUL would end the text early anyway
        }
        std::memcpy(out, utf8, n);
        out += n;
    }
    *out = '\0';
    return d;
}

}  // namespace vesta
