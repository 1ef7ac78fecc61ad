// What the record sets of one opened database share with it: the file, until the database is closed.
#pragma once

#include <memory>
#include <vector>

#include "storage/jet/jet_file.h"

namespace corvix::jet {

class JetRecordSet;

struct JetSession {
  std::shared_ptr<JetFile> file;  ///< null after Close
  bool read_only = false;
  std::vector<JetRecordSet*> record_sets;  ///< those that are open
};

}  // namespace corvix::jet
