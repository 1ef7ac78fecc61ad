// Opens Access 2000 databases for the table operations.
//
// All databases and record sets of the process that reach one file share it (jet_file.h): what one stores the
// others see at their next positioning. A record set keeps the file open after the last outside reference to
// its database has gone; closing the database ends its record sets (3420).
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

#include "core/engine.h"
#include "storage/base/file.h"
#include "storage/jet/pages/journal.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {

/// Error 3049 when damage of the file would make storing into the table lose or mix up rows.
using SoundnessCheck = std::function<void(Pager& pager, std::string_view table)>;

/// What an opening is given by whoever knows more than the engine. Each may be empty.
struct OpenHooks {
  RecoveryObserver recovered{};  ///< told when somebody had left the database in the middle of a change
  SoundnessCheck require_sound_table{};  ///< serves Database::RequireSound
};

/// `files` must outlive the database and its record sets. With ReadOnly nothing is written, whatever happens.
/// Errors: 53 missing file, 76 missing directory, 3051 in use by another program or not writable, 3343 no Jet
/// 4 file, 3031 password, 3049 damage.
std::shared_ptr<core::Database> OpenJetDatabase(storage::FileSystem& files, const std::filesystem::path& path,
                                                core::Access access, OpenHooks hooks = {});

}  // namespace corvix::jet
