#include "zuv/ui/rename_text_field.h"

#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QTest>
#include <QVBoxLayout>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

namespace {

enum class Ending { kReturn, kFocusOut };

// A shown, active window holding the field and a second widget that the focus can move to.
class RenameTextFieldTest : public ::testing::TestWithParam<Ending> {
 protected:
  void SetUp() override {
    auto* layout = new QVBoxLayout(&window_);
    field_ = new ZuvRenameTextField(&window_);
    next_ = new QLineEdit(&window_);
    layout->addWidget(field_);
    layout->addWidget(next_);
    window_.show();
    window_.activateWindow();  // no window manager activates it under Xvfb
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window_));
  }

  // Clicks into the field, which begins an edit.
  void ClickIn() {
    QTest::mouseClick(field_, Qt::LeftButton);
    ASSERT_TRUE(field_->hasFocus());
  }
  // Selects the whole text, deletes it and types `text`.
  void TypeOver(const QString& text) {
    QTest::keyClick(field_, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(field_, Qt::Key_Backspace);
    QTest::keyClicks(field_, text);
  }
  // Return, or Tab to the next widget; either way the field must end up out of the edit cleanly.
  void End(Ending how) {
    if (how == Ending::kReturn) {
      QTest::keyClick(field_, Qt::Key_Return);
    } else {
      QTest::keyClick(field_, Qt::Key_Tab);
      EXPECT_TRUE(next_->hasFocus());
    }
  }

  QWidget window_;
  ZuvRenameTextField* field_ = nullptr;
  QLineEdit* next_ = nullptr;
};

// A validator that finds every text Acceptable except those listed, which are Intermediate: they
// can be typed but not kept.
class Refusing : public QValidator {
 public:
  explicit Refusing(QStringList refused) : refused_(std::move(refused)) {}
  State validate(QString& input, int&) const override {
    return refused_.contains(input) ? Intermediate : Acceptable;
  }

 private:
  QStringList refused_;
};

// Typing marks the field modified unless the text is the original again. The program changes the
// text during an edit and the user ends it: a text the validator does not accept gives way to the
// last typed text. A field without validator accepts nothing.
TEST_P(RenameTextFieldTest, EndOfEditPutsBackTheLastTypedTextWhenRefused) {
  struct Case {
    const char* name;
    std::shared_ptr<QValidator> validator;  // null: none
    QString typed;
    QString fromCode;  // null: the program sets nothing
    QString shown;
    bool modified;
  };
  const auto refuseBad = std::make_shared<Refusing>(QStringList{"bad", ""});
  const std::vector<Case> cases = {
      {"accepted text stays", std::make_shared<Refusing>(QStringList{}), "b.jpg", "bad", "bad",
       true},
      {"refused text gives way", refuseBad, "b.jpg", "bad", "b.jpg", true},
      {"no validator refuses all", nullptr, "b.jpg", "bad", "b.jpg", true},
      {"back to the original", refuseBad, "a.jpg", "bad", "a.jpg", false},
      // The last typed text is the refused one itself: it stays.
      {"typed refused text stays", refuseBad, "", QString(), "", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    field_->setValidator(c.validator.get());
    field_->setOriginalData("a.jpg");
    ClickIn();
    TypeOver(c.typed);
    EXPECT_EQ(field_->property("modified").toBool(), c.typed != "a.jpg");
    if (!c.fromCode.isNull()) field_->setStringValue(c.fromCode);
    End(GetParam());
    EXPECT_EQ(field_->data(), c.shown);
    EXPECT_EQ(field_->isModified(), c.modified);
    next_->setFocus();
  }
}

INSTANTIATE_TEST_SUITE_P(Endings, RenameTextFieldTest,
                         ::testing::Values(Ending::kReturn, Ending::kFocusOut),
                         [](const ::testing::TestParamInfo<Ending>& param) {
                           return param.param == Ending::kReturn ? "Return" : "FocusOut";
                         });

// The modified flag through the calls of the program, one step after the other.
TEST(RenameTextField, ModifiedFlagFromCode) {
  ZuvRenameTextField field;
  EXPECT_TRUE(field.originalData().isNull());
  struct Step {
    const char* name;
    std::function<void()> act;
    bool modified;
  };
  const std::vector<Step> steps = {
      {"new field", [] {}, false},
      {"text without original", [&] { field.setStringValue("x.jpg"); }, true},
      {"reset", [&] { field.resetModifyStatus(); }, false},
      {"raised", [&] { field.setModified(true); }, true},
      {"lowered", [&] { field.setModified(false); }, false},
      {"original given", [&] { field.setOriginalData("a.jpg"); }, false},
      {"raised on the original", [&] { field.setModified(true); }, false},
      {"other text", [&] { field.setStringValue("b.jpg"); }, true},
      {"the original as text", [&] { field.setStringValue("a.jpg"); }, false},
      {"through the property",
       [&] {
         field.setProperty("modified", true);
         field.setText("c");
       },
       true},
  };
  for (const Step& step : steps) {
    step.act();
    EXPECT_EQ(field.isModified(), step.modified) << step.name;
  }
}

// Another window taking the focus does not end the edit: the refused text stays until the user
// comes back and ends it.
TEST_F(RenameTextFieldTest, AnotherWindowDoesNotEndTheEdit) {
  Refusing refuseBad({"bad"});
  field_->setValidator(&refuseBad);
  field_->setOriginalData("a.jpg");
  ClickIn();
  TypeOver("b.jpg");
  field_->setStringValue("bad");

  QWidget other;
  other.show();
  other.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
  EXPECT_EQ(field_->data(), "bad");

  window_.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window_));
  ASSERT_TRUE(field_->hasFocus());
  End(Ending::kReturn);
  EXPECT_EQ(field_->data(), "b.jpg");
}

}  // namespace
