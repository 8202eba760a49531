// The window of the rename example: every file of one folder in a ZuvRenameTextField. Return in a
// field renames the file on disk; a mark beside each field shows whether its name was changed.
#pragma once

#include <QString>
#include <QWidget>

#include "zuv/transfer/result.h"

class QLabel;
class ZuvRenameTextField;

/// The plain reason for a failed rename, as the window shows it.
QString ReasonFor(ZuvResult result);

class RenameWindow : public QWidget {
 public:
  /// Lists the files (not the folders) of `folder`, by name.
  explicit RenameWindow(const QString& folder, QWidget* parent = nullptr);

 private:
  QWidget* AddRow(const QString& name);
  void Rename(ZuvRenameTextField* field);

  QString m_folder;
  QLabel* m_status;
};
