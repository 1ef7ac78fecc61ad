#include "storage/foxpro/index_check.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <optional>

#include "common/error.h"
#include "storage/foxpro/cdx_check.h"
#include "storage/foxpro/foxpro_choices.h"
#include "storage/foxpro/key_expression.h"

namespace corvix::foxpro {
namespace {

using storage::ByteView;

std::string Printable(ByteView key) {
  const std::string_view text = storage::AsText(key);
  if (std::ranges::all_of(text, [](char c) { return c >= ' ' && c < 0x7F; })) {
    return fmt::format("'{}'", TextOfField(text));
  }
  std::string hex;
  for (const std::byte b : key) hex += fmt::format("{:02x}", std::to_integer<unsigned>(b));
  return hex;
}

/// Which tag each page of the file belongs to, to find pages that two trees share.
class PageOwners {
 public:
  void Claim(std::uint32_t offset, const std::string& tag, const std::string& place, FindingList& findings) {
    const auto [owner, is_new] = owners_.try_emplace(offset, tag);
    if (is_new || owner->second == tag) return;
    findings.Problem("shared pages", place,
                     fmt::format("the page at {} belongs to tag {} as well", offset, owner->second));
  }
  std::size_t size() const { return owners_.size(); }

 private:
  std::map<std::uint32_t, std::string> owners_;
};

class TagCheck {
 public:
  TagCheck(CdxFile& index, const Tag& tag, DbfFile& table, const storage::CodePage& page, PageOwners& owners,
           FindingList& findings)
      : index_(index),
        tag_(tag),
        table_(table),
        page_(page),
        owners_(owners),
        findings_(findings),
        place_(index.place() + ", tag " + tag.name),
        seen_(table.RecordCount() + std::size_t{1}) {}

  TagFacts Run() {
    facts_ = {.name = tag_.name,
              .key = tag_.key,
              .condition = tag_.condition,
              .collation = tag_.collation,
              .key_length = tag_.key_length,
              .unique = tag_.IsUnique(),
              .descending = tag_.descending};
    Understand();
    TagTree tree(index_, tag_, form_.Pad());
    TreeVisitor visitor;
    visitor.problem = [&](std::uint32_t page, const std::string& what) {
      sound_ = false;
      findings_.Problem(place_ + ": tree", fmt::format("{}, page at {}", place_, page), what);
    };
    visitor.oddity = [&](std::uint32_t page, const std::string& what) {
      findings_.Note(place_ + ": pages", fmt::format("{}, page at {}", place_, page), what);
    };
    visitor.entry = [&](ByteView key, std::uint32_t record) { CheckEntry(key, record); };
    visitor.page = [&](std::uint32_t page) { owners_.Claim(page, tag_.name, place_, findings_); };
    const TreeFacts tree_facts = CheckTree(tree, visitor);
    facts_.entries = tree_facts.entries;
    facts_.levels = tree_facts.levels;
    facts_.pages = tree_facts.pages;
    CheckCompleteness(tree);
    facts_.keys_compared = compare_keys_;
    return facts_;
  }

 private:
  /// Prepares key and condition; what is not understood is not compared.
  void Understand() {
    try {
      expression_.emplace(tag_.key, table_.header(), page_);
      if (!tag_.condition.empty()) condition_.emplace(tag_.condition, table_.header(), page_);
      compare_keys_ = tag_.collation.empty();
      if (!compare_keys_) {
        findings_.Note(place_, place_,
                       fmt::format("keys not compared: they follow the sequence {}", tag_.collation));
      }
    } catch (const common::Error& error) {
      findings_.Note(place_, place_, "keys not compared: " + error.text());
    }
    form_ = FormOfTag(tag_, expression_ ? std::optional(expression_->type()) : std::nullopt);
    computed_.resize(form_.length);
  }

  bool ConditionHolds(std::uint32_t record) {
    return !condition_ || condition_->Holds(table_.Record(record), record);
  }

  /// The key that the record should have, in computed_.
  bool ComputeKey(std::uint32_t record) {
    if (!compare_keys_) return false;
    expression_->Evaluate(table_.Record(record), record, value_);
    if (EncodeKey(form_, value_, computed_)) return true;
    compare_keys_ = false;
    findings_.Note(
        place_, place_,
        fmt::format("keys not compared: keys of {} bytes are not known for this expression", form_.length));
    return false;
  }

