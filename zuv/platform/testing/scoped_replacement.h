// Puts a replacement for a platform answer in use for the length of a scope. Header-only; compiled
// into the tests alone.
#pragma once

#include "zuv/platform/replaceable.h"

namespace zuv::platform::testing {

/// Installs `replacement` for Interface until the end of the scope, then brings back what was in
/// use before.
template <class Interface>
class ScopedReplacement {
 public:
  explicit ScopedReplacement(Interface* replacement)
      : m_previous(Replaceable<Interface>::Install(replacement)) {}
  ~ScopedReplacement() { Replaceable<Interface>::Install(m_previous); }
  ScopedReplacement(const ScopedReplacement&) = delete;
  ScopedReplacement& operator=(const ScopedReplacement&) = delete;

 private:
  Interface* m_previous;
};

}  // namespace zuv::platform::testing
