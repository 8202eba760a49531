// ZuvRenameTextField, a one-line Qt 6 text field for typing a new name of a file in place. It
// remembers the name it was given (the original), the text of the edit under way, and whether the
// name was changed; at the end of an edit, a text that its validator does not accept is replaced by
// the last text typed. It touches no file: the caller reads data() and does the rename.
#pragma once

#include <QLineEdit>
#include <QString>

#include "zuv/export.h"

class QFocusEvent;
class QKeyEvent;

/// A QLineEdit for in-place renaming. Main (GUI) thread only, as every widget.
///
/// Its validator decides at the end of an edit, which is Return or Enter, or the field losing the
/// focus to another widget: a text it finds anything but Acceptable, or any text when the field has
/// no validator, is put back to the text of the last begin or change of the edit, without raising
/// the modified flag. Ending an edit is never refused.
class ZUV_EXPORT ZuvRenameTextField : public QLineEdit {
  Q_OBJECT
  /// Shadows QLineEdit's own property, so that it reads and writes the flag of this class.
  Q_PROPERTY(bool modified READ isModified WRITE setModified)

 public:
  /// An empty field, not modified, with neither an original nor an edit under way.
  explicit ZuvRenameTextField(QWidget* parent = nullptr);

  /// Shows `text` and raises the modified flag: text set from code counts as a change.
  void setStringValue(const QString& text);
  /// Keeps `original` as the original name, shows it and lowers the modified flag.
  void setOriginalData(const QString& original);
  /// The original name; a null QString until setOriginalData.
  QString originalData() const;
  /// The text the field shows now.
  QString data() const;

  // These hide QLineEdit::setModified and QLineEdit::isModified on purpose: the field keeps its
  // own flag, which text set from code raises too.
  /// Sets the modified flag.
  void setModified(bool modified);
  /// False when the flag is down; otherwise true when there is no original, else whether the text
  /// differs from it. Typing a name and then the original again reads as not modified.
  bool isModified() const;
  /// Lowers the modified flag.
  void resetModifyStatus();

 protected:
  /// An edit begins: remembers the current text.
  virtual void textDidBeginEditing();
  /// The user changed the text: remembers it and raises the modified flag.
  virtual void textDidChange();
  /// An edit ends: puts back the remembered text when the validator refuses the current one.
  virtual void textShouldEndEditing();

  /// Focus coming in begins an edit, unless one is under way.
  void focusInEvent(QFocusEvent* event) override;
  /// Focus going to another widget of the window ends the edit; a popup or another window does not.
  void focusOutEvent(QFocusEvent* event) override;
  /// Return or Enter ends the edit, whatever the validator says of the text.
  void keyPressEvent(QKeyEvent* event) override;

 private:
  QString m_originalString;  // null until setOriginalData
  QString m_editingString;   // null until the first edit begins
  bool m_isModified = false;
  bool m_editing = false;  // from the focus coming in until it goes to another widget
};
