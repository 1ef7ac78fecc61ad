// The index of a table, and which index serves a tag: the file's own when it can be relied on, else one that
// is built from the records. docs/decisions/007-indexes-that-do-not-fit.md says when and why.
//
// A built index has the same key expression and direction, takes every live record, and lies in memory, or in
// a temporary file without a name when it is large. Nothing is written beside the table.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "common/error.h"
#include "storage/base/code_page.h"
#include "storage/base/file.h"
#include "storage/foxpro/cdx_tree.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/table_files.h"
#include "storage/foxpro/tag_building.h"

namespace corvix::foxpro {

/// The index that serves a tag.
struct ChosenTag {
  std::shared_ptr<CdxFile> index;
  const Tag* tag = nullptr;  ///< in the index
  std::string rebuilt;       ///< why it was built from the records; empty for the file's own
};

/// What was chosen for the tags of tables, as long as their files stay the same: a program that opens a table
/// again and again compares its index once. Built indexes are found while somebody uses them.
class IndexChoices {
 public:
  struct Choice {
    std::weak_ptr<CdxFile> built;
    std::string rebuilt;  ///< as in ChosenTag
  };
  /// `state` names files, their state, and the tag. Null when nothing is known of it.
  const Choice* Find(const std::string& state) const;
  void Keep(const std::string& state, const ChosenTag& chosen);

 private:
  std::map<std::string, Choice> choices_;
};

class TableIndex {
 public:
  /// Made before the table is opened. Damage and absence of the file are told when a tag is chosen. All
  /// arguments outlive the object; `choices` may be null.
  TableIndex(storage::FileSystem& files, const TableFiles& paths, IndexChoices* choices);

  /// The tags of the file; none without a readable one.
  std::span<const Tag> Tags() const;

  /// Compares the tag with the table and builds another one where they do not fit. 3015: neither a tag nor a
  /// field has that name, or the tag's expression is not understood; device errors.
  ChosenTag Choose(std::string_view name, DbfFile& table, const storage::CodePage& page);

 private:
  ChosenTag Compare(std::string_view name, DbfFile& table, const storage::CodePage& page) const;
  /// What is built when the tag cannot be used: one like `model`, or, without one, over the field.
  NewTag Replacement(std::string_view name, const Tag* model, const DbfHeader& header) const;
  std::string FaultOf(std::string_view name, const Tag* own, DbfFile& table,
                      const storage::CodePage& page) const;

  storage::FileSystem& files_;
  const TableFiles& paths_;
  IndexChoices* choices_;
  std::string stamp_;  // of the files before they were opened; empty when it cannot be told
  std::shared_ptr<CdxFile> file_;
  std::optional<common::Error> damage_;  // why the file cannot be read, when there is one
};

}  // namespace corvix::foxpro
