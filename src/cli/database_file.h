// A database file opened for reading, below the table operations: for those who look at its structure.
#pragma once

#include <filesystem>
#include <memory>

#include "core/engine.h"
#include "storage/base/file.h"
#include "storage/jet/pages/header_page.h"
#include "storage/jet/pages/journal.h"
#include "storage/jet/pages/pager.h"

namespace corvix::cli {

/// Nothing is written: what an interrupted run left in its journal is read through. The file is locked
/// against writers as long as the pager lives. Errors: those of jet::OpenLocked.
std::unique_ptr<jet::Pager> OpenForReading(storage::FileSystem& files, const std::filesystem::path& path);

/// The bytes of the same, locked for that access; nothing is written here either.
std::unique_ptr<storage::File> OpenView(storage::FileSystem& files, const std::filesystem::path& path,
                                        core::Access access);

/// Tells the user what became of a change that was left in the middle.
void SayRecovery(const jet::Recovery& recovery);

/// The head of the file that a pager has open. Error 3343 when it is no Access 2000 database.
jet::HeaderPage ReadHeader(jet::Pager& pager);

}  // namespace corvix::cli
