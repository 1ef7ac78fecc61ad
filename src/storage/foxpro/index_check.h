// The part of the structure checker that judges an index file against its table.
#pragma once

#include <vector>

#include "storage/base/code_page.h"
#include "storage/foxpro/cdx_tree.h"
#include "storage/foxpro/check_findings.h"
#include "storage/foxpro/dbf_file.h"

namespace corvix::foxpro {

/// Checks the directory and every tag.
std::vector<TagFacts> CheckIndex(CdxFile& index, DbfFile& table, const storage::CodePage& page,
                                 FindingList& findings);

}  // namespace corvix::foxpro
