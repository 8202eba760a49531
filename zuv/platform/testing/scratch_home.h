// The home of a test executable whose main (scratch_home_main.cpp) points HOME and XDG_DATA_HOME
// into a scratch folder of its own before anything reads them, and the home trash found there.
// Header-only; compiled into the tests alone.
#pragma once

#include <cstdlib>
#include <string>

namespace zuv::platform::testing {

/// The user's data folder, $XDG_DATA_HOME, inside the scratch home.
inline std::string DataHome() {
  const char* data = std::getenv("XDG_DATA_HOME");
  return data != nullptr ? data : "";
}

/// The home trash in the scratch home: files/ holds the items, info/ a NAME.trashinfo for each.
inline std::string HomeTrash() { return DataHome() + "/Trash"; }

}  // namespace zuv::platform::testing
