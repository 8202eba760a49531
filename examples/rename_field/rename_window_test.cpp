// Drives the example's window as a person would: clicks into the field of a file, types, presses
// Return or Tab, and checks what happened on disk and what the window says.
#include "rename_window.h"

#include <QLabel>
#include <QScrollArea>
#include <QTest>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"
#include "zuv/ui/rename_text_field.h"

namespace {

using zuv::platform::testing::ScratchFolder;
using zuv::platform::testing::WriteFile;
using zuv::testing::Tree;

class RenameWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(folder_.Path().empty());
    WriteFile(folder_ / "a.jpg", "A");
    WriteFile(folder_ / "b.jpg", "B");
  }

  void Open() {
    window_ = std::make_unique<RenameWindow>(QString::fromStdString(folder_.Path()));
    window_->show();
    window_->activateWindow();  // no window manager activates it under Xvfb
    ASSERT_TRUE(QTest::qWaitForWindowActive(window_.get()));
  }

  ZuvRenameTextField* FieldOf(const QString& original) const {
    for (auto* field : window_->findChildren<ZuvRenameTextField*>()) {
      if (field->originalData() == original) return field;
    }
    return nullptr;
  }

  // Clicks into the field of `original`, selects its text, deletes it and types `keys`.
  ZuvRenameTextField* TypeInto(const QString& original, const QString& keys) {
    ZuvRenameTextField* field = FieldOf(original);
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

TEST_F(RenameWindowTest, ListsTheFilesOnly) {
  std::filesystem::create_directory(folder_ / "sub");
  Open();
  QStringList names;
  for (auto* field : window_->findChildren<ZuvRenameTextField*>()) names << field->data();
  names.sort();
  EXPECT_EQ(names, QStringList({"a.jpg", "b.jpg"}));
}

// Return on a.jpg's field after typing `keys`: what the folder holds, what the field shows, and
// the status line.
TEST_F(RenameWindowTest, ReturnRenamesWhenTheNameIsAccepted) {
  const std::string tooLong(300, 'n');
  struct Case {
    const char* name;
    QString keys;
    std::map<std::string, std::string> disk;
    QString shown;
    bool modified;
    QString status;  // contained in the status line
  };
  const std::vector<Case> cases = {
      {"new name", "c.jpg", {{"b.jpg", "B"}, {"c.jpg", "A"}}, "c.jpg", false, "Renamed a.jpg"},
      {"slash cannot be typed",
       "x/y.jpg",
       {{"b.jpg", "B"}, {"xy.jpg", "A"}},
       "xy.jpg",
       false,
       "Renamed a.jpg to xy.jpg"},
      {"taken name", "b.jpg", {{"a.jpg", "A"}, {"b.jpg", "B"}}, "b.jpg", true, "b.jpg is taken."},
      {"empty name", "", {{"a.jpg", "A"}, {"b.jpg", "B"}}, "", true, "A name is needed."},
      {"unchanged name",
       "a.jpg",
       {{"a.jpg", "A"}, {"b.jpg", "B"}},
       "a.jpg",
       false,
       "Type a new name"},
      {"name too long for the file system",
       QString::fromStdString(tooLong),
       {{"a.jpg", "A"}, {"b.jpg", "B"}},
       QString::fromStdString(tooLong),
       true,
       "a.jpg was not renamed: " + ReasonFor(kZuvErrNameTooLong)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Open();
    ZuvRenameTextField* field = TypeInto("a.jpg", c.keys);
    ASSERT_NE(field, nullptr);
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(Tree(folder_.Path()), c.disk);
    EXPECT_EQ(field->data(), c.shown);
    EXPECT_EQ(field->isModified(), c.modified);
    EXPECT_EQ(Mark(field), c.modified ? "*" : "");
    EXPECT_TRUE(Status().contains(c.status)) << Status().toStdString();
    // Back to the two files for the next case.
    for (const auto& [name, contents] : c.disk) std::filesystem::remove(folder_ / name);
    WriteFile(folder_ / "a.jpg", "A");
    WriteFile(folder_ / "b.jpg", "B");
  }
}

TEST_F(RenameWindowTest, LeavingTheFieldRenamesNothing) {
  Open();
  ZuvRenameTextField* field = TypeInto("a.jpg", "c.jpg");
  ASSERT_NE(field, nullptr);
  EXPECT_EQ(Mark(field), "*");
  QTest::keyClick(field, Qt::Key_Tab);
  EXPECT_FALSE(field->hasFocus());
  EXPECT_EQ(Tree(folder_.Path()),
            (std::map<std::string, std::string>{{"a.jpg", "A"}, {"b.jpg", "B"}}));
  EXPECT_EQ(field->data(), "c.jpg");
  EXPECT_EQ(Mark(field), "*");
}

}  // namespace
