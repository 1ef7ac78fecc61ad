#include "storage/foxpro/table_index.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>
#include <vector>

#include "common/text.h"
#include "storage/base/scratch_file.h"
#include "storage/foxpro/tag_agreement.h"
#include "storage/foxpro/tag_keys.h"

namespace corvix::foxpro {
namespace {

/// With what sorting the keys needs, a built index keeps below 32 MiB of memory.
constexpr std::size_t kMostInMemory = std::size_t{16} << 20;
/// Choices are small; the limit only keeps a program that runs for weeks from collecting them.
constexpr std::size_t kMostChoices = 256;

const DbfField* FindField(const DbfHeader& header, std::string_view name) {
  const auto found = std::ranges::find_if(
      header.fields, [&](const DbfField& field) { return common::EqualIgnoringCase(field.name, name); });
  return found == header.fields.end() ? nullptr : &*found;
}

/// A tag that is named like a field is an index over that field, alone or with others.
bool IsOverItsField(const Tag& tag, const DbfHeader& header) {
  const DbfField* field = FindField(header, tag.name);
  return !field || common::UpperCase(tag.key).find(common::UpperCase(field->name)) != std::string::npos;
}

std::shared_ptr<CdxFile> Build(const NewTag& wanted, DbfFile& table, const storage::CodePage& page,
                               std::string place) {
  auto file = std::make_unique<storage::ScratchFile>(kMostInMemory);
  CdxBuilder builder(*file, 1);
  AddTag(builder, wanted, table, page);
  builder.Finish();
  return std::make_shared<CdxFile>(std::move(file), std::move(place));
}

/// Identity and time of the files; empty where the file system does not tell them.
std::string StampOf(storage::FileSystem& files, const TableFiles& paths) {
  std::string stamp;
  for (const auto& path : {std::optional(paths.table), paths.index}) {
    if (!path) {
      stamp += "none;";
      continue;
    }
    const auto identity = files.Identity(*path);
    const auto changed = files.ChangedAt(*path);
    if (!identity || !changed) return {};
    stamp += fmt::format("{} {};", *identity, changed->time_since_epoch().count());
  }
  return stamp;
}

void Append(std::string& text, std::string_view more) {
  if (more.empty()) return;
  if (!text.empty()) text += "; ";
  text += more;
}

}  // namespace

const IndexChoices::Choice* IndexChoices::Find(const std::string& state) const {
  const auto found = choices_.find(state);
  return found == choices_.end() ? nullptr : &found->second;
}

void IndexChoices::Keep(const std::string& state, const ChosenTag& chosen) {
  if (choices_.size() >= kMostChoices) choices_.clear();
  choices_[state] = {.built = chosen.index, .rebuilt = chosen.rebuilt};
}

TableIndex::TableIndex(storage::FileSystem& files, const TableFiles& paths, IndexChoices* choices)
    : files_(files), paths_(paths), choices_(choices), stamp_(choices ? StampOf(files, paths) : "") {
  if (!paths_.index) return;
  try {
    file_ =
        std::make_shared<CdxFile>(files.Open(*paths_.index, storage::OpenMode::Read), paths_.index->string());
  } catch (const common::Error& error) {
    damage_ = error;
  }
}

std::span<const Tag> TableIndex::Tags() const {
  if (!file_) return {};
  return file_->tags();
}

ChosenTag TableIndex::Choose(std::string_view name, DbfFile& table, const storage::CodePage& page) {
  // A stamp says nothing when the files changed while they were opened.
  if (stamp_.empty() || stamp_ != StampOf(files_, paths_)) return Compare(name, table, page);
  const std::string state = fmt::format("{}{} {} {}", stamp_, table.HeldRecords(), file_ ? file_->size() : 0,
                                        common::UpperCase(name));
  if (const auto* known = choices_->Find(state)) {
    const auto index = known->rebuilt.empty() ? file_ : known->built.lock();
    if (index) return {index, index->FindTag(name), known->rebuilt};
  }
  ChosenTag chosen = Compare(name, table, page);
  choices_->Keep(state, chosen);
  return chosen;
}

ChosenTag TableIndex::Compare(std::string_view name, DbfFile& table, const storage::CodePage& page) const {
  if (damage_ && common::IsDeviceError(damage_->number())) throw *damage_;
  const Tag* own = file_ ? file_->FindTag(name) : nullptr;
  if (own && common::Trim(own->key).empty()) own = nullptr;
  const bool is_model = own && IsOverItsField(*own, table.header());
  const NewTag replacement = Replacement(name, is_model ? own : nullptr, table.header());
  try {
    std::string fault = FaultOf(replacement.name, own, table, page);
    if (fault.empty()) return {file_, own, {}};
    auto built = Build(replacement, table, page, paths_.table.string());
    const Tag* tag = built->FindTag(replacement.name);
    return {std::move(built), tag, std::move(fault)};
  } catch (const common::Error& error) {
    if (error.number() != common::kCannotBuildKey && error.number() != common::kInvalidCall) throw;
    throw common::Error(common::kNotAnIndex,
                        fmt::format("Index '{}' of table {} cannot be compared with the records: {}; create "
                                    "it over the field {} in the program it comes from",
                                    name, paths_.name, error.text(), name),
                        paths_.directory.string());
  }
}

NewTag TableIndex::Replacement(std::string_view name, const Tag* model, const DbfHeader& header) const {
  // Deleted records are not shown, so their entries would be of no use.
  constexpr const char* kLive = "!DELETED()";
  if (model) {
    return {.name = model->name,
            .key = model->key,
            .condition = kLive,
            .descending = model->descending,
            .collation = model->collation};
  }
  if (const DbfField* field = FindField(header, name)) {
    return {.name = field->name, .key = field->name, .condition = kLive};
  }
  const std::string file_name = paths_.FileName(".CDX");
  const std::string why =
      damage_ ? damage_->text()
      : file_ ? fmt::format("{} has no tag of that name, and the table no field", file_name)
              : fmt::format("there is no index file {}, and the table has no field of that name", file_name);
  throw common::Error(common::kNotAnIndex,
                      fmt::format("Table {} has no index '{}': {}; create it in the program it comes from",
                                  paths_.name, name, why),
                      paths_.directory.string());
}

std::string TableIndex::FaultOf(std::string_view name, const Tag* own, DbfFile& table,
                                const storage::CodePage& page) const {
  const std::string file_name = paths_.FileName(".CDX");
  std::string fault;
  if (own) {
    TagKeys keys(*own, table.header(), page);
    if (!IsOverItsField(*own, table.header())) {
      fault = fmt::format("the tag {} of {} is over '{}', not over the field", name, file_name, own->key);
    } else if (const std::string what = Disagreement(*file_, *own, table, keys); !what.empty()) {
      fault = fmt::format("the tag {} of {} does not fit its table: {}", name, file_name, what);
    }
  } else if (file_) {
    fault = fmt::format("{} has no tag {}", file_name, name);
  } else if (damage_) {
    fault = fmt::format("{} cannot be read: {}", file_name, damage_->text());
  } else {
    fault = fmt::format("the index file {} is missing", file_name);
  }
  if (table.UncountedRecords() > 0) {
    Append(fault, fmt::format("the header of {} counts {} records, the file holds {}",
                              paths_.FileName(".DBF"), table.header().promised_records, table.RecordCount()));
  }
  if (table.TornBytes() > 0) {
    Append(fault, fmt::format("{} ends with the first {} bytes of a record, which cannot be read",
                              paths_.FileName(".DBF"), table.TornBytes()));
  }
  return fault;
}

}  // namespace corvix::foxpro
