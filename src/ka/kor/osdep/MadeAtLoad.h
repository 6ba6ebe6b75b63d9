// A process-wide object made when the library loads, for objects the library must still load
// without: if making it fails then, the failure is held back and the object is made again on
// first use, where a failure reaches the caller as an exception instead of stopping the host.
#pragma once

#include <atomic>
#include <mutex>

namespace ka {
namespace kor {
namespace osdep {

template <class T>
class MadeAtLoad {
  public:
    // Returns a new T or throws.
    typedef T* (*Factory)();

    // Calls make at once; whatever it throws is swallowed, for get() to try again. Meant for an
    // object at namespace scope, constructed while the library loads.
    explicit MadeAtLoad(Factory make) noexcept : make_(make), object_(nullptr) {
        try {
            object_.store(make_(), std::memory_order_release);
        } catch (...) {
            // get() tries again and lets its caller see the failure.
        }
    }
    // The object is never destroyed: objects destroyed while the process exits, in any order,
    // may still need it.
    ~MadeAtLoad() = default;
    MadeAtLoad(const MadeAtLoad&) = delete;
    MadeAtLoad& operator=(const MadeAtLoad&) = delete;

    // The object, made now when the load could not make it; what make throws then passes to
    // the caller, and the next call tries again. Threads that call at once make it only once.
    T& get() {
        T* object = object_.load(std::memory_order_acquire);
        if (object == nullptr) {
            std::lock_guard<std::mutex> lock(retry_);
            object = object_.load(std::memory_order_relaxed);
            if (object == nullptr) {
                object = make_();
                object_.store(object, std::memory_order_release);
            }
        }
        return *object;
    }

  private:
    Factory make_;
    std::atomic<T*> object_;
    std::mutex retry_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
