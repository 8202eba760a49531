// The system time zone (a tz database name, or "UTC") set through TZ for a scope. Only TZ is set:
// the library must see the change by itself, as it reads the zone at each call.
#pragma once

#include <filesystem>
#include <optional>
#include <stdlib.h>
#include <time.h>

#include "zuv/platform/testing/scoped_environment.h"

namespace zuv::platform::testing {

class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* zone) { m_tz.emplace("TZ", zone); }
  ~ScopedTimeZone() {
    m_tz.reset();
    tzset();  // leaves the C library's own state as it was found
  }

  /// Whether the zone's rules are installed: the C library quietly takes an unknown zone for UTC.
  static bool IsInstalled(const char* zone) {
    const char* folder = getenv("TZDIR");
    return std::filesystem::exists(std::filesystem::path(folder ? folder : "/usr/share/zoneinfo") /
                                   zone);
  }

 private:
  std::optional<ScopedEnvironment> m_tz;
};

}  // namespace zuv::platform::testing
