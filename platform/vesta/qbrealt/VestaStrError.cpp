#include "vesta/VestaRealTime.h"

namespace {

struct ResultText {
    HRESULT result;
    const char* text;
};

const ResultText kTexts[] = {
    {S_OK, "success"},
    {S_FALSE, "success, nothing to do"},
    {E_NOINTERFACE, "no such interface"},
    {E_POINTER, "null pointer"},
    {E_FAIL, "unspecified failure"},
    {E_OUTOFMEMORY, "out of memory"},
    {E_INVALIDARG, "invalid argument"},
    {VESTA_E_CONFIG, "the provider settings are not valid"},
    {VESTA_E_NOSESSION, "no provider session"},
    {VESTA_E_BADURL, "the item URL is not valid"},
    {VESTA_E_ACCESSDENIED, "access denied: the item has no write right"},
    {VESTA_E_TYPEMISMATCH, "the value cannot be converted to the item's type"},
    {VESTA_E_REJECTED, "the item's host rejected the value"},
    {VESTA_E_NOTCONNECTED, "the item or its host is not available"},
    {VESTA_E_UNAVAILABLE, "the provider is not available in this build"},
};

}  // namespace

extern "C" const char* VestaStrError(HRESULT result) {
    for (const ResultText& t : kTexts) {
        if (t.result == result) {
            return t.text;
        }
    }
    return result >= 0 ? "success" : "unknown failure";
}
