// The home of a test executable whose main (scratch_home_main.cpp) points HOME and XDG_DATA_HOME
// into a scratch folder of its own before anything reads them. Header-only; used by the tests
// alone.
#pragma once

#include <cstdlib>
#include <string>

namespace zuv::platform::testing {

/// The home trash in $XDG_DATA_HOME: files/ holds the items, info/ a NAME.trashinfo for each.
inline std::string HomeTrash() {
  const char* data = std::getenv("XDG_DATA_HOME");
  return std::string(data != nullptr ? data : "") + "/Trash";
}

}  // namespace zuv::platform::testing
