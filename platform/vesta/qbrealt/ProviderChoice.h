// Which provider a session uses, read from the setting KA_VESTA_URL: unset or empty for the
// embedded provider, mqtt://host:port or mqtts://host:port for a broker.
#pragma once

#include <string>

namespace vesta {

struct ProviderChoice {
    enum Kind { Embedded, Mqtt, Invalid };
    Kind kind = Embedded;
    std::string url;    // the broker URL for Mqtt
    std::string error;  // why the setting is refused, for Invalid
};

// Judges the setting's value (null for unset). The scheme is matched without regard to case.
ProviderChoice ChooseProvider(const char* setting);

// The name of the setting.
extern const char kProviderSetting[];

}  // namespace vesta
