// The toolkit's file-open dialog.
#pragma once

#include <QString>

#include "ui/file_chooser.h"

namespace corvix::ui {

class FileDialog : public FileChooser {
 public:
  std::optional<std::filesystem::path> Open(const Request& request) override;

 private:
  QString directory_;  ///< where the dialog was last
};

/// The toolkit's form of a filter: "Data Files (*.dbf)|*.dbf" gives "Data Files (*.dbf)", one line a pair.
QStringList NameFilters(std::string_view filter);

}  // namespace corvix::ui
