#include "zuv/ui/rename_text_field.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QValidator>

ZuvRenameTextField::ZuvRenameTextField(QWidget* parent) : QLineEdit(parent) {
  // textEdited reports every change the user makes and none that code makes.
  connect(this, &QLineEdit::textEdited, this, [this] { textDidChange(); });
}

void ZuvRenameTextField::setStringValue(const QString& text) {
  setText(text);
  m_isModified = true;
}

void ZuvRenameTextField::setOriginalData(const QString& original) {
  m_originalString = original;
  setStringValue(original);
  m_isModified = false;
}

QString ZuvRenameTextField::originalData() const { return m_originalString; }

QString ZuvRenameTextField::data() const { return text(); }

void ZuvRenameTextField::setModified(bool modified) { m_isModified = modified; }

bool ZuvRenameTextField::isModified() const {
  if (!m_isModified) return false;
  if (m_originalString.isNull()) return true;
  return m_originalString != data();
}

void ZuvRenameTextField::resetModifyStatus() { m_isModified = false; }

void ZuvRenameTextField::textDidBeginEditing() { m_editingString = text(); }

void ZuvRenameTextField::textDidChange() {
  m_editingString = text();
  m_isModified = true;
}

void ZuvRenameTextField::textShouldEndEditing() {
  // The validator sees the whole text, the cursor at its end; it may rewrite its copy, which is not
  // used. Only Acceptable is valid.
  QString candidate = text();
  int position = static_cast<int>(candidate.size());
  const QValidator* formatter = validator();
  if (formatter != nullptr && formatter->validate(candidate, position) == QValidator::Acceptable) {
    return;
  }
  if (m_editingString.isNull()) return;
  setText(m_editingString);  // not setStringValue: putting back is no change
  if (m_originalString == m_editingString) setModified(false);
}

// A context menu taking the focus, or another window being activated, does not end the edit: it
// goes on when the menu closes or the window comes back.
void ZuvRenameTextField::focusInEvent(QFocusEvent* event) {
  if (!m_editing && event->reason() != Qt::PopupFocusReason) {
    m_editing = true;
    textDidBeginEditing();
  }
  QLineEdit::focusInEvent(event);
}

void ZuvRenameTextField::focusOutEvent(QFocusEvent* event) {
  // QLineEdit reports editingFinished only for text its validator accepts, so the end of an edit is
  // taken from the focus and the keys themselves, before QLineEdit handles them.
  const Qt::FocusReason reason = event->reason();
  if (reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason) {
    m_editing = false;
    textShouldEndEditing();
  }
  QLineEdit::focusOutEvent(event);
}

void ZuvRenameTextField::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) textShouldEndEditing();
  QLineEdit::keyPressEvent(event);
}
