// A configuration of the tagger, kept by name in the process-wide configuration cache. No exported
// operation reads configurations yet; the cache only has to exist between start-up and clean-up.
#pragma once

#include "ka/kor/RefCountedInterface.h"

namespace ka {
namespace tagger {
namespace tagcfg {

class IConfig : public kor::RefCountedInterface<IConfig> {
  public:
    virtual ~IConfig() = default;
};

}  // namespace tagcfg
}  // namespace tagger
}  // namespace ka
