// The one mechanism by which a test replaces a platform answer. Each platform question that a
// branch of the library depends on is an interface (file system, machine facts, trash...) with one
// real answer for this system. The library asks Replaceable<Interface>::Current(); a test puts a
// fake, or a wrapper around Real() that counts or fails calls, in its place for the length of a
// scope (zuv/platform/testing/scoped_replacement.h).
#pragma once

#include <atomic>

namespace zuv::platform {

template <class Interface>
class Replaceable {
 public:
  /// The answer in use now: the installed replacement, else the real one.
  static Interface& Current() {
    Interface* installed = s_installed.load(std::memory_order_acquire);
    return installed != nullptr ? *installed : Real();
  }
  /// The system's own answer, for a wrapper to forward to. Each interface's header declares the
  /// specialisation, and the platform answer defines it.
  static Interface& Real();
  /// Puts `replacement` in use (null: the real one) and returns what it replaces. Install before
  /// and restore after the threads that ask.
  static Interface* Install(Interface* replacement) {
    return s_installed.exchange(replacement, std::memory_order_acq_rel);
  }

 private:
  static inline std::atomic<Interface*> s_installed{nullptr};
};

}  // namespace zuv::platform
