// Checks the long values of one table: the pages of each memo or OLE column, and every value that a row
// names.
#pragma once

#include <bitset>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "storage/jet/check/check_context.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/pages/page.h"

namespace corvix::jet::check {

class LongValueChecker {
 public:
  LongValueChecker(Context& context, const TableDefinition& table, const std::string& table_name);

  /// Claims the pages of every column and checks their cells and maps.
  void CheckPages();
  /// Checks one value, given as the row holds it; false when it cannot be read. `where` names the row.
  bool Check(const Column& column, storage::ByteView stored, RowRef row);
  /// Notes cells that hold values which no row names.
  void NoteStrayCells();

 private:
  struct Cells {
    std::bitset<data_page::kMaxCells + 1> live;
    std::bitset<data_page::kMaxCells + 1> used;
  };
  struct ColumnPages {
    std::string name;
    PageOwners::Owner owner = PageOwners::kNone;
  };

  void CheckColumnPages(const LongValueMaps& maps, ColumnPages& pages);
  bool CheckChain(const Column& column, RowRef cell, std::size_t length, RowRef row);
  /// Length of the cell's data; marks the cell as used. None when the value cannot be there.
  std::optional<std::size_t> UseCell(const Column& column, RowRef cell, RowRef row);

  Context& context_;
  const TableDefinition& table_;
  const std::string& table_name_;
  std::unordered_map<std::uint16_t, ColumnPages> columns_;  // by column number
  std::unordered_map<PageNumber, Cells> cells_;
};

}  // namespace corvix::jet::check
