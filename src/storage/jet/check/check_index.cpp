#include "storage/jet/check/check_index.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "common/error.h"
#include "storage/jet/check/check_pages.h"
#include "storage/jet/index/index_tree.h"
#include "storage/jet/rows/long_value.h"
#include "storage/jet/rows/text_codec.h"

namespace corvix::jet::check {

using storage::ByteView;
using storage::ReadBig;
using storage::ReadByte;
using storage::ReadLittle;

namespace {

constexpr std::size_t kMaxDepth = 12;  // levels of a tree; a file of 2 GiB needs 4 to 5
constexpr std::size_t kChildLength = 4;
constexpr std::size_t kShortestEntry = 5;     // a null key and a row
constexpr std::size_t kNamedDifferences = 3;  // of each kind

std::uint64_t Mix(std::uint64_t value) {
  value ^= value >> 30;
  value *= 0xBF58476D1CE4E5B9;
  value ^= value >> 27;
  value *= 0x94D049BB133111EB;
  return value ^ value >> 31;
}

ByteView KeyOf(ByteView entry) { return entry.first(entry.size() - kEntryRowLength); }

}  // namespace

void EntrySum::Add(ByteView entry) {
  std::uint64_t first = 0x9E3779B97F4A7C15 ^ entry.size();
  std::uint64_t second = 0xD1B54A32D192ED03 + entry.size();
  while (!entry.empty()) {
    std::uint64_t word = 0;
    const std::size_t length = std::min(entry.size(), sizeof word);
    std::memcpy(&word, entry.data(), length);
    entry = entry.subspan(length);
    first = Mix(first ^ word);
    second = Mix(second + word) ^ std::rotl(second, 23);
  }
  hash[0] += first;
  hash[1] += second;
  ++count;
}

// --- pages ----------------------------------------------------------------------------------------------

class IndexChecker::Page {
 public:
  explicit Page(PageView view) : view_(std::move(view)), bytes_(view_.bytes()) {}

  PageNumber number() const { return view_.number(); }
  bool IsLeaf() const { return ReadByte(bytes_, 0) == static_cast<std::uint8_t>(PageType::IndexLeaf); }
  PageNumber Number(std::size_t offset) const { return ReadLittle<std::uint32_t>(bytes_, offset); }
  std::size_t prefix() const { return ReadLittle<std::uint16_t>(bytes_, index_page::kPrefix); }
  std::size_t used() const { return ends_.empty() ? 0 : ends_.back(); }
  std::size_t size() const { return ends_.size(); }
  ByteView bytes() const { return bytes_; }

  // Finds the ends of the entries; false when one lies outside the page or is too short.
  bool FindEntries() {
    std::size_t begin = 0;
    for (std::size_t byte = 0; byte < index_page::kBitmapLength; ++byte) {
      auto bits = ReadByte(bytes_, index_page::kBitmap + byte);
      for (; bits != 0; bits = static_cast<std::uint8_t>(bits & (bits - 1))) {
        const std::size_t end = 8 * byte + static_cast<unsigned>(std::countr_zero(bits));
        const std::size_t length = end - begin + (ends_.empty() ? 0 : prefix());
        const std::size_t shortest = kShortestEntry + (IsLeaf() ? 0 : kChildLength);
        if (end > index_page::kCapacity || length < shortest || (ends_.empty() && length < prefix()))
          return false;
        ends_.push_back(end);
        begin = end;
      }
    }
    return true;
  }

  // The whole entry, its child included.
  void Get(std::size_t i, Key& entry) const {
    const ByteView area = bytes_.subspan(index_page::kEntries);
    const std::size_t begin = i == 0 ? 0 : ends_[i - 1];
    entry.clear();
    if (i > 0) entry.assign(area.begin(), area.begin() + static_cast<std::ptrdiff_t>(prefix()));
    const ByteView suffix = area.subspan(begin, ends_[i] - begin);
    entry.insert(entry.end(), suffix.begin(), suffix.end());
  }

