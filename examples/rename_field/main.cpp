// Lists the files of a folder, each in a rename field: type a new name and press Return to rename
// the file on disk. Usage: rename_field FOLDER
#include <QApplication>
#include <QFileInfo>
#include <cstdio>

#include "rename_window.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const QStringList arguments = application.arguments();
  if (arguments.size() != 2 || !QFileInfo(arguments[1]).isDir()) {
    std::fprintf(stderr, "usage: rename_field FOLDER\n");
    return 2;
  }
  RenameWindow window(QFileInfo(arguments[1]).absoluteFilePath());
  window.show();
  return application.exec();
}
