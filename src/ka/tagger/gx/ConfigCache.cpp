#include "ka/tagger/gx/ConfigCache.h"

namespace ka {
namespace tagger {
namespace gx {

ConfigCache::ConfigCache() : owned_(nullptr) {}

ConfigCache::~ConfigCache() {
    if (owned_ != nullptr) {
        owned_->release();
    }
}

void ConfigCache::adopt(tagcfg::IConfig* object) noexcept {
    tagcfg::IConfig* before = owned_;
    owned_ = object;
    if (before != nullptr) {
        before->release();
    }
}

void ConfigCache::disposeOwned() {
    tagcfg::IConfig* object = owned_;
    owned_ = nullptr;
    if (object != nullptr) {
        object->release();
    }
}

}  // namespace gx
}  // namespace tagger
}  // namespace ka
