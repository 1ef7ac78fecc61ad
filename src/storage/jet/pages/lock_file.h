// Sharing a database with other programs. Two kinds of locks meet here:
//
// - The lock over the whole database file: exclusive for a writer, shared for readers. It is what protects
// the
//   file between programs of this system, and with all that use such locks.
// - The lock file beside the database (FOLVANE.ldb), in which programs of the format's own family say that
//   they use it. A writer of ours enters itself there, so that the others see who holds the database and do
//   not open it exclusively; whoever opens it here respects the entries of others. Readers make no entry:
//   they write nothing.
//
// The lock file, an array of entries of 64 bytes, one for each of up to 255 users:
//   0    32  computer name, filled with zeros (by some writers with blanks)
//   32   32  security name, "Admin" where there is no security
// User k holds an exclusive lock on the byte at 0x10000001 + k for as long as it has the database open; an
// entry without that lock is left over from somebody who is gone. The last user who leaves removes the file.
#pragma once

#include <filesystem>
#include <memory>

#include "core/engine.h"
#include "storage/base/file.h"

namespace corvix::jet {

/// Opens the database file and takes the lock over it, at once or not at all. Errors: 53, 76, and 3051 with
/// the reason: held by another program (which is named when the lock file tells), read-only, access denied,
/// or a file system without locks; that one may be read from, since nothing here writes to it either.
std::unique_ptr<storage::File> OpenLocked(storage::FileSystem& files, const std::filesystem::path& database,
                                          core::Access access);

/// This program as a user in the lock file of a database, for as long as the object lives.
class LockFile {
 public:
  /// The caller holds the exclusive lock over the database. Errors: 3051 when somebody has come in meanwhile,
  /// or the lock file cannot be written; those of the device.
  LockFile(storage::FileSystem& files, const std::filesystem::path& database);
  ~LockFile();
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;

 private:
  storage::FileSystem& files_;
  std::filesystem::path path_;
  std::unique_ptr<storage::File> file_;
};

}  // namespace corvix::jet
