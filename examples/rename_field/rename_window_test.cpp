// Drives the example's window as a person would: clicks into the field of a file, types, presses
// Return or Tab, and checks what happened on disk and what the window says.
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

using zuv::platform::testing::ScratchFolder;
using zuv::platform::testing::WriteFile;
using zuv::testing::Tree;
using Disk = std::map<std::string, std::string>;

const Disk kStart = {{"a.jpg", "A"}, {"b.jpg", "B"}};

class RenameWindowTest : public ::testing::Test {
 protected:
  // Puts the two files back, opens the window on the folder and types `keys` over the text of
  // a.jpg's field.
  ZuvRenameTextField* OpenAndType(const QString& keys) {
    std::filesystem::remove_all(folder_.Path());
    std::filesystem::create_directory(folder_.Path());
    for (const auto& [name, contents] : kStart) WriteFile(folder_ / name, contents);
    std::filesystem::create_directory(folder_ / "sub");  // folders are not listed
    window_ = std::make_unique<RenameWindow>(QString::fromStdString(folder_.Path()));
    window_->show();
    window_->activateWindow();  // no window manager activates it under Xvfb
    EXPECT_TRUE(QTest::qWaitForWindowActive(window_.get()));
    QStringList names;
    ZuvRenameTextField* field = nullptr;
    for (auto* each : window_->findChildren<ZuvRenameTextField*>()) {
      names << each->data();
      if (each->originalData() == "a.jpg") field = each;
    }
    EXPECT_EQ(names, QStringList({"a.jpg", "b.jpg"}));
    if (field == nullptr) return nullptr;
    QTest::mouseClick(field, Qt::LeftButton);
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(field, Qt::Key_Backspace);
    QTest::keyClicks(field, keys);
    return field;
  }

  QString Mark(const ZuvRenameTextField* field) const {
    return field->parentWidget()->findChild<QLabel*>("mark")->text();
  }
  QString Status() const { return window_->findChild<QLabel*>("status")->text(); }

  ScratchFolder folder_;
  std::unique_ptr<RenameWindow> window_;
};

// Return on a.jpg's field after typing `keys`: what the folder holds, what the field shows, and
// the status line.
TEST_F(RenameWindowTest, ReturnRenamesWhenTheNameIsAccepted) {
  const QString tooLong(300, 'n');
  const struct {
    QString keys;
    Disk disk;
    QString shown;
    bool modified;
    QString status;  // contained in the status line
  } cases[] = {
      {"c.jpg", {{"b.jpg", "B"}, {"c.jpg", "A"}}, "c.jpg", false, "Renamed a.jpg"},
      {"x/y.jpg", {{"b.jpg", "B"}, {"xy.jpg", "A"}}, "xy.jpg", false, "Renamed a.jpg to xy.jpg"},
      {"b.jpg", kStart, "b.jpg", true, "b.jpg is taken."},
      {"", kStart, "", true, "A name is needed."},
      {"a.jpg", kStart, "a.jpg", false, "Type a new name"},
      {tooLong, kStart, tooLong, true, "a.jpg was not renamed: " + ReasonFor(kZuvErrNameTooLong)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.keys.left(20).toStdString());
    ZuvRenameTextField* field = OpenAndType(c.keys);
    ASSERT_NE(field, nullptr);
    QTest::keyClick(field, Qt::Key_Return);
    Disk disk = Tree(folder_.Path());
    disk.erase("sub");
    EXPECT_EQ(disk, c.disk);
    EXPECT_EQ(field->data(), c.shown);
    EXPECT_EQ(field->isModified(), c.modified);
    EXPECT_EQ(Mark(field), c.modified ? "*" : "");
    EXPECT_TRUE(Status().contains(c.status)) << Status().toStdString();
  }
}

TEST_F(RenameWindowTest, LeavingTheFieldRenamesNothing) {
  ZuvRenameTextField* field = OpenAndType("c.jpg");
  ASSERT_NE(field, nullptr);
  EXPECT_EQ(Mark(field), "*");
  QTest::keyClick(field, Qt::Key_Tab);
  EXPECT_FALSE(field->hasFocus());
  EXPECT_EQ(Tree(folder_.Path()), (Disk{{"a.jpg", "A"}, {"b.jpg", "B"}, {"sub", "<folder>"}}));
  EXPECT_EQ(field->data(), "c.jpg");
  EXPECT_EQ(Mark(field), "*");
}

}  // namespace
