// Error texts: the host's own codes it commonly returns, and every code the product's exception
// classes report (the basics library's 0x8ABC70nn range, the COM-style codes, the front-panel
// access codes and the quality range 0x8BBB00nn).

#include <cstring>

#include "Memory.h"
#include "gxhost/GxHost.h"

namespace {

struct CodeText {
    std::uint32_t code;
    const char* text;
};

// Sorted by code as unsigned, for the binary search below.
const CodeText kTexts[] = {
    {0, "No error"},
    {1, "An input argument is not valid"},
    {2, "Memory is full"},
    {7, "File not found"},
    {42, "Generic error"},
    {53, "Not supported for this type or operation"},
    {56, "The operation timed out"},
    {0x80004001u, "Not implemented"},
    {0x80004002u, "No such interface supported"},
    {0x80004005u, "Unspecified failure"},
    {0x8ABC0064u, "Access denied: the item can be neither read nor written"},
    {0x8ABC0065u, "Access denied: the item cannot be read"},
    {0x8ABC0066u, "Access denied: the item cannot be written"},
    {0x8ABC7001u, "Installed library is of the wrong version"},
    {0x8ABC7004u, "Syntax error"},
    {0x8ABC7006u, "Unable to start service"},
    {0x8ABC7007u, "Out of range"},
    {0x8ABC7009u, "Object already exists"},
    {0x8ABC700Au, "Not found"},
    {0x8ABC700Fu, "Invalid argument(s)"},
    {0x8ABC7010u, "Initialization failed"},
    {0x8ABC7011u, "Write file operation failed"},
    {0x8ABC7012u, "Read file operation failed"},
    {0x8ABC7014u, "Failed to deserialize"},
    {0x8ABC7017u, "Buffer overflowed"},
    {0x8ABC7019u, "Access denied"},
    {0x8ABC701Bu, "File already exists"},
    {0x8ABC701Cu, "The provided refnum is invalid"},
    {0x8ABC701Du, "A null refnum was provided as input"},
    {0x8ABC7023u, "No value: the item has not received a value yet"},
    {0x8ABC7024u, "Invalid locale"},
    {0x8ABC7030u, "Invalid UTF8 encoding sequence"},
    {0x8ABC7032u, "Badly formatted Guid string."},
    {0x8BBB0000u, "Item quality: stale"},
    {0x8BBB0001u, "Item quality: sensor failure"},
    {0x8BBB0002u, "Item quality: device error"},
    {0x8BBB0003u, "Item quality: server failure"},
    {0x8BBB0004u, "Item quality: communication failure"},
    {0x8BBB0005u, "Item quality: nonexistant"},
    {0x8BBB0006u, "Item quality: no known value"},
    {0x8BBB0007u, "Item quality: inactive"},
    {0x8BBB0008u, "Item quality: sensor inaccurate"},
    {0x8BBB0009u, "Item quality: engineering unit limits exceeded"},
    {0x8BBB000Au, "Item quality: subnormal"},
    {0x8BBB000Bu, "Item quality: math exception"},
    {0x8BBB000Cu, "Item quality: communications link failure"},
    {0x8BBB000Du, "Item quality: connecting"},
    {0x8BBB000Eu, "Item quality: DNS failure"},
    {0x8BBB000Fu, "Item quality: host unreachable"},
    {0x8BBB0010u, "Item quality: service lookup failure"},
    {0x8BBB0011u, "Item quality: disconnected"},
    {0x8BBB0012u, "Item quality: process failure"},
    {0x8BBB0013u, "Item quality: resolve URL failure"},
    {0x8BBB0014u, "Item quality: access denied"},
    {0x8BBB0015u, "Item quality: subscription failure"},
    {0x8BBB0016u, "Item quality: invalid URL"},
    {0x8BBB0036u, "Item quality: bad"},
    {0xFFFFFFFFu, "Unspecified exception"},
};

}  // namespace

extern "C" {

const char* GxHostErrorText(int32_t code) {
    const std::uint32_t key = static_cast<std::uint32_t>(code);
    std::size_t lo = 0;
    std::size_t hi = sizeof kTexts / sizeof kTexts[0];
    while (lo < hi) {
        const std::size_t mid = lo + (hi - lo) / 2;
        if (kTexts[mid].code < key) {
            lo = mid + 1;
        } else {
            hi = mid;
        }
    }
    return lo < sizeof kTexts / sizeof kTexts[0] && kTexts[lo].code == key ? kTexts[lo].text
                                                                           : nullptr;
}

GxBoolean GGetOneErrorCode(int32_t code, LStrHandle* text) {
    const char* known = GxHostErrorText(code);
    if (known == nullptr || text == nullptr) {
        return 0;
    }
    // Without memory for the text the host cannot give one: the caller then shows its own
    // "text unavailable" message rather than an empty text.
    if (!gxhost::AllocationMayProceed()) {
        return 0;
    }
    const int32_t length = static_cast<int32_t>(std::strlen(known));
    LStrHandle made = reinterpret_cast<LStrHandle>(gxhost::NewHandle(4 + length));
    if (made == nullptr) {
        return 0;
    }
    (*made)->cnt = length;
    std::memcpy((*made)->str, known, static_cast<std::size_t>(length));
    *text = made;
    return 1;
}

}  // extern "C"
