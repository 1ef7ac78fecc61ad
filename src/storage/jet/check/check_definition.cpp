#include "storage/jet/check/check_definition.h"

#include <algorithm>
#include <set>
#include <vector>

#include "common/text.h"
#include "storage/jet/check/check_pages.h"
#include "storage/jet/rows/row_codec.h"

namespace corvix::jet::check {
namespace {

using storage::ByteSpan;
using storage::ByteView;
using storage::ReadLittle;
using Bytes = std::vector<std::byte>;

// Zeroes what the format leaves to chance: heads of pages, old bytes between the fields.
void ClearIgnored(Bytes& bytes, const TableDefinition& table) {
  const auto clear = [&bytes](std::size_t offset, std::size_t length) {
    std::ranges::fill(storage::Slice(ByteSpan(bytes), offset, length), std::byte{});
  };
  clear(definition::kFree, definition::kPageHead - definition::kFree);
  clear(definition::kIgnored, definition::kKind - definition::kIgnored);
  std::size_t at = definition::kCounters + definition::kCounterSize * table.real_indexes.size();
  for (const Column& column : table.columns) {
    if (!column.IsFixed()) clear(at + column_descriptor::kFixedOffset, 2);
    at += column_descriptor::kSize;
  }
  for (std::size_t i = 0; i < table.columns.size(); ++i) at += 2 + ReadLittle<std::uint16_t>(bytes, at);
  for (const RealIndex& index : table.real_indexes) {
    for (std::size_t i = index.columns.size(); i < kMaxIndexColumns; ++i)
      clear(at + real_index::kColumns + 3 * i + 2, 1);
    clear(at + real_index::kIgnored, 4);
    at += real_index::kSize;
  }
}

// What the definition means, written anew, has to be what is there. So every field that is not otherwise
// looked at is checked too: lengths, magic numbers, reserved zeros.
void CheckBytes(Context& context, const TableDefinition& table, const std::string& name) {
  Bytes stored;
  for (const PageNumber number : table.pages) {
    const PageView page = context.pager.Read(number);
    const ByteView content = stored.empty() ? page.bytes() : page.bytes().subspan(definition::kPageHead);
    stored.insert(stored.end(), content.begin(), content.end());
  }
  const Bytes meant = EncodeTableDefinition(table);
  if (stored.size() < meant.size()) {
    context.findings.Problem(table.page, "the definition of {} is longer than its pages", name);
    return;
  }
  stored.resize(meant.size());
  ClearIgnored(stored, table);
  const auto [differs, expected] = std::ranges::mismatch(stored, meant);
  if (differs == stored.end()) return;
  context.findings.Problem(table.page, "the definition of {} has {:#04x} at byte {}; {:#04x} was expected",
                           name, std::to_integer<unsigned>(*differs), differs - stored.begin(),
                           std::to_integer<unsigned>(*expected));
}

void CheckFreeFields(Context& context, const TableDefinition& table, const std::string& name) {
  std::size_t left = EncodeTableDefinition(table).size();
  for (const PageNumber number : table.pages) {
    const std::size_t start = number == table.page ? 0 : definition::kPageHead;
    const std::size_t used = std::min(left, kPageSize - start);
    left -= used;
    const std::size_t unused = kPageSize - start - used;
    const std::size_t free = unused < definition::kPageHead ? 0 : unused - definition::kPageHead;
    const auto field = ReadLittle<std::uint16_t>(context.pager.Read(number).bytes(), definition::kFree);
    if (field != free) {
      context.findings.Problem(number,
                               "page {} of the definition of {} says that {} bytes are free; there are {}",
                               number, name, field, free);
    }
  }
}

// The length that a column's descriptor has to give; none where there is a choice.
void CheckColumnLength(Context& context, const TableDefinition& table, const std::string& name,
                       const Column& column) {
  const auto wrong = [&] {
    context.findings.Problem(table.page, "column {} of {} has the length {}, which its type {} cannot have",
                             column.name, name, column.length, static_cast<int>(column.type));
  };
  const ColumnTypeInfo& info = InfoOf(column.type);
  const bool half_a_character = info.text && !info.long_value && column.length % 2 != 0;
  if (column.length < info.least_length || column.length > info.most_length || half_a_character) wrong();
}

void CheckColumns(Context& context, const TableDefinition& table, const std::string& name) {
  struct Span {
    std::size_t begin;
    std::size_t end;
    const Column* column;
  };
  std::vector<Span> fixed;
  std::set<std::uint16_t> variable_places;
  std::set<std::string> names;
  for (const Column& column : table.columns) {
    CheckColumnLength(context, table, name, column);
    if (!names.insert(common::UpperCase(column.name)).second) {
      context.findings.Problem(table.page, "{} has two columns of the name {}", name, column.name);
    }
    if (!column.IsFixed()) {
      if (!variable_places.insert(column.variable_index).second) {
        context.findings.Problem(table.page, "column {} of {} has the place of another variable column",
                                 column.name, name);
      }
    } else if (column.type != ColumnType::YesNo) {
      fixed.push_back({column.fixed_offset, column.fixed_offset + column.FixedSize(), &column});
    }
  }
  std::ranges::sort(fixed, {}, &Span::begin);
  for (std::size_t i = 1; i < fixed.size(); ++i) {
    if (fixed[i - 1].end > fixed[i].begin) {
      context.findings.Problem(table.page, "columns {} and {} of {} overlap in the row",
                               fixed[i - 1].column->name, fixed[i].column->name, name);
    }
  }
}

void CheckIndexes(Context& context, const TableDefinition& table, const std::string& name) {
  std::set<std::uint32_t> numbers;
  std::set<std::string> names;
  std::set<std::uint32_t> served;
  std::size_t primary_keys = 0;
  for (const LogicalIndex& index : table.logical_indexes) {
    served.insert(index.real_index);
    if (index.kind == IndexKind::PrimaryKey) ++primary_keys;
    if (!numbers.insert(index.number).second) {
      context.findings.Problem(table.page, "index {} of {} has the number of another index", index.name,
                               name);
    }
    if (!names.insert(common::UpperCase(index.name)).second) {
      context.findings.Problem(table.page, "{} has two indexes of the name {}", name, index.name);
    }
  }
  if (primary_keys > 1) context.findings.Problem(table.page, "{} has {} primary keys", name, primary_keys);
  if (served.size() < table.real_indexes.size()) {
    context.findings.Note(table.page, "{} has index trees that serve no index", name);
  }
}

}  // namespace

void CheckDefinition(Context& context, const TableDefinition& table, const std::string& table_name) {
  const PageOwners::Owner owner = context.owners.Add("definition of " + table_name);
  for (const PageNumber page : table.pages) {
    context.owners.Claim(page, owner, context.findings);
    CheckHead(context, context.pager.Read(page), "the definition of " + table_name);
  }
  CheckBytes(context, table, table_name);
  CheckFreeFields(context, table, table_name);
  CheckColumns(context, table, table_name);
  CheckIndexes(context, table, table_name);
}

}  // namespace corvix::jet::check
