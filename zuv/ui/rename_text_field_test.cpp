#include "zuv/ui/rename_text_field.h"

#include <QLineEdit>
#include <QTest>
#include <QVBoxLayout>
#include <QValidator>
#include <QWidget>
#include <memory>

#include <gtest/gtest.h>

namespace {

// Finds every text Acceptable except those listed, which can be typed but not kept.
struct Refusing : QValidator {
  explicit Refusing(QStringList list) : refused(std::move(list)) {}
  State validate(QString& input, int&) const override {
    return refused.contains(input) ? Intermediate : Acceptable;
  }
  QStringList refused;
};

struct RenameTextFieldTest : ::testing::Test {
  void SetUp() override {
    auto* layout = new QVBoxLayout(&window_);
    layout->addWidget(field_ = new ZuvRenameTextField(&window_));
    layout->addWidget(next_ = new QLineEdit(&window_));
    Activate(window_);
  }
  static void Activate(QWidget& window) {
    window.show();
    window.activateWindow();  // no window manager activates it under Xvfb
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
  }
  void TypeOver(const QString& text) {
    field_->setOriginalData("a.jpg");
    QTest::mouseClick(field_, Qt::LeftButton);
    ASSERT_TRUE(field_->hasFocus());
    QTest::keyClick(field_, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(field_, Qt::Key_Backspace);
    QTest::keyClicks(field_, text);
  }

  QWidget window_;
  ZuvRenameTextField* field_ = nullptr;
  QLineEdit* next_ = nullptr;
};

// A text set by the program that the validator refuses (no validator: any) gives way at the end.
TEST_F(RenameTextFieldTest, EndOfEditPutsBackTheLastTypedTextWhenRefused) {
  const auto refuseBad = std::make_shared<Refusing>(QStringList{"bad", ""});
  const struct {
    std::shared_ptr<QValidator> validator;  // null: none
    QString typed, fromCode, shown;         // fromCode null: the program sets nothing
    bool modified;
  } cases[] = {
      {std::make_shared<Refusing>(QStringList{}), "b.jpg", "bad", "bad", true},
      {refuseBad, "b.jpg", "bad", "b.jpg", true},
      {nullptr, "b.jpg", "bad", "b.jpg", true},
      {refuseBad, "a.jpg", "bad", "a.jpg", false},
      {refuseBad, "", QString(), "", true},  // the last typed text is the refused one: it stays
  };
  for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Tab}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(QString("%1, %2, key %3").arg(c.typed, c.fromCode).arg(key).toStdString());
      field_->setValidator(c.validator.get());
      TypeOver(c.typed);
      EXPECT_EQ(field_->property("modified").toBool(), c.typed != "a.jpg");
      if (!c.fromCode.isNull()) field_->setStringValue(c.fromCode);
      QTest::keyClick(field_, key);
      EXPECT_EQ(field_->hasFocus(), key == Qt::Key_Return);
      EXPECT_EQ(field_->data(), c.shown);
      EXPECT_EQ(field_->isModified(), c.modified);
      next_->setFocus();
    }
  }
}

TEST_F(RenameTextFieldTest, ModifiedFlagFromCodeAndAnotherWindowDoesNotEndTheEdit) {
  EXPECT_TRUE(field_->originalData().isNull());
  field_->setStringValue("x.jpg");
  EXPECT_TRUE(field_->isModified());  // no original to compare with
  field_->resetModifyStatus();
  EXPECT_FALSE(field_->isModified());
  field_->setOriginalData("a.jpg");
  field_->setModified(true);
  EXPECT_FALSE(field_->isModified());
  field_->setProperty("modified", true);
  field_->setText("c");
  EXPECT_TRUE(field_->isModified());
  Refusing refuseBad({"bad"});
  field_->setValidator(&refuseBad);
  TypeOver("b.jpg");
  field_->setStringValue("bad");
  QWidget other;
  Activate(other);
  EXPECT_EQ(field_->data(), "bad");
  Activate(window_);
  ASSERT_TRUE(field_->hasFocus());
  QTest::keyClick(field_, Qt::Key_Return);
  EXPECT_EQ(field_->data(), "b.jpg");
}

}  // namespace
