// The main of tests that must not touch the user's own home (the trash tests): HOME and
// XDG_DATA_HOME point into a scratch folder of this process, set before any test runs, as GIO
// reads them once and keeps them. Each process has its own, so tests may run side by side.
#include <cstdlib>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scratch.h"

int main(int argc, char** argv) {
  zuv::platform::testing::ScratchFolder home;
  if (home.Path().empty()) return 1;
  setenv("HOME", home.Path().c_str(), 1);
  setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
