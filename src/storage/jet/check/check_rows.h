// Checks the data pages and rows of one table, and gives its rows to whoever compares something with them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "storage/jet/check/check_context.h"
#include "storage/jet/check/check_long_values.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/rows/row_codec.h"
#include "storage/jet/rows/table_rows.h"

namespace corvix::jet::check {

class RowChecker {
 public:
  using Visit = std::function<void(RowRef slot, const RowView& row)>;

  /// All of these must outlive the checker.
  RowChecker(Context& context, const TableDefinition& table, const std::string& table_name);

  /// Claims the pages of the table and of its long values; checks cells, maps and pointers.
  void CheckPages();
  /// Checks every row, and counters against them; `visit` gets the sound ones. After CheckPages, once.
  void CheckRows(const Visit& visit);

  /// The same rows again, without checks.
  void ForEachRow(const Visit& visit) const;
  /// The row of a slot; none when there is no live row.
  std::optional<StoredRow> RowAt(RowRef slot) const;

  /// True when every row could be given to `visit`.
  bool AllSound() const { return unsound_rows_ == 0; }
  const std::string& table_name() const { return table_name_; }

 private:
  struct Moved {
    RowRef slot;
    RowRef target;
  };

  void CheckDataPage(PageNumber number, const std::string& what);
  void CheckFreeSpace(const std::vector<PageNumber>& owned);
  void CheckPointers();
  std::optional<RowRef> TargetOf(RowRef slot) const;
  /// Calls visit(slot, bytes, place) for every row, its bytes where they are now.
  template <typename VisitBytes>
  void Walk(VisitBytes visit) const;
  bool CheckRow(RowRef slot, storage::ByteView row);
  bool CheckVariablePart(RowRef slot, storage::ByteView row, std::size_t columns, std::size_t mask,
                         std::size_t fixed_end);
  bool CheckVariableColumn(RowRef slot, const Column& column, storage::ByteView value);
  void SeeAutonumber(const RowView& row);
  void CheckCounters();
  template <typename... Args>
  bool RowProblem(RowRef slot, fmt::format_string<Args...> format, Args&&... args);

  Context& context_;
  const TableDefinition& table_;
  const std::string& table_name_;
  LongValueChecker long_values_;
  PageOwners::Owner owner_ = PageOwners::kNone;
  std::vector<PageNumber> pages_;  // data pages, ascending
  std::vector<Moved> moved_;       // by slot, ascending
  std::size_t moved_copies_ = 0;   // cells to which rows have moved, at some time
  std::size_t rows_ = 0;
  std::size_t unsound_rows_ = 0;
  const Column* autonumber_ = nullptr;
  std::optional<std::int32_t> highest_autonumber_;
};

}  // namespace corvix::jet::check
