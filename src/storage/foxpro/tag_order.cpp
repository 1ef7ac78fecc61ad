#include "storage/foxpro/tag_order.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>

#include "common/error.h"
#include "common/text.h"
#include "storage/foxpro/cdx_check.h"

namespace corvix::foxpro {
namespace {

std::uint64_t HashOf(std::string_view text) { return std::hash<std::string_view>{}(text); }

std::optional<KeyExpression> Understand(const Tag& tag, const DbfHeader& header,
                                        const storage::CodePage& page, std::string& problem) {
  try {
    return KeyExpression(tag.key, header, page);
  } catch (const common::Error& error) {
    problem = error.text();
    return std::nullopt;
  }
}

}  // namespace

TagOrder::TagOrder(CdxFile& index, const Tag& tag, DbfFile& table, const storage::CodePage& page)
    : table_(table),
      page_(page),
      expression_(Understand(tag, table.header(), page, expression_problem_)),
      form_(FormOfTag(tag, expression_ ? std::optional(expression_->type()) : std::nullopt)),
      tree_(index, tag, form_.Pad()),
      cursor_(tree_) {}

bool TagOrder::Find(std::string_view text) {
  if (!IsSound()) return FindByHash(text);
  auto key = SoughtKey(form_, page_, text);
  if (!key) return false;
  sought_ = *std::move(key);
  return cursor_.FindEqual(sought_);
}

bool TagOrder::NextEqual() {
  if (!IsSound()) return NextHashed();
  return cursor_.Next() && std::ranges::equal(cursor_.Key(), sought_);
}

bool TagOrder::IsSound() {
  if (!sound_) {
    bool sound = !form_.collated;
    TreeVisitor visitor;
    visitor.problem = [&](std::uint32_t, const std::string&) { sound = false; };
    if (sound) CheckTree(tree_, visitor);
    sound_ = sound;
  }
  return *sound_;
}

void TagOrder::PrepareHashes() {
  if (hashed_) return;
  if (form_.collated && !expression_) {
    throw common::Error(
        common::kCannotBuildKey,
        fmt::format("Index {} is sorted by the sequence {}, and its keys cannot be computed: {}", tag().name,
                    tag().collation, expression_problem_),
        tree_.file().place());
  }
  std::vector<HashedEntry> entries;
  for (bool more = cursor_.First(); more; more = cursor_.Next()) {
    HashedEntry entry{.hash = 0, .position = cursor_.position(), .record = cursor_.Record()};
    if (form_.collated) {
      const auto key = ComparableKey(entry.record);
      if (!key) continue;
      entry.hash = HashOf(*key);
    } else {
      entry.hash = HashOf(storage::AsText(cursor_.Key()));
    }
    entries.push_back(entry);
  }
  std::ranges::stable_sort(entries, {}, &HashedEntry::hash);
  hashed_ = std::move(entries);
}

std::optional<std::string> TagOrder::ComparableKey(std::uint32_t record) {
  if (record < 1 || record > table_.RecordCount()) return std::nullopt;
  KeyValue value;
  expression_->Evaluate(table_.Record(record), record, value);
  return common::UpperCase(common::TrimRight(page_.ToUtf8(value.text)));
}

bool TagOrder::FindByHash(std::string_view text) {
  PrepareHashes();
  std::uint64_t hash = 0;
  if (form_.collated) {
    sought_text_ = common::UpperCase(common::TrimRight(text));
    hash = HashOf(sought_text_);
  } else {
    auto key = SoughtKey(form_, page_, text);
    if (!key) return false;
    sought_ = *std::move(key);
    hash = HashOf(storage::AsText(sought_));
  }
  next_hashed_ = static_cast<std::size_t>(std::ranges::lower_bound(*hashed_, hash, {}, &HashedEntry::hash) -
                                          hashed_->begin());
  sought_hash_ = hash;
  return NextHashed();
}

bool TagOrder::NextHashed() {
  while (next_hashed_ < hashed_->size() && (*hashed_)[next_hashed_].hash == sought_hash_) {
    if (Matches((*hashed_)[next_hashed_++])) return true;
  }
  return false;
}

/// Compares the entry itself, since hashes may agree by chance, and puts the cursor on it.
bool TagOrder::Matches(const HashedEntry& entry) {
  if (form_.collated && ComparableKey(entry.record) != sought_text_) return false;
  cursor_.MoveTo(entry.position);
  return form_.collated || std::ranges::equal(cursor_.Key(), sought_);
}

bool TagOrder::ScanFor(std::uint32_t record) {
  for (bool more = cursor_.First(); more; more = cursor_.Next()) {
    if (cursor_.Record() == record) return true;
  }
  return false;
}

bool TagOrder::NextAfter(std::uint32_t record) {
  std::vector<std::byte> key(form_.length);
  bool has_key = false;
  if (expression_ && IsSound()) {
    KeyValue value;
    expression_->Evaluate(table_.Record(record), record, value);
    has_key = EncodeKey(form_, value, key);
    if (has_key && cursor_.Seek(key, record) && cursor_.Record() == record) return cursor_.Next();
  }
  // The record stands elsewhere, or not in the tag at all: it was changed without the index, or left out by
  // the tag's condition.
  if (ScanFor(record)) return cursor_.Next();
  if (has_key) return cursor_.Seek(key, record);
  throw common::Error(
      common::kDamagedDatabase,
      fmt::format("Record {} is not in index {}, so there is no next record in its order; move to "
                  "the first record, or rebuild the index in the program it comes from",
                  record, tag().name),
      tree_.file().place());
}

}  // namespace corvix::foxpro
