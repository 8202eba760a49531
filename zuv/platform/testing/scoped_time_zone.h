// ScopedTimeZone: the system time zone set through TZ for the length of a scope, then restored, so
// that a test can run the local-time code under a real zone of the tz database.
#pragma once

#include <filesystem>
#include <optional>
#include <stdlib.h>
#include <string>
#include <time.h>

namespace zuv::platform::testing {

class ScopedTimeZone {
 public:
  /// `zone` is a tz database name ("America/New_York") or "UTC". Only TZ is set: the library
  /// must see the change by itself, as it reads the zone at each call.
  explicit ScopedTimeZone(const char* zone) {
    if (const char* previous = getenv("TZ")) m_previous = previous;
    setenv("TZ", zone, 1);
  }
  ~ScopedTimeZone() {
    m_previous ? setenv("TZ", m_previous->c_str(), 1) : unsetenv("TZ");
    tzset();  // leaves the C library's own state as it was found
  }
  ScopedTimeZone(const ScopedTimeZone&) = delete;
  ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

  /// Whether the zone's rules are installed. The C library quietly takes an unknown zone for UTC,
  /// so a test of a zone's rules checks this first.
  static bool IsInstalled(const char* zone) {
    const char* folder = getenv("TZDIR");
    return std::filesystem::exists(std::filesystem::path(folder ? folder : "/usr/share/zoneinfo") /
                                   zone);
  }

 private:
  std::optional<std::string> m_previous;
};

}  // namespace zuv::platform::testing
