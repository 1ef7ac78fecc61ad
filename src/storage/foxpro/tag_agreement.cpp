#include "storage/foxpro/tag_agreement.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <functional>
#include <vector>

#include "storage/foxpro/cdx_check.h"
#include "storage/foxpro/foxpro_choices.h"

namespace corvix::foxpro {
namespace {

using storage::ByteView;

/// A number of things of a kind, and the record of the first.
struct Counted {
  std::uint64_t number = 0;
  std::uint32_t first = 0;

  void Add(std::uint32_t record) {
    if (number++ == 0) first = record;
  }
};

class Comparison {
 public:
  Comparison(CdxFile& index, const Tag& tag, DbfFile& table, TagKeys& keys)
      : tag_(tag), table_(table), keys_(keys), tree_(index, tag, keys.form().Pad()) {}

  std::string Run() {
    const std::uint64_t count = table_.RecordCount();
    std::uint64_t first = 1;
    do {
      const auto last = static_cast<std::uint32_t>(std::min(count, first + kRecordsAtOnce - 1));
      NoteEntries(static_cast<std::uint32_t>(first), last);
      if (!tree_problem_.empty()) return "its tree is damaged: " + tree_problem_;
      CompareRecords(static_cast<std::uint32_t>(first), last);
      first += kRecordsAtOnce;
    } while (first <= count);
    return Describe();
  }

 private:
  // What is known of a record's entries: a hash of its key, or one of these.
  static constexpr std::uint64_t kNone = 0;
  static constexpr std::uint64_t kSeveral = 1;

  static std::uint64_t HashOf(ByteView key) {
    return std::max<std::uint64_t>(kSeveral + 1, std::hash<std::string_view>{}(storage::AsText(key)));
  }

  void NoteEntries(std::uint32_t first, std::uint32_t last) {
    noted_.assign(std::size_t{last} - first + 1, kNone);
    outside_ = {};
    TreeVisitor visitor;
    visitor.problem = [&](std::uint32_t, const std::string& what) {
      if (tree_problem_.empty()) tree_problem_ = what;
    };
    visitor.entry = [&](ByteView key, std::uint32_t record) {
      if (record < 1 || record > table_.RecordCount()) outside_.Add(record);
      if (record < first || record > last) return;
      std::uint64_t& noted = noted_[record - first];
      noted = noted == kNone ? HashOf(key) : kSeveral;
    };
    CheckTree(tree_, visitor);
  }

  void CompareRecords(std::uint32_t first, std::uint32_t last) {
    table_.Scan(first, last, [&](std::uint32_t number, ByteView record) {
      if (IsHidden(static_cast<char>(record[0]))) return;
      const std::uint64_t noted = noted_[number - first];
      if (noted == kNone) {
        missing_.Add(number);
      } else if (noted == kSeveral) {
        repeated_.Add(number);
      } else if (!keys_.form().collated) {
        const ByteView key = keys_.KeyOf(record, number);
        if (key.empty() || noted != HashOf(key)) foreign_.Add(number);
      }
    });
  }

  std::string Describe() const {
    std::vector<std::string> parts;
    const auto tell = [&](const Counted& counted, std::string_view what) {
      if (counted.number == 0) return;
      parts.push_back(fmt::format("{}: {} (the first: record {})", what, counted.number, counted.first));
    };
    tell(missing_, tag_.condition.empty() && !tag_.IsUnique()
                       ? "live records without an entry"
                       : "live records without an entry, as it does not take all");
    tell(foreign_, "entries with another key than their record");
    tell(repeated_, "records with several entries");
    tell(outside_, "entries of records that the table does not have");
    return fmt::format("{}", fmt::join(parts, ", "));
  }

  const Tag& tag_;
  DbfFile& table_;
  TagKeys& keys_;
  TagTree tree_;
  std::string tree_problem_;
  std::vector<std::uint64_t> noted_;  // by record number, from the first of the pass
  Counted missing_;
  Counted foreign_;
  Counted repeated_;
  Counted outside_;
};

}  // namespace

std::string Disagreement(CdxFile& index, const Tag& tag, DbfFile& table, TagKeys& keys) {
  return Comparison(index, tag, table, keys).Run();
}

}  // namespace corvix::foxpro
