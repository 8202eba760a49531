// One QApplication, offscreen unless QT_QPA_PLATFORM names another platform (xcb under xvfb-run).
// Exits with 77, which CTest counts as skipped, when that platform's plugin is not installed.
#include <QApplication>
#include <QFileInfo>
#include <QLibraryInfo>
#include <cstdio>

#include <gtest/gtest.h>

// What the D-Bus library under Qt's X11 platform keeps for the life of the process is no leak.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const QString plugin = QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms/libq" +
                         qEnvironmentVariable("QT_QPA_PLATFORM").section(':', 0, 0) + ".so";
  if (!QFileInfo::exists(plugin)) {
    std::printf("skipped: the Qt platform plugin %s is not installed\n", qPrintable(plugin));
    return 77;
  }
  QApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
