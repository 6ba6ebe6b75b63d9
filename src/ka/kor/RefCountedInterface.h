// The two operations of an intrusively reference-counted interface. Derived interfaces add their
// own operations after these two and declare their virtual destructor last, so the table of an
// interface starts with addRef and release whatever else it offers.
#pragma once

namespace ka {
namespace kor {

// T is the interface that derives from this base; the parameter only keeps the bases of
// different interfaces distinct.
template <class T>
class RefCountedInterface {
  public:
    // Takes one more reference.
    virtual void addRef() noexcept = 0;
    // Gives one reference back; the object destroys itself when the last one goes.
    virtual void release() noexcept = 0;

  protected:
    // Objects are destroyed by release(), never through a pointer to this base.
    ~RefCountedInterface() = default;
};

}  // namespace kor
}  // namespace ka
