#include "ui/file_dialog.h"

#include <QApplication>
#include <QFileDialog>

#include "ui/qt_text.h"

namespace corvix::ui {

QStringList NameFilters(std::string_view filter) {
  QStringList names;
  const QStringList parts = ToQt(filter).split('|');
  for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
    QString description = parts[i];
    const QString pattern = "(" + QString(parts[i + 1]).replace(';', ' ') + ")";
    names << (description.contains(pattern) ? description : description + " " + pattern);
  }
  return names;
}

std::optional<std::filesystem::path> FileDialog::Open(const Request& request) {
  if (request.directory) directory_ = QString::fromStdString(request.directory->string());
  QFileDialog dialog(QApplication::activeWindow(), ToQt(request.title), directory_);
  // The files come from systems that write names in either case, and the toolkit's own dialog is the one that
  // matches a pattern without regard to it everywhere.
  dialog.setOption(QFileDialog::DontUseNativeDialog);
  dialog.setNameFilters(NameFilters(request.filter));
  dialog.setFileMode(QFileDialog::ExistingFile);
  dialog.setObjectName("cmdialog1");
  const bool accepted = dialog.exec() == QDialog::Accepted;
  directory_ = dialog.directory().absolutePath();
  if (!accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
  return std::filesystem::path(dialog.selectedFiles().constFirst().toStdString());
}

}  // namespace corvix::ui
