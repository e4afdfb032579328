// How long this thread has had the interpreter lock, and offering it to the others when that is
// long enough.
#pragma once

namespace python {

// A turn lasts about as long as Python code may keep the lock: the interpreter's switch interval
// and a little more. It is counted per thread from the moment when our code was entered or took the
// lock back, across engine calls and the making of objects.
class LockTurn {
 public:
  // Stands at every entry from Python that may work for long; the outermost one begins a turn.
  class Entry {
   public:
    Entry() noexcept;
    ~Entry();
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;
  };

  // Called after this thread let the lock go and took it back.
  static void begin_again() noexcept;

  // True when the turn is over. Needs no lock.
  static bool used_up() noexcept;

  // Lets other threads run if the turn is over, and looks at pending signals after each turn;
  // throws what a signal's handler raised. Any Python code may have run when it returns, so call it
  // with complete state in hand.
  static void offer();

  // Offers the lock every so many steps of work that takes a fraction of a look at the clock each.
  template <unsigned StepsPerOffer>
  class Pace {
   public:
    void step() {
      if (++steps_ % StepsPerOffer == 0) offer();
    }

   private:
    unsigned steps_ = 0;
  };

  // Names the function that tells the interpreter's switch interval; called once, at import.
  static void read_interval_from_sys();

 private:
  static void begin() noexcept;
};

}  // namespace python