 private:
  PageView view_;
  ByteView bytes_;
  std::vector<std::size_t> ends_;
};

template <typename... Args>
void IndexChecker::Problem(PageNumber page, fmt::format_string<Args...> format, Args&&... args) {
  sound_ = false;
  context_.findings.Problem(page, "{}: {}", what_, fmt::vformat(format, fmt::make_format_args(args...)));
}

IndexChecker::IndexChecker(Context& context, const TableDefinition& table, std::size_t index,
                           const RowChecker& rows)
    : context_(context), table_(table), index_(table.real_indexes[index]), rows_(rows) {
  std::string name = fmt::format("number {}", index);
  needs_values_ = index_.IsRequired();
  for (const LogicalIndex& logical : table.logical_indexes) {
    if (logical.real_index != index) continue;
    if (logical.kind != IndexKind::Relationship || name.starts_with("number ")) name = logical.name;
    needs_values_ = needs_values_ || logical.kind == IndexKind::PrimaryKey;
  }
  what_ = fmt::format("index {} of {}", name, rows.table_name());
  for (const IndexColumn& column : index_.columns) {
    columns_.push_back(table.FindColumn(column.number));
    keys_computable_ = keys_computable_ && CanBuildKeys(*columns_.back());
  }
}

std::optional<IndexChecker::Page> IndexChecker::ReadPage(PageNumber number) {
  const std::size_t before = context_.findings.problems();
  if (!context_.owners.Claim(number, owner_, context_.findings)) {
    sound_ = false;
    return std::nullopt;
  }
  pages_.push_back(number);
  Page page(context_.pager.Read(number));
  const std::uint8_t type = ReadByte(page.bytes(), kPageTypeOffset);
  if (type != static_cast<std::uint8_t>(PageType::IndexNode) &&
      type != static_cast<std::uint8_t>(PageType::IndexLeaf)) {
    Problem(number, "page {} is of type {}", number, type);
    return std::nullopt;
  }
  CheckHead(context_, context_.pager.Read(number), what_);
  const PageNumber table = page.Number(index_page::kTable);
  if (table != table_.page) Problem(number, "page {} names {} as the table's definition", number, table);
  const std::uint8_t level = ReadByte(page.bytes(), index_page::kLevel);
  if (level != 0 && page.IsLeaf()) Problem(number, "leaf {} claims the level {}", number, level);
  if (page.IsLeaf() && page.Number(index_page::kTail) != 0)
    Problem(number, "leaf {} has a tail child", number);
  if (!page.FindEntries()) {
    Problem(number, "page {} has an entry that ends where none can", number);
    return std::nullopt;
  }
  const std::size_t free = ReadLittle<std::uint16_t>(page.bytes(), index_page::kFree);
  if (free != index_page::kCapacity - page.used()) {
    Problem(number, "page {} says that {} bytes are free; there are {}", number, free,
            index_page::kCapacity - page.used());
  }
  if (context_.findings.problems() != before) sound_ = false;
  return page;
}

void IndexChecker::CheckTree() {
  ++context_.findings.report().indexes;
  owner_ = context_.owners.Add(what_);
  Walk(index_.root, 0);
  for (const Level& level : nodes_) {
    if (level.next != 0)
      Problem(level.last, "page {} is the last of its level but names {} as next", level.last, level.next);
  }
  if (leaves_.next != 0)
    Problem(leaves_.last, "leaf {} is the last one but names {} as next", leaves_.last, leaves_.next);
  CheckMap();
  context_.findings.report().index_entries += stored_.count;
  if (distinct_ > index_.unique_entries) {
    context_.findings.Note(table_.page, "{}: the count of different keys says {}; there are {}", what_,
                           index_.unique_entries, distinct_);
  }
  Compare();
}

void IndexChecker::Walk(PageNumber number, std::size_t depth) {
  if (depth == kMaxDepth)
    return Problem(number, "the tree has more than {} levels at page {}", kMaxDepth, number);
  const std::optional<Page> page = ReadPage(number);
  if (!page) return;
  if (page->IsLeaf()) {
    WalkLeaf(*page, depth);
  } else {
    WalkNode(*page, depth);
  }
}

void IndexChecker::WalkLeaf(const Page& page, std::size_t depth) {
  if (leaf_depth_.value_or(depth) != depth)
    Problem(page.number(), "leaf {} is on another level", page.number());
  leaf_depth_ = depth;
  const bool is_first = leaves_.last == 0;
  const PageNumber previous = page.Number(index_page::kPrevious);
  if (previous != leaves_.last) {
    Problem(page.number(), "leaf {} names {} as previous instead of {}", page.number(), previous,
            leaves_.last);
  }
  if (!is_first && leaves_.next != page.number()) {
    Problem(leaves_.last, "leaf {} names {} as next instead of {}", leaves_.last, leaves_.next,
            page.number());
  }
  leaves_ = {page.number(), page.Number(index_page::kNext)};
  for (std::size_t i = 0; i < page.size(); ++i) {
    page.Get(i, scratch_);
    SeeEntry(scratch_, page.number());
  }
}

void IndexChecker::WalkNode(const Page& page, std::size_t depth) {
  if (nodes_.size() <= depth) nodes_.resize(depth + 1);
  // Some writers link only the nodes below one parent, or none.
  const PageNumber previous = page.Number(index_page::kPrevious);
  if (previous != 0 && previous != nodes_[depth].last) {
    Problem(page.number(), "page {} names {} as previous instead of {}", page.number(), previous,
            nodes_[depth].last);
  }
  if (nodes_[depth].next != 0 && nodes_[depth].next != page.number()) {
    Problem(nodes_[depth].last, "page {} names {} as next instead of {}", nodes_[depth].last,
            nodes_[depth].next, page.number());
  }
  nodes_[depth] = {page.number(), page.Number(index_page::kNext)};

  PageNumber child = 0;
  Key bound;
  for (std::size_t i = 0; i < page.size(); ++i) {
    page.Get(i, bound);
    child = ReadBig<std::uint32_t>(bound, bound.size() - kChildLength);
    bound.resize(bound.size() - kChildLength);
    Walk(child, depth + 1);
    if (CompareBytes(floor_, bound) > 0) {
      Problem(page.number(), "node {} puts too low a bound on its child {}", page.number(), child);
    }
    floor_ = bound;
  }
  const PageNumber tail = page.Number(index_page::kTail);
  if (tail != 0 && tail != child) {
    Walk(tail, depth + 1);
  } else if (child == 0) {
    Problem(page.number(), "node {} has no children", page.number());
  }
}

void IndexChecker::SeeEntry(ByteView entry, PageNumber page) {
  stored_.Add(entry);
  if (!floor_.empty() && CompareBytes(entry, floor_) <= 0) {
    Problem(page, "the entry of row {} on page {} is out of order", At(RowOfEntry(entry)), page);
  }
  if (!last_.empty() && std::ranges::equal(KeyOf(entry), KeyOf(last_))) {
    if (index_.IsUnique()) SeeRepeatedKey(entry, page);
  } else {
    ++distinct_;
  }
  last_.assign(entry.begin(), entry.end());
  floor_ = last_;
}

void IndexChecker::SeeRepeatedKey(ByteView entry, PageNumber page) {
  const RowRef row = RowOfEntry(entry);
  const std::optional<StoredRow> stored = rows_.RowAt(row);
  if (stored && IsAllNull(stored->row)) return;  // keys of nothing but nulls do not collide
  Problem(page, "rows {} and {} have the same key in this unique index", At(RowOfEntry(last_)), At(row));
}

void IndexChecker::ClaimPages() {
  owner_ = context_.owners.Add(what_);
  const std::optional<PageSet> map = ReadOwnedPages(context_, index_.usage_map, what_);
  if (!map) return;
  for (const PageNumber page : map->pages) context_.owners.Claim(page, owner_, context_.findings);
}

void IndexChecker::CheckMap() {
  const std::optional<PageSet> map = ReadOwnedPages(context_, index_.usage_map, what_);
  if (!map) return;
  std::ranges::sort(pages_);
  for (const PageNumber page : pages_) {
    if (!std::ranges::binary_search(map->pages, page))
      Problem(page, "page {} of the tree is not in its map", page);
  }
  for (const PageNumber page : map->pages) {
    if (std::ranges::binary_search(pages_, page)) continue;
    if (context_.owners.Claim(page, owner_, context_.findings)) {
      context_.findings.Note(page, "{}: page {} of its map is not in the tree", what_, page);
    }
  }
}

// --- entries --------------------------------------------------------------------------------------------

void IndexChecker::AddRow(RowRef slot, const RowView& row) {
  if (needs_values_ && HasNull(row)) {
    context_.findings.Problem(slot.page, "{}: row {} has no value in a column that needs one", what_,
                              At(slot));
  }
  if (keys_computable_ && BuildEntry(slot, row, scratch_)) expected_.Add(scratch_);
}

core::Value IndexChecker::ValueOf(const RowView& row, const Column& column) {
  if (!column.IsLongValue()) return row.Value(column);
  if (row.IsNull(column)) return core::Null{};
  ReadLongValue(context_.pager, row.Bytes(column), row.place(), long_value_);
  std::string text;
  DecodeText(long_value_, text);
  return text;
}

bool IndexChecker::BuildEntry(RowRef slot, const RowView& row, Key& entry) {
  if (index_.IgnoresNulls() && IsAllNull(row)) return false;
  entry.clear();
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    AppendKey(entry, *columns_[i], index_.columns[i].ascending, ValueOf(row, *columns_[i]));
  }
  AppendRow(entry, slot);
  return true;
}