  void CheckEntry(ByteView key, std::uint32_t record) {
    if (record < 1 || record > table_.RecordCount()) {
      findings_.Problem(
          place_ + ": record numbers", place_,
          fmt::format("an entry names record {}, the table has {}", record, table_.RecordCount()));
      return;
    }
    const std::string place = fmt::format("{}, record {}", place_, record);
    if (seen_[record]) findings_.Problem(place_ + ": entries", place, "the record has two entries");
    seen_[record] = true;
    if (table_.IsHidden(record)) ++facts_.deleted_entries;
    if (ComputeKey(record) && !std::ranges::equal(key, computed_)) {
      findings_.Problem(
          place_ + ": keys", place,
          fmt::format("the index holds the key {}, the record gives {}: the table was changed without "
                      "its index; rebuild the index",
                      Printable(key), Printable(computed_)));
    }
    if (condition_ && !ConditionHolds(record)) {
      findings_.Problem(place_ + ": condition", place,
                        "the record has an entry although the condition excludes it");
    }
  }

  /// Whether every record that belongs into the tag is there.
  void CheckCompleteness(TagTree& tree) {
    const bool condition_known = condition_.has_value() || tag_.condition.empty();
    if (!condition_known) return;
    TagCursor cursor(tree);
    for (std::uint32_t record = 1; record <= table_.RecordCount(); ++record) {
      if (seen_[record] || !ConditionHolds(record)) continue;
      const std::string place = fmt::format("{}, record {}", place_, record);
      if (tag_.IsUnique()) {
        // Another record stands for all of one key.
        if (!sound_ || !ComputeKey(record) || cursor.FindEqual(computed_)) continue;
        findings_.Problem(
            place_ + ": missing", place,
            fmt::format("the key {} is not in the index; rebuild the index", Printable(computed_)));
      } else if (table_.IsHidden(record)) {
        findings_.Note(place_ + ": missing deleted records", place,
                       "the record, a deleted one, has no entry");
      } else {
        findings_.Problem(place_ + ": missing", place, "the record has no entry; rebuild the index");
      }
    }
  }

  CdxFile& index_;
  const Tag& tag_;
  DbfFile& table_;
  const storage::CodePage& page_;
  PageOwners& owners_;
  FindingList& findings_;
  std::string place_;
  std::vector<bool> seen_;  // by record number
  std::optional<KeyExpression> expression_;
  std::optional<KeyExpression> condition_;
  bool compare_keys_ = false;
  bool sound_ = true;
  KeyForm form_;
  KeyValue value_;
  std::vector<std::byte> computed_;
  TagFacts facts_;
};

void CheckDirectory(CdxFile& index, PageOwners& owners, FindingList& findings) {
  const std::string place = index.place() + ", directory of tags";
  TagTree tree(index, index.directory(), std::byte{' '});
  TreeVisitor visitor;
  visitor.problem = [&](std::uint32_t page, const std::string& what) {
    findings.Problem(place, fmt::format("{}, page at {}", place, page), what);
  };
  visitor.page = [&](std::uint32_t page) { owners.Claim(page, index.directory().name, place, findings); };
  CheckTree(tree, visitor);
}

}  // namespace

std::vector<TagFacts> CheckIndex(CdxFile& index, DbfFile& table, const storage::CodePage& page,
                                 FindingList& findings) {
  if (index.size() % cdx::kPageSize != 0) {
    findings.Note(index.place(), index.place(),
                  fmt::format("the size of {} bytes is no multiple of a page", index.size()));
  }
  PageOwners owners;
  const auto claim_header = [&](const Tag& tag) {
    owners.Claim(tag.header, tag.name, index.place(), findings);
    owners.Claim(tag.header + static_cast<std::uint32_t>(cdx::kPageSize), tag.name, index.place(), findings);
  };
  claim_header(index.directory());
  for (const Tag& tag : index.tags()) claim_header(tag);
  CheckDirectory(index, owners, findings);
  std::vector<TagFacts> facts;
  for (const Tag& tag : index.tags()) {
    facts.push_back(TagCheck(index, tag, table, page, owners, findings).Run());
  }
  if (owners.size() < index.PageCount()) {
    findings.Note(
        index.place(), index.place(),
        fmt::format("{} pages belong to no tag, which does no harm", index.PageCount() - owners.size()));
  }
  return facts;
}

}  // namespace corvix::foxpro
