// An event shared by the processes of one machine under a name, with the manual- and auto-reset
// behaviour of Event. Its state is one byte of the file "/tmp/ka_kor_osdep_NamedEvent_<name>",
// which waiters poll every 50 ms, so a set is noticed within about 50 ms. The file is deleted
// when the last process stops using the event.
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

struct NamedEventEntry;

class NamedEvent {
  public:
    // Opens the event of name (converted to the locale's code set), creating its file when
    // absent. initialState is written only when no other process uses the event yet. Reset
    // behaviour belongs to each process: the first object of a name in this process decides it,
    // and the manualReset and initialState of its later objects are ignored. Names are told apart
    // as String compares them, without regard to letter case, a deliberate quirk: an object whose
    // name differs from an open one only in case shares that event and its file. Raises PosixError
    // when the file cannot be opened or locked, InvalidArgument2 for a name holding a null
    // character.
    NamedEvent(const String& name, bool manualReset, bool initialState);
    // The last object of the name in this process ends the process's use of the event.
    ~NamedEvent();
    NamedEvent(const NamedEvent&) = delete;
    NamedEvent& operator=(const NamedEvent&) = delete;

    // Each operation below serialises with every other user of the event, in this process and
    // in others. Reading the state raises OSException when the file is too short to hold it and
    // PosixError when the file cannot be locked.

    void set();
    void reset();
    // Whether the event is signalled; a signalled event is cleared by the check when this
    // process opened it auto-reset, so exactly one check on the machine sees each set.
    bool check();
    // Whether the event is signalled, never clearing it.
    bool checkOnly();
    // Clears the event when this process opened it auto-reset.
    void resetIfAuto();

    // Polls check() every 50 ms until it succeeds.
    void wait();
    // Polls check() every 50 ms for about ms milliseconds: true as soon as a check succeeds,
    // false once the whole time has been slept (wait(120) sleeps 50, 50 and 20 ms, then checks a
    // last time). wait(0) checks without sleeping; 0xFFFFFFFF waits for ever.
    bool wait(std::uint32_t ms);

  private:
    NamedEventEntry* entry_;  // shared by the objects of the name in this process
    String name_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
