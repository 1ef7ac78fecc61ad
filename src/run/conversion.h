// The conversion driver: the Convert command. It walks the source central table in key order and adds a
// target row for each key that the target lacks, or merges into the row that is there by the duplicate
// policy.
//
//   idle -> confirming (No: idle) -> connecting -> walking <-> waiting for the user -> ending -> idle
//
// Rows are stored one by one: whatever ends a run, what was stored stays stored. The driver does not guard
// against being entered twice; hosts disable their commands while it runs.
#pragma once

#include "run/host.h"

namespace corvix::run {

/// Runs one conversion over the session's sources. Errors that the run's error table does not settle and the
/// common reporter passes on leave it as common::Error; common::ProgramEnd ends the program. On every way out
/// the normal pointer is restored.
RunEnd cmdnewconvert_Click(Session& session, Host& host);

/// Ends the connection to the target database, if there is one, that of every earlier opening included:
/// nothing stored is at risk then, and file, lock, lock file entry and journal are given up. A run connects
/// anew, to the file that is there then, so a host that only waits for a person calls this after connecting
/// at its start and after each run: other programs can use the database meanwhile, or replace it. Where the
/// device fails, the user may mend it and retry; any other answer passes the error on, and the database goes
/// back to its last checkpoint: the host is told each record of which something is taken back by that.
void CloseTarget(Session& session, Host& host);

}  // namespace corvix::run
