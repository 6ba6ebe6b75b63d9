#include "qbrealt/Provider.h"

namespace vesta {

HostItemBackend::~HostItemBackend() = default;
HostBackend::~HostBackend() = default;
Provider::~Provider() = default;

}  // namespace vesta
