// Starts the provider's socket layer for as long as an object of a class derived from it lives.
// Only the first of its four switches is used; the others are kept so that callers pass the same
// four values they always have.
#pragma once

namespace ozu {

class VestaManager {
  public:
    // With startSockets true, calls VestaSocketStartup() and remembers that it did; a failing
    // start-up raises COMError with the provider's result, and then nothing needs undoing.
    VestaManager(bool startSockets, bool unused1, bool unused2, bool unused3);
    // Calls VestaSocketCleanup() exactly when the constructor started the socket layer.
    virtual ~VestaManager();
    VestaManager(const VestaManager&) = delete;
    VestaManager& operator=(const VestaManager&) = delete;

  private:
    bool startedSockets_;
};

}  // namespace ozu
