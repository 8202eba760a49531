#include "rename_window.h"

#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>
#include <QValidator>

#include "zuv/files/file_ops.h"
#include "zuv/paths/file_path.h"
#include "zuv/ui/rename_text_field.h"

namespace {

CZuvStringData Text(const QString& text) {
  return CZuvStringData(ZuvCharUtf8(text.toUtf8().constData()));
}

/// Accepts a name that can be given to the field's file in its folder. A "/" cannot even be typed;
/// an empty name, or one that another item of the folder has, can be typed on the way to another
/// but not kept.
class FileNameValidator : public QValidator {
 public:
  FileNameValidator(const QString& folder, ZuvRenameTextField* field)
      : QValidator(field), m_folder(folder), m_field(field) {}

  State validate(QString& input, int&) const override {
    if (input.contains('/')) return Invalid;
    return Refusal(input).isEmpty() ? Acceptable : Intermediate;
  }

  /// Why `name` cannot be kept, or empty when it can.
  QString Refusal(const QString& name) const {
    if (name.isEmpty()) return "A name is needed.";
    if (name == m_field->originalData()) return "";
    CZuvFilePath taken;
    const CZuvStringData path = Text(m_folder + '/' + name);
    return ZuvIsSuccess(taken.Initialize(&path)) ? QString("%1 is taken.").arg(name) : "";
  }

 private:
  QString m_folder;
  ZuvRenameTextField* m_field;
};

constexpr char kHint[] = "Type a new name and press Return.";

}  // namespace

QString ReasonFor(ZuvResult result) {
  const char* name = ZuvResultName(result);
  return QString("%1 (%2 %3)")
      .arg(ZuvResultReason(result), name != nullptr ? name : "unknown code")
      .arg(result);
}

RenameWindow::RenameWindow(const QString& folder, QWidget* parent)
    : QWidget(parent), m_folder(folder), m_status(new QLabel(this)) {
  setWindowTitle(QString("Rename files in %1").arg(folder));
  auto* rows = new QWidget;
  auto* rowLayout = new QVBoxLayout(rows);
  for (const QString& name : QDir(folder).entryList(QDir::Files, QDir::Name)) {
    rowLayout->addWidget(AddRow(name));
  }
  rowLayout->addStretch();
  auto* scroll = new QScrollArea;
  scroll->setWidget(rows);
  scroll->setWidgetResizable(true);

  m_status->setObjectName("status");
  m_status->setText(kHint);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(new QLabel(folder));
  layout->addWidget(scroll);
  layout->addWidget(m_status);
  resize(480, 360);
}

QWidget* RenameWindow::AddRow(const QString& name) {
  auto* row = new QWidget;
  auto* mark = new QLabel;
  mark->setObjectName("mark");
  mark->setFixedWidth(mark->fontMetrics().horizontalAdvance("M"));
  auto* field = new ZuvRenameTextField;
  auto* validator = new FileNameValidator(m_folder, field);
  field->setValidator(validator);
  field->setOriginalData(name);
  const auto showMark = [mark, field] { mark->setText(field->isModified() ? "*" : ""); };
  connect(field, &QLineEdit::textChanged, mark, showMark);
  connect(field, &QLineEdit::textEdited, m_status, [this, validator](const QString& text) {
    const QString refusal = validator->Refusal(text);
    m_status->setText(refusal.isEmpty() ? QString(kHint) : refusal);
  });
  // Qt reports Return only for a name the validator accepts.
  connect(field, &QLineEdit::returnPressed, this, [this, field, showMark] {
    Rename(field);
    showMark();
  });

  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(mark);
  layout->addWidget(field);
  return row;
}

void RenameWindow::Rename(ZuvRenameTextField* field) {
  if (!field->isModified()) return;
  const QString from = field->originalData();
  const QString to = field->data();
  CZuvFilePath item;
  const CZuvStringData path = Text(m_folder + '/' + from);
  item.Initialize(&path);
  const ZuvResult result = ZuvRenameFile(item, Text(to), nullptr);
  if (ZuvIsFailure(result)) {
    m_status->setText(QString("%1 was not renamed: %2").arg(from, ReasonFor(result)));
    return;
  }
  field->setOriginalData(to);
  m_status->setText(QString("Renamed %1 to %2.").arg(from, to));
}
