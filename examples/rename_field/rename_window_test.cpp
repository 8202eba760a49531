// Drives the example's window as a person would and checks the disk and what the window says.
#include "rename_window.h"

#include <QLabel>
#include <QTest>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"
#include "zuv/ui/rename_text_field.h"

namespace {

using zuv::platform::testing::WriteFile;
using Disk = std::map<std::string, std::string>;
const Disk kStart = {{"a.jpg", "A"}, {"b.jpg", "B"}};

TEST(RenameWindowTest, ReturnRenamesWhenTheNameIsAcceptedAndTabLeavesIt) {
  const QString tooLong(300, 'n');
  const struct {
    QString keys;
    Qt::Key key;
    Disk disk;
    QString shown;
    bool modified;
    QString status;  // contained in the status line
  } cases[] = {
      {"c.jpg", Qt::Key_Return, {{"b.jpg", "B"}, {"c.jpg", "A"}}, "c.jpg", false, "Renamed a.jpg"},
      {"x/y.jpg", Qt::Key_Return, {{"b.jpg", "B"}, {"xy.jpg", "A"}}, "xy.jpg", false, "to xy.jpg"},
      {"b.jpg", Qt::Key_Return, kStart, "b.jpg", true, "b.jpg is taken."},
      {"", Qt::Key_Return, kStart, "", true, "A name is needed."},
      {"a.jpg", Qt::Key_Return, kStart, "a.jpg", false, "Type a new name"},
      {tooLong, Qt::Key_Return, kStart, tooLong, true,
       "a.jpg was not renamed: " + ReasonFor(kZuvErrNameTooLong)},
      {"c.jpg", Qt::Key_Tab, kStart, "c.jpg", true, "Type a new name"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.keys.left(20).toStdString());
    const zuv::platform::testing::ScratchFolder folder;
    for (const auto& [name, contents] : kStart) WriteFile(folder / name, contents);
    std::filesystem::create_directory(folder / "sub");  // folders are not listed
    RenameWindow window(QString::fromStdString(folder.Path()));
    window.show();
    window.activateWindow();  // no window manager activates it under Xvfb
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    const auto fields = window.findChildren<ZuvRenameTextField*>();
    ASSERT_EQ(fields.size(), 2);
    ASSERT_EQ(QStringList({fields[0]->data(), fields[1]->data()}), QStringList({"a.jpg", "b.jpg"}));
    ZuvRenameTextField* const field = fields[0];
    QTest::mouseClick(field, Qt::LeftButton);
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(field, Qt::Key_Backspace);
    QTest::keyClicks(field, c.keys);
    QTest::keyClick(field, c.key);
    Disk disk = zuv::testing::Tree(folder.Path());
    EXPECT_EQ(disk["sub"], "<folder>");
    disk.erase("sub");
    EXPECT_EQ(disk, c.disk);
    EXPECT_EQ(field->data(), c.shown);
    EXPECT_EQ(field->isModified(), c.modified);
    EXPECT_EQ(field->parentWidget()->findChild<QLabel*>("mark")->text(), c.modified ? "*" : "");
    const QString status = window.findChild<QLabel*>("status")->text();
    EXPECT_TRUE(status.contains(c.status)) << status.toStdString();
  }
}

}  // namespace