bool IndexChecker::IsAllNull(const RowView& row) const {
  return std::ranges::all_of(columns_, [&](const Column* column) { return row.IsNull(*column); });
}

bool IndexChecker::HasNull(const RowView& row) const {
  return std::ranges::any_of(columns_, [&](const Column* column) { return row.IsNull(*column); });
}

void IndexChecker::Compare() {
  if (!keys_computable_) {
    context_.findings.Note(
        table_.page, "{}: its keys follow a sort order that is not known here and are not compared", what_);
    return;
  }
  if (!rows_.AllSound() || expected_ == stored_) return;
  const bool is_searchable = sound_;
  Problem(table_.page, "its {} entries are not those of the {} rows that it covers", stored_.count,
          expected_.count);
  if (!is_searchable) return;
  NameMissingEntries();
  NameExtraEntries();
}

void IndexChecker::NameMissingEntries() {
  IndexTree tree(context_.pager, index_.root, table_.page, nullptr);
  IndexTree::Cursor cursor(tree);
  std::size_t named = 0;
  rows_.ForEachRow([&](RowRef slot, const RowView& row) {
    if (named == kNamedDifferences || !BuildEntry(slot, row, scratch_)) return;
    const ByteView key = KeyOf(scratch_);
    if (cursor.LowerBound(key, slot) && cursor.row() == slot && std::ranges::equal(cursor.key(), key)) return;
    ++named;
    Problem(slot.page, "row {} has no entry", At(slot));
  });
}

void IndexChecker::NameExtraEntries() {
  IndexTree tree(context_.pager, index_.root, table_.page, nullptr);
  IndexTree::Cursor cursor(tree);
  std::size_t named = 0;
  for (bool found = cursor.First(); found && named < kNamedDifferences; found = cursor.Next()) {
    const std::optional<StoredRow> stored = rows_.RowAt(cursor.row());
    if (!stored) {
      Problem(table_.page, "there is an entry for row {}, which does not exist", At(cursor.row()));
    } else if (!BuildEntry(cursor.row(), stored->row, scratch_) ||
               !std::ranges::equal(KeyOf(scratch_), cursor.key())) {
      Problem(table_.page, "the entry of row {} is not that of its values", At(cursor.row()));
    } else {
      continue;
    }
    ++named;
  }
}

}  // namespace corvix::jet::check
