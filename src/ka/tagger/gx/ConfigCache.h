// The process-wide cache of configurations by name, created at the first start-up and destroyed
// when the last start-up is undone. It has its own lock, since readers need not hold the
// initializer's guard.
#pragma once

#include <map>

#include "ka/kor/SmartPtr.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/osdep/CriticalSection.h"
#include "ka/tagger/tagcfg/IConfig.h"

namespace ka {
namespace tagger {
namespace gx {

class ConfigCache {
  public:
    typedef std::map<kor::String, kor::SmartPtr<tagcfg::IConfig>> Map;

    // Empty, owning nothing.
    ConfigCache();
    ~ConfigCache();
    ConfigCache(const ConfigCache&) = delete;
    ConfigCache& operator=(const ConfigCache&) = delete;

    kor::osdep::CriticalSection& lock() noexcept { return lock_; }
    // Held under lock().
    Map& configs() noexcept { return configs_; }

    // Takes ownership of object (one reference), disposing of any object owned before.
    void adopt(tagcfg::IConfig* object) noexcept;
    // Gives up the owned object, if any; does nothing otherwise.
    void disposeOwned();

  private:
    kor::osdep::CriticalSection lock_;
    Map configs_;
    tagcfg::IConfig* owned_;
};

}  // namespace gx
}  // namespace tagger
}  // namespace ka
