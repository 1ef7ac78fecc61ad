#include "storage/foxpro/tag_order.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <utility>

#include "common/error.h"
#include "common/text.h"

namespace corvix::foxpro {
namespace {

std::uint64_t HashOf(std::string_view text) { return std::hash<std::string_view>{}(text); }

}  // namespace

TagOrder::TagOrder(ChosenTag chosen, DbfFile& table, const storage::CodePage& page)
    : chosen_(std::move(chosen)),
      table_(table),
      page_(page),
      keys_(*chosen_.tag, table.header(), page),
      tree_(*chosen_.index, *chosen_.tag, keys_.form().Pad()),
      cursor_(tree_) {}

bool TagOrder::Find(std::string_view text) {
  if (is_collated()) return FindByHash(text);
  auto key = SoughtKey(keys_.form(), page_, text);
  if (!key) return false;
  sought_ = *std::move(key);
  return cursor_.FindEqual(sought_);
}

bool TagOrder::NextEqual() {
  if (is_collated()) return NextHashed();
  return cursor_.Next() && std::ranges::equal(cursor_.Key(), sought_);
}

bool TagOrder::HasSoughtKey(std::uint32_t record) {
  const storage::ByteView bytes = table_.Record(record);
  if (is_collated()) return keys_.FoldedTextOf(bytes, record) == sought_text_;
  return std::ranges::equal(keys_.KeyOf(bytes, record), sought_);
}

void TagOrder::PrepareHashes() {
  if (hashed_) return;
  std::vector<HashedEntry> entries;
  for (bool more = cursor_.First(); more; more = cursor_.Next()) {
    const std::uint32_t record = cursor_.Record();
    if (record < 1 || record > table_.RecordCount()) continue;
    entries.push_back({.hash = HashOf(keys_.FoldedTextOf(table_.Record(record), record)),
                       .position = cursor_.position(),
                       .record = record});
  }
  std::ranges::stable_sort(entries, {}, &HashedEntry::hash);
  hashed_ = std::move(entries);
}

bool TagOrder::FindByHash(std::string_view text) {
  PrepareHashes();
  sought_text_ = common::UpperCase(common::TrimRight(text));
  sought_hash_ = HashOf(sought_text_);
  next_hashed_ = static_cast<std::size_t>(
      std::ranges::lower_bound(*hashed_, sought_hash_, {}, &HashedEntry::hash) - hashed_->begin());
  return NextHashed();
}

/// Compares the record itself, since hashes may agree by chance, and puts the cursor on its entry.
bool TagOrder::NextHashed() {
  while (next_hashed_ < hashed_->size() && (*hashed_)[next_hashed_].hash == sought_hash_) {
    const HashedEntry& entry = (*hashed_)[next_hashed_++];
    if (!HasSoughtKey(entry.record)) continue;
    cursor_.MoveTo(entry.position);
    return true;
  }
  return false;
}

bool TagOrder::ScanFor(std::uint32_t record) {
  for (bool more = cursor_.First(); more; more = cursor_.Next()) {
    if (cursor_.Record() == record) return true;
  }
  return false;
}

bool TagOrder::NextAfter(std::uint32_t record) {
  if (!is_collated()) {
    const storage::ByteView key = keys_.KeyOf(table_.Record(record), record);
    const bool found = cursor_.Seek(key, record);
    return found && cursor_.Record() == record ? cursor_.Next() : found;
  }
  if (ScanFor(record)) return cursor_.Next();
  throw common::Error(
      common::kDamagedDatabase,
      fmt::format("Record {} is not in index {}, so there is no next record in its order; move to "
                  "the first record, or rebuild the index in the program it comes from",
                  record, tag().name),
      tree_.file().place());
}

}  // namespace corvix::foxpro
