// Identifies a thread, so that code can tell whether it runs on a particular one.
#pragma once

namespace ka {
namespace kor {
namespace osdep {

class ThreadID {
  public:
    // Identifies no thread.
    ThreadID() noexcept : id_(0) {}

    // The calling thread.
    static ThreadID getCallingID() noexcept;

    bool operator==(const ThreadID& other) const noexcept;
    bool operator!=(const ThreadID& other) const noexcept { return !(*this == other); }
    // Whether this identifies the calling thread (false for a default-constructed ThreadID).
    bool isCurrentThread() const noexcept;

  private:
    explicit ThreadID(unsigned long id) noexcept : id_(id) {}

    unsigned long id_;  // pthread_t, 0 for none
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
