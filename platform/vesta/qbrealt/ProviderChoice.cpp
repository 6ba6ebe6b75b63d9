#include "qbrealt/ProviderChoice.h"

#include <cctype>

namespace vesta {

const char kProviderSetting[] = "KA_VESTA_URL";

namespace {

bool StartsWithNoCase(const std::string& s, const char* prefix) {
    std::size_t k = 0;
    for (; prefix[k] != '\0'; ++k) {
        if (k >= s.size() || std::tolower(static_cast<unsigned char>(s[k])) !=
                                 static_cast<unsigned char>(prefix[k])) {
            return false;
        }
    }
    return true;
}

}  // namespace

ProviderChoice ChooseProvider(const char* setting) {
    ProviderChoice choice;
    if (setting == nullptr || *setting == '\0') {
        return choice;
    }
    const std::string value(setting);
    if (StartsWithNoCase(value, "mqtt://") || StartsWithNoCase(value, "mqtts://")) {
        choice.kind = ProviderChoice::Mqtt;
        choice.url = value;
        return choice;
    }
    choice.kind = ProviderChoice::Invalid;
    choice.error = std::string(kProviderSetting) + "=\"" + value +
                   "\" is not a provider URL: use mqtt://host:port or mqtts://host:port, or leave "
                   "it unset for the embedded provider";
    return choice;
}

}  // namespace vesta
