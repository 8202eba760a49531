// Uses the installed rename field: gives it an original name, sets another from code and puts the
// original back, checking the modified flag on the way. Runs on any Qt platform, offscreen too.
#include <QApplication>
#include <cstdio>
#include <zuv/ui/rename_text_field.h>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  ZuvRenameTextField field;
  field.setOriginalData("IMG_0001.JPG");
  const bool fresh = !field.isModified();
  field.setStringValue("Harbour.JPG");
  const bool changed = field.isModified();
  field.setStringValue("IMG_0001.JPG");
  const bool back = !field.isModified();
  std::printf("%s: fresh %d, changed %d, back %d\n", qPrintable(field.data()), fresh, changed,
              back);
  return fresh && changed && back ? 0 : 1;
}
