// An environment variable set, or unset, for the length of a scope, then put back as it was.
// Header-only; compiled into the tests alone.
#pragma once

#include <optional>
#include <stdlib.h>
#include <string>

namespace zuv::platform::testing {

class ScopedEnvironment {
 public:
  /// Sets `name` to `value`, or unsets it when `value` is null.
  ScopedEnvironment(const char* name, const char* value) : m_name(name) {
    if (const char* previous = getenv(name)) m_previous = previous;
    Set(name, value);
  }
  ~ScopedEnvironment() { Set(m_name.c_str(), m_previous ? m_previous->c_str() : nullptr); }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  static void Set(const char* name, const char* value) {
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
  }

  std::string m_name;
  std::optional<std::string> m_previous;
};

}  // namespace zuv::platform::testing
