// A tag made from the records of a table: for the indexes of new tables, and in place of one that cannot be
// relied on.
#pragma once

#include <string>

#include "storage/base/code_page.h"
#include "storage/foxpro/cdx_builder.h"
#include "storage/foxpro/dbf_file.h"

namespace corvix::foxpro {

struct NewTag {
  std::string name;  ///< ten characters at most
  std::string key;
  std::string condition = {};
  bool unique = false;
  bool descending = false;
  /// A sequence other than by bytes. The weights of such sequences are not known; the keys are the texts in
  /// capitals instead, which gives an order, and lookups that work as with the weights.
  std::string collation = {};
};

/// Adds the tag with all records for which its condition holds, deleted ones included. Error 5: the tag is
/// not possible. 3250: an expression that is not understood.
void AddTag(CdxBuilder& builder, const NewTag& wanted, DbfFile& table, const storage::CodePage& page);

}  // namespace corvix::foxpro
