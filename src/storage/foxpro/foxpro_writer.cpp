#include "storage/foxpro/foxpro_writer.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "common/error.h"
#include "common/text.h"
#include "storage/foxpro/cdx_builder.h"
#include "storage/foxpro/foxpro_choices.h"
#include "storage/foxpro/key_expression.h"

namespace corvix::foxpro {
namespace {

using storage::WriteByte;
using storage::WriteLittle;

constexpr std::size_t kBufferSize = std::size_t{64} << 10;
constexpr std::size_t kMaxFields = 255;
constexpr std::size_t kMaxRecordLength = 65500;
constexpr std::byte kBlank{' '};

[[noreturn]] void Refuse(std::string what) { throw common::Error(common::kInvalidCall, std::move(what)); }

/// Visual FoxPro keeps these in binary form: empty is zeros, not blanks.
bool IsBinaryField(const DbfField& field, DbfVersion version) {
  if (!IsVisual(version)) return false;
  return std::string_view("IYTB+@O0").find(field.type) != std::string_view::npos ||
         (IsMemoField(field, version) && field.length == 4);
}

std::vector<std::byte> HeaderBytes(const NewTable& table, const DbfHeader& header,
                                   std::uint32_t record_count) {
  std::vector<std::byte> bytes(header.first_record);
  WriteByte(bytes, dbf::kVersion, static_cast<std::uint8_t>(header.version));
  WriteByte(bytes, dbf::kLastChange, static_cast<std::uint8_t>(table.last_change.year - 1900));
  WriteByte(bytes, dbf::kLastChange + 1, static_cast<std::uint8_t>(table.last_change.month));
  WriteByte(bytes, dbf::kLastChange + 2, static_cast<std::uint8_t>(table.last_change.day));
  WriteLittle<std::uint32_t>(bytes, dbf::kRecordCount, record_count);
  WriteLittle<std::uint16_t>(bytes, dbf::kFirstRecord, header.first_record);
  WriteLittle<std::uint16_t>(bytes, dbf::kRecordLength, header.record_length);
  WriteByte(bytes, dbf::kFlags, header.flags);
  WriteByte(bytes, dbf::kLanguageDriver, header.language_driver);
  std::size_t position = dbf::kHeaderSize;
  std::size_t offset = 1;
  for (const NewField& field : table.fields) {
    const auto descriptor = storage::ByteSpan(bytes).subspan(position, descriptor::kSize);
    std::ranges::copy(storage::AsBytes(field.name), descriptor.begin());
    WriteByte(descriptor, descriptor::kType, static_cast<std::uint8_t>(field.type));
    WriteLittle<std::uint32_t>(descriptor, descriptor::kOffset, static_cast<std::uint32_t>(offset));
    WriteByte(descriptor, descriptor::kLength, field.length);
    WriteByte(descriptor, descriptor::kDecimals, field.decimals);
    WriteByte(descriptor, descriptor::kFlags, field.flags);
    offset += field.length;
    position += descriptor::kSize;
  }
  WriteByte(bytes, position, static_cast<std::uint8_t>(dbf::kTerminator));
  return bytes;
}

/// Version, lengths and flags of the header; the fields are read back from its bytes.
DbfHeader PlanHeader(const NewTable& table) {
  DbfHeader header;
  header.language_driver = table.language_driver;
  std::size_t record_length = 1;
  bool has_memo = false;
  for (const NewField& field : table.fields) {
    if (field.name.empty() || field.name.size() >= descriptor::kNameSize) {
      Refuse(fmt::format("The field name '{}' must have one to ten characters", field.name));
    }
    record_length += field.length;
    has_memo = has_memo || std::string_view("MGP").find(field.type) != std::string_view::npos;
  }
  if (table.fields.empty() || table.fields.size() > kMaxFields || record_length > kMaxRecordLength) {
    Refuse(fmt::format("A table of {} fields and records of {} bytes is not possible", table.fields.size(),
                       record_length));
  }
  header.version = table.version.value_or(has_memo ? DbfVersion::FoxProMemo : DbfVersion::Plain);
  if (!table.tags.empty()) header.flags |= dbf::kHasStructuralIndex;
  if (has_memo && IsVisual(header.version)) header.flags |= dbf::kHasMemo;
  header.record_length = static_cast<std::uint16_t>(record_length);
  header.first_record =
      static_cast<std::uint16_t>(dbf::kHeaderSize + table.fields.size() * descriptor::kSize + 1 +
                                 (IsVisual(header.version) ? dbf::kDatabasePathSize : 0));
  return header;
}

}  // namespace

FoxProWriter::FoxProWriter(storage::FileSystem& files, const std::filesystem::path& directory,
                           std::string_view name, NewTable table)
    : files_(files),
      table_path_(directory / (std::string(name) + ".DBF")),
      index_path_(directory / (std::string(name) + ".CDX")),
      table_(std::move(table)),
      header_(PlanHeader(table_)),
      page_(CodePageOfTable(table_.language_driver)),
      file_(files.Open(table_path_, storage::OpenMode::Create)),
      buffer_start_(header_.first_record) {
  for (const NewTag& tag : table_.tags) {
    if (tag.name.empty() || tag.name.size() > cdx::kTagNameLength) {
      Refuse(fmt::format("The tag name '{}' must have one to ten characters", tag.name));
    }
  }
  WriteHeader();
  header_ = ReadDbfHeader(*file_, table_path_.string());
  columns_ = header_.fields;
  if (header_.null_flags) {
    const auto place = std::ranges::find(table_.fields, '0', &NewField::type) - table_.fields.begin();
    columns_.insert(columns_.begin() + place, *header_.null_flags);
  }
  const bool has_memo = std::ranges::any_of(
      header_.fields, [&](const DbfField& field) { return IsMemoField(field, header_.version); });
  if (has_memo) {
    memo_ = std::make_unique<MemoWriter>(
        files.Open(directory / (std::string(name) + ".FPT"), storage::OpenMode::Create),
        table_.memo_block_size);
  }
  StartRecord();
}

FoxProWriter::~FoxProWriter() = default;

const DbfField& FoxProWriter::FieldAt(std::size_t field) const {
  if (field >= columns_.size()) Refuse(fmt::format("There is no field at position {}", field));
  return columns_[field];
}

void FoxProWriter::StartRecord() {
  record_.assign(header_.record_length, kBlank);
  for (const DbfField& field : columns_) {
    if (!IsBinaryField(field, header_.version)) continue;
    std::fill_n(record_.begin() + field.offset, field.length, std::byte{0});
  }
}

void FoxProWriter::SetRaw(std::size_t field, std::string_view bytes) {
  const DbfField& target = FieldAt(field);
  if (bytes.size() > target.length) {
    throw common::Error(common::kFieldTooSmall, fmt::format("{} bytes do not fit field {} of {}",
                                                            bytes.size(), target.name, target.length));
  }
  const auto at = record_.begin() + target.offset;
  std::fill_n(std::ranges::copy(storage::AsBytes(bytes), at).out, target.length - bytes.size(), kBlank);
}

void FoxProWriter::SetText(std::size_t field, std::string_view text) {
  const auto bytes = page_.FromUtf8(text);
  if (!bytes) {
    throw common::Error(common::kConversion,
                        fmt::format("'{}' has a character that code page {} lacks", text, page_.number()));
  }
  SetRaw(field, *bytes);
}

void FoxProWriter::SetNumber(std::size_t field, double number) {
  const DbfField& target = FieldAt(field);
  const std::string text = fmt::format("{:{}.{}f}", number, target.length, target.decimals);
  SetRaw(field, text.size() <= target.length ? text : std::string(target.length, '*'));
}

void FoxProWriter::SetDate(std::size_t field, Day day) {
  SetRaw(field, fmt::format("{:04}{:02}{:02}", day.year, day.month, day.day));
}

void FoxProWriter::SetLogical(std::size_t field, bool truth) { SetRaw(field, truth ? "T" : "F"); }

void FoxProWriter::SetMemo(std::size_t field, std::string_view text) {
  const auto bytes = page_.FromUtf8(text);
  if (!bytes) {
    throw common::Error(common::kConversion,
                        fmt::format("The memo has a character that code page {} lacks", page_.number()));
  }
  SetMemoBytes(field, 1, *bytes);
}

void FoxProWriter::SetMemoBytes(std::size_t field, std::uint32_t type, std::string_view bytes) {
  const DbfField& target = FieldAt(field);
  if (!IsMemoField(target, header_.version)) Refuse(fmt::format("Field {} holds no memos", target.name));
  const std::uint32_t block = memo_->Append(type, bytes);
  if (target.length == 4) {
    std::array<std::byte, 4> number;
    WriteLittle<std::uint32_t>(number, 0, block);
    SetRaw(field, storage::AsText(number));
  } else {
    SetRaw(field, fmt::format("{:10}", block));
  }
}

void FoxProWriter::SetDeleted() { record_[0] = static_cast<std::byte>(kDeletedMark); }

void FoxProWriter::Append() {
  buffer_.insert(buffer_.end(), record_.begin(), record_.end());
  ++record_count_;
  if (buffer_.size() >= kBufferSize) FlushRecords();
  StartRecord();
}

void FoxProWriter::FlushRecords() {
  if (!buffer_.empty()) file_->WriteAt(buffer_start_, buffer_);
  buffer_start_ += buffer_.size();
  buffer_.clear();
}

void FoxProWriter::WriteHeader() { file_->WriteAt(0, HeaderBytes(table_, header_, record_count_)); }

void FoxProWriter::Finish() {
  buffer_.push_back(static_cast<std::byte>(dbf::kEndMark));
  FlushRecords();
  WriteHeader();
  if (memo_) memo_->Finish();
  if (!table_.tags.empty()) BuildIndex();
}

void FoxProWriter::BuildIndex() {
  DbfFile table(files_.Open(table_path_, storage::OpenMode::Read), table_path_.string());
  const auto index = files_.Open(index_path_, storage::OpenMode::Create);
  CdxBuilder builder(*index, table_.tags.size());
  std::ranges::sort(table_.tags, {}, &NewTag::name);
  for (const NewTag& wanted : table_.tags) AddTag(builder, wanted, table, page_);
  builder.Finish();
}

}  // namespace corvix::foxpro
