#include "storage/foxpro/dbf_file.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <limits>

#include "storage/foxpro/foxpro_choices.h"

namespace corvix::foxpro {
namespace {

using storage::ByteView;
using storage::ReadByte;
using storage::ReadLittle;

constexpr std::uint32_t kMostRecords = std::numeric_limits<std::uint32_t>::max() - 1;
constexpr std::uint32_t kBlockSize = 2048;
constexpr std::size_t kCacheBudget = std::size_t{4} << 20;
constexpr std::size_t kScanSize = std::size_t{256} << 10;

[[noreturn]] void ThrowDamaged(const std::string& what, const std::string& place) {
  throw common::Error(common::kDamagedDatabase,
                      what + "; copy the table again from where it came from, or repair it there", place);
}

DbfVersion RequireVersion(std::uint8_t byte, const std::string& place) {
  switch (const auto version = static_cast<DbfVersion>(byte)) {
    case DbfVersion::Plain:
    case DbfVersion::FoxProMemo:
    case DbfVersion::DBase3Memo:
    case DbfVersion::DBase4Memo:
    case DbfVersion::Visual:
    case DbfVersion::VisualAutoincrement:
    case DbfVersion::VisualVarying:
      return version;
  }
  throw common::Error(
      common::kUnrecognizedFormat,
      fmt::format("Version byte 0x{:02X} ({}) is not one that can be read; save the table as a "
                  "FoxPro 2.6 table and try again",
                  byte, DescribeVersion(byte)),
      place);
}

/// Length that a type demands, or 0 when any length will do.
std::uint16_t FixedLength(char type) {
  switch (type) {
    case 'D':
    case 'Y':
    case 'T':
    case '@':
    case 'O':
      return 8;
    case 'I':
    case '+':
      return 4;
    case 'L':
      return 1;
    default:
      return 0;
  }
}

void RequireType(const DbfField& field, DbfVersion version, const std::string& place) {
  constexpr std::string_view kCommon = "CNFDLMGPB";
  constexpr std::string_view kVisual = "IYTVQWO@+0";
  const bool known = kCommon.find(field.type) != std::string_view::npos ||
                     (IsVisual(version) && kVisual.find(field.type) != std::string_view::npos);
  if (!known) {
    ThrowDamaged(fmt::format("Field '{}' has the type byte 0x{:02X}, which stands for no type", field.name,
                             static_cast<unsigned char>(field.type)),
                 place);
  }
  const std::uint16_t demanded = field.type == 'B' && IsVisual(version) ? 8 : FixedLength(field.type);
  const bool fits = IsMemoField(field, version)
                        ? field.length == 10 || field.length == 4
                        : field.length > 0 && (demanded == 0 || field.length == demanded);
  if (!fits) {
    ThrowDamaged(fmt::format("Field '{}' of type {} has the length {}", field.name, field.type, field.length),
                 place);
  }
}

DbfField ReadDescriptor(ByteView bytes, DbfVersion version) {
  DbfField field;
  std::string_view name = storage::AsText(storage::Slice(bytes, descriptor::kName, descriptor::kNameSize));
  name = name.substr(0, name.find('\0'));
  field.name = name.substr(0, name.find_last_not_of(' ') + 1);
  field.type = static_cast<char>(ReadByte(bytes, descriptor::kType));
  field.length = ReadByte(bytes, descriptor::kLength);
  field.decimals = ReadByte(bytes, descriptor::kDecimals);
  if (IsVisual(version)) {
    field.flags = ReadByte(bytes, descriptor::kFlags);
  } else if (field.type == 'C') {
    field.length = static_cast<std::uint16_t>(field.length + field.decimals * 256);
    field.decimals = 0;
  }
  return field;
}

/// Reads the descriptors and lays the fields out one behind the other.
void ReadFields(ByteView header_bytes, DbfHeader& header, const std::string& place) {
  std::size_t offset = 1;  // behind the deletion mark
  std::uint16_t bits = 0;
  std::size_t position = dbf::kHeaderSize;
  for (; position + descriptor::kSize <= header_bytes.size(); position += descriptor::kSize) {
    if (static_cast<char>(ReadByte(header_bytes, position)) == dbf::kTerminator) break;
    DbfField field = ReadDescriptor(header_bytes.subspan(position, descriptor::kSize), header.version);
    RequireType(field, header.version, place);
    field.offset = static_cast<std::uint16_t>(offset);
    offset += field.length;
    if (offset > header.record_length) break;
    if (field.type == 'V' || field.type == 'Q') field.varying_bit = bits++;
    if (field.flags & descriptor::kNullable) field.null_bit = bits++;
    if (field.type == '0') {
      header.null_flags = std::move(field);
    } else {
      header.fields.push_back(std::move(field));
    }
  }
  if (offset != header.record_length) {
    ThrowDamaged(
        fmt::format("The fields take {} bytes of a record, the header says {}", offset, header.record_length),
        place);
  }
  if (header.fields.empty()) ThrowDamaged("The header describes no field", place);
  if (bits > 0 && header.null_flags && bits > header.null_flags->length * 8) {
    ThrowDamaged("The column of Null bits is too short for the fields that need one", place);
  }
  header.has_terminator = position < header_bytes.size() &&
                          static_cast<char>(ReadByte(header_bytes, position)) == dbf::kTerminator;
}

}  // namespace

std::string_view DescribeVersion(std::uint8_t version) {
  switch (version) {
    case 0x02:
      return "FoxBASE or dBASE II";
    case 0x03:
      return "FoxPro 2.x, FoxBASE+ or dBASE III+";
    case 0x04:
    case 0x8C:
      return "dBASE 7";
    case 0x30:
    case 0x31:
    case 0x32:
      return "Visual FoxPro";
    case 0x43:
    case 0x63:
    case 0xCB:
      return "dBASE IV SQL";
    case 0x83:
      return "FoxBASE+ or dBASE III+ with memo";
    case 0x8B:
      return "dBASE IV with memo";
    case 0xF5:
      return "FoxPro 2.x with memo";
    case 0xFB:
      return "FoxBASE with memo";
    default:
      return "no table format";
  }
}

bool IsMemoField(const DbfField& field, DbfVersion version) {
  switch (field.type) {
    case 'M':
    case 'G':
    case 'P':
    case 'W':
      return true;
    case 'B':
      return !IsVisual(version);
    default:
      return false;
  }
}

DbfHeader ReadDbfHeader(storage::File& file, const std::string& place) {
  std::array<std::byte, dbf::kHeaderSize> fixed{};
  if (file.ReadAt(0, fixed) < fixed.size()) {
    ThrowDamaged(fmt::format("The file has {} bytes, fewer than the header of a table", file.Size()), place);
  }
  DbfHeader header;
  header.version = RequireVersion(ReadByte(fixed, dbf::kVersion), place);
  header.promised_records = ReadLittle<std::uint32_t>(fixed, dbf::kRecordCount);
  header.first_record = ReadLittle<std::uint16_t>(fixed, dbf::kFirstRecord);
  header.record_length = ReadLittle<std::uint16_t>(fixed, dbf::kRecordLength);
  header.flags = ReadByte(fixed, dbf::kFlags);
  header.language_driver = ReadByte(fixed, dbf::kLanguageDriver);
  if (header.version == DbfVersion::DBase4Memo && ReadByte(fixed, dbf::kEncrypted) != 0) {
    throw common::Error(common::kUnrecognizedFormat,
                        "The table is encrypted; save it without encryption and try again", place);
  }
  if (header.first_record < dbf::kHeaderSize || header.first_record > file.Size()) {
    ThrowDamaged(fmt::format("The first record should be at {}, the file has {} bytes", header.first_record,
                             file.Size()),
                 place);
  }
  std::vector<std::byte> bytes(header.first_record);
  bytes.resize(file.ReadAt(0, bytes));
  ReadFields(bytes, header, place);
  return header;
}

DbfFile::DbfFile(std::unique_ptr<storage::File> file, std::string place)
    : file_(std::move(file)), place_(std::move(place)), header_(ReadDbfHeader(*file_, place_)) {
  held_records_ = (file_->Size() - header_.first_record) / header_.record_length;
  record_count_ =
      static_cast<std::uint32_t>(std::min<std::uint64_t>(header_.promised_records, held_records_));
  // Blocks hold whole records, so that a record never lies in two of them.
  records_per_block_ = std::max<std::uint32_t>(1, kBlockSize / header_.record_length);
  cache_.emplace(*file_, header_.first_record, records_per_block_ * header_.record_length, kCacheBudget);
  if (held_records_ >= header_.promised_records) CountBehindHeader();
}

/// What lies behind the records of the header is more of them as long as it begins like one: not with the end
/// mark, and not with what a disk or a copy left there.
void DbfFile::CountBehindHeader() {
  const auto begins_a_record = [&](std::uint64_t index) {
    const ByteView block = cache_->Block(index / records_per_block_);
    const std::size_t offset = index % records_per_block_ * header_.record_length;
    if (offset >= block.size()) return false;
    const char mark = static_cast<char>(block[offset]);
    return mark == kLiveMark || mark == kDeletedMark;
  };
  const std::uint64_t most = std::min<std::uint64_t>(held_records_, kMostRecords);
  while (record_count_ < most && begins_a_record(record_count_)) ++record_count_;
  uncounted_records_ = record_count_ - header_.promised_records;
  if (record_count_ != held_records_ || !begins_a_record(record_count_)) return;
  torn_bytes_ = static_cast<std::uint32_t>((file_->Size() - header_.first_record) % header_.record_length);
}

void DbfFile::RequireAllRecords() const {
  if (held_records_ >= header_.promised_records) return;
  ThrowDamaged(fmt::format("The header promises {} records, the file holds {}: it is cut off",
                           header_.promised_records, held_records_),
               place_);
}

storage::ByteView DbfFile::Record(std::uint32_t number) {
  if (number < 1 || number > record_count_) ThrowCut(number);
  const std::uint32_t index = number - 1;
  const ByteView block = cache_->Block(index / records_per_block_);
  const std::size_t offset = std::size_t{index % records_per_block_} * header_.record_length;
  if (offset + header_.record_length > block.size()) ThrowCut(number);
  return block.subspan(offset, header_.record_length);
}

void DbfFile::ThrowCut(std::uint32_t number) const {
  ThrowDamaged(fmt::format("Record {} is not in the file", number), place_);
}

bool DbfFile::IsHidden(std::uint32_t number) {
  return foxpro::IsHidden(static_cast<char>(ReadByte(Record(number), 0)));
}

void DbfFile::Scan(std::uint32_t first, std::uint32_t last, const RecordVisitor& visit) {
  const std::size_t length = header_.record_length;
  const std::size_t at_once = std::max<std::size_t>(1, kScanSize / length);
  std::vector<std::byte> buffer(at_once * length);
  for (std::uint64_t number = first; number <= last;) {
    const std::size_t wanted = std::min<std::uint64_t>(at_once, last - number + 1);
    const std::size_t read =
        file_->ReadAt(header_.first_record + (number - 1) * length, std::span(buffer).first(wanted * length));
    if (read < wanted * length) ThrowCut(static_cast<std::uint32_t>(number + read / length));
    for (std::size_t i = 0; i < wanted; ++i, ++number) {
      visit(static_cast<std::uint32_t>(number), ByteView(buffer).subspan(i * length, length));
    }
  }
}

std::uint32_t DbfFile::CountVisible() {
  std::uint32_t visible = 0;
  Scan(1, record_count_, [&](std::uint32_t, ByteView record) {
    if (!foxpro::IsHidden(static_cast<char>(record[0]))) ++visible;
  });
  return visible;
}

}  // namespace corvix::foxpro
