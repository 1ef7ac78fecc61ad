#include "storage/jet/rows/row_codec.h"

#include <algorithm>
#include <bit>
#include <fmt/format.h>

#include "common/error.h"
#include "common/text.h"
#include "storage/jet/rows/text_codec.h"

namespace corvix::jet {

using common::Error;
using storage::AppendLittle;
using storage::ByteView;
using storage::ReadLittle;
using storage::WriteLittle;

namespace {

constexpr std::size_t kCountSize = 2;  // of N, m and each offset
constexpr std::byte kNegative{0x80};   // first byte of a decimal

std::size_t MaskLength(std::size_t columns) { return (columns + 7) / 8; }

/// Stored GUIDs have their first three parts in little-endian order; this is its own inverse.
template <typename To, typename From>
void ReorderGuid(From from, To to) {
  constexpr std::size_t kOrder[] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  for (std::size_t i = 0; i < std::size(kOrder); ++i) to(i, from(kOrder[i]));
}

core::Guid DecodeGuid(ByteView stored) {
  core::Guid guid;
  ReorderGuid([&](std::size_t i) { return std::to_integer<std::uint8_t>(stored[i]); },
              [&](std::size_t i, std::uint8_t byte) { guid.bytes[i] = byte; });
  return guid;
}

core::Decimal DecodeDecimal(const Column& column, ByteView stored) {
  core::Decimal value;
  value.negative = (stored[0] & kNegative) != std::byte{0};
  value.scale = column.scale;
  for (std::size_t i = 0; i < value.magnitude.size(); ++i) {
    value.magnitude[i] = ReadLittle<std::uint32_t>(stored, 1 + 4 * i);
  }
  return value;
}

void RequireType(const Column& column, const core::Value& value) {
  if (IsValueOf(column.type, value)) return;
  throw Error(common::kConversion, fmt::format("The value is not of the type of column {}", column.name));
}

/// Refuses a value that is longer than its column.
void CheckLength(const Column& column, std::size_t length, std::size_t limit, std::string_view unit) {
  if (length <= limit) return;
  throw Error(common::kFieldTooSmall, fmt::format("The value has {} {}, but column {} holds {} only", length,
                                                  unit, column.name, limit));
}

void EncodeColumnText(const Column& column, const std::string& text, std::vector<std::byte>& stored) {
  const std::size_t limit = column.length / 2U;
  // A text has no more characters than bytes.
  if (text.size() > limit) CheckLength(column, common::Utf16Length(text), limit, "characters");
  const std::size_t begin = stored.size();
  EncodeText(text, column.compressed && !column.IsFixed(), stored);
  if (!column.IsFixed()) return;
  while (stored.size() - begin + 2 <= column.length) AppendLittle<std::uint16_t>(stored, u' ');
}

void EncodeColumnBytes(const Column& column, const core::Bytes& bytes, std::vector<std::byte>& stored) {
  CheckLength(column, bytes.size(), column.length, "bytes");
  stored.insert(stored.end(), bytes.begin(), bytes.end());
  if (column.IsFixed()) stored.resize(stored.size() + column.length - bytes.size());
}

void EncodeGuid(const core::Guid& guid, std::vector<std::byte>& stored) {
  const std::size_t begin = stored.size();
  stored.resize(begin + guid.bytes.size());
  ReorderGuid([&](std::size_t i) { return guid.bytes[i]; },
              [&](std::size_t i, std::uint8_t byte) { stored[begin + i] = std::byte{byte}; });
}

void EncodeDecimal(const Column& column, const core::Decimal& value, std::vector<std::byte>& stored) {
  if (value.scale != column.scale) {
    throw Error(common::kConversion, fmt::format("The decimal has {} places; column {} holds {}", value.scale,
                                                 column.name, column.scale));
  }
  stored.push_back(value.negative ? kNegative : std::byte{0});
  for (const std::uint32_t word : value.magnitude) AppendLittle(stored, word);
}

/// Appends the stored bytes of a value that is of the column's type.
struct ValueEncoder {
  const Column& column;
  std::vector<std::byte>& stored;

  void operator()(core::Null) const { Refuse(); }
  void operator()(bool) const { Refuse(); }  // stands in the null mask
  void operator()(std::uint8_t value) const { AppendLittle(stored, value); }
  void operator()(std::int16_t value) const { AppendLittle(stored, std::bit_cast<std::uint16_t>(value)); }
  void operator()(std::int32_t value) const { AppendLittle(stored, std::bit_cast<std::uint32_t>(value)); }
  void operator()(core::Currency value) const {
    AppendLittle(stored, std::bit_cast<std::uint64_t>(value.scaled));
  }
  void operator()(float value) const { AppendLittle(stored, std::bit_cast<std::uint32_t>(value)); }
  void operator()(double value) const { AppendLittle(stored, std::bit_cast<std::uint64_t>(value)); }
  void operator()(core::Date value) const { (*this)(value.serial); }
  void operator()(const std::string& text) const {
    if (column.IsLongValue()) return EncodeText(text, column.compressed, stored);
    EncodeColumnText(column, text, stored);
  }
  void operator()(const core::Bytes& bytes) const {
    if (!column.IsLongValue()) return EncodeColumnBytes(column, bytes, stored);
    stored.insert(stored.end(), bytes.begin(), bytes.end());
  }
  void operator()(const core::Guid& guid) const { EncodeGuid(guid, stored); }
  void operator()(const core::Decimal& value) const { EncodeDecimal(column, value, stored); }

  [[noreturn]] void Refuse() const {
    throw Error(common::kUnsupported, fmt::format("Column {} has a type ({}) that cannot be written",
                                                  column.name, static_cast<int>(column.type)));
  }
};

}  // namespace

// --- reading --------------------------------------------------------------------------------------------

RowView::RowView(ByteView row, const TableDefinition& table, const Place& place) : row_(row), place_(place) {
  if (row.size() < kCountSize) ThrowDamaged(place, fmt::format("A row cannot have {} bytes", row.size()));
  columns_ = ReadLittle<std::uint16_t>(row, 0);
  std::size_t behind = MaskLength(columns_);
  if (table.variable_columns > 0) {
    behind += kCountSize;
    if (behind + kCountSize <= row.size()) {
      variable_count_ = ReadLittle<std::uint16_t>(row, row.size() - behind);
      behind += kCountSize * (variable_count_ + 1);
    }
  }
  if (kCountSize + behind > row.size()) {
    ThrowDamaged(place, fmt::format("A row of {} bytes cannot hold {} columns, {} of them variable",
                                    row.size(), columns_, variable_count_));
  }
  mask_ = row.size() - MaskLength(columns_);
  data_end_ = row.size() - behind;
}

bool RowView::MaskBit(std::uint16_t number) const {
  return number < columns_ && storage::TestBit(row_.subspan(mask_), number);
}

bool RowView::IsNull(const Column& column) const {
  if (column.type == ColumnType::YesNo) return false;
  return !MaskBit(column.number) || (!column.IsFixed() && column.variable_index >= variable_count_);
}

ByteView RowView::Bytes(const Column& column) const {
  if (IsNull(column)) return {};
  return column.IsFixed() ? FixedBytes(column) : VariableBytes(column);
}

ByteView RowView::FixedBytes(const Column& column) const {
  const std::size_t begin = kCountSize + column.fixed_offset;
  const std::size_t size = column.FixedSize();
  if (begin + size > data_end_) {
    ThrowDamaged(place_, fmt::format("Column {} would end at byte {} of the row, which has room up to {}",
                                     column.name, begin + size, data_end_));
  }
  return row_.subspan(begin, size);
}

ByteView RowView::VariableBytes(const Column& column) const {
  // Offsets stand in front of m, index 0 last; the end of the data is the offset of index m.
  const std::size_t last = mask_ - 2 * kCountSize;
  const std::size_t begin = ReadLittle<std::uint16_t>(row_, last - kCountSize * column.variable_index);
  const std::size_t end = ReadLittle<std::uint16_t>(row_, last - kCountSize * (column.variable_index + 1u));
  if (begin < kCountSize || begin > end || end > data_end_) {
    ThrowDamaged(place_, fmt::format("Column {} cannot reach from byte {} to byte {} of the row", column.name,
                                     begin, end));
  }
  return row_.subspan(begin, end - begin);
}

bool RowView::Text(const Column& column, std::string& text) const {
  text.clear();
  if (IsNull(column)) return false;
  DecodeText(Bytes(column), text);
  return true;
}

core::Value RowView::Value(const Column& column) const {
  if (column.type == ColumnType::YesNo) return IsTrue(column);
  if (IsNull(column)) return core::Null{};
  return DecodeValue(column, Bytes(column), place_);
}

core::Value DecodeValue(const Column& column, ByteView stored, const Place& place) {
  const std::size_t size = InfoOf(column.type).size;
  if (stored.size() < size) {
    ThrowDamaged(place,
                 fmt::format("Column {} has {} bytes; {} are needed", column.name, stored.size(), size));
  }
  switch (column.type) {
    case ColumnType::Byte:
      return ReadLittle<std::uint8_t>(stored, 0);
    case ColumnType::Integer:
      return std::bit_cast<std::int16_t>(ReadLittle<std::uint16_t>(stored, 0));
    case ColumnType::Long:
      return std::bit_cast<std::int32_t>(ReadLittle<std::uint32_t>(stored, 0));
    case ColumnType::Currency:
      return core::Currency{std::bit_cast<std::int64_t>(ReadLittle<std::uint64_t>(stored, 0))};
    case ColumnType::Single:
      return std::bit_cast<float>(ReadLittle<std::uint32_t>(stored, 0));
    case ColumnType::Double:
      return std::bit_cast<double>(ReadLittle<std::uint64_t>(stored, 0));
    case ColumnType::Date:
      return core::Date{std::bit_cast<double>(ReadLittle<std::uint64_t>(stored, 0))};
    case ColumnType::Text: {
      std::string text;
      DecodeText(stored, text);
      return text;
    }
    case ColumnType::Guid:
      return DecodeGuid(stored);
    case ColumnType::Decimal:
      return DecodeDecimal(column, stored);
    case ColumnType::Binary:
    case ColumnType::Opaque:
      return core::Bytes(stored.begin(), stored.end());
    case ColumnType::YesNo:
    case ColumnType::Ole:
    case ColumnType::Memo:
      break;
  }
  throw Error(common::kUnsupported, fmt::format("Column {} has a type ({}) that cannot be read", column.name,
                                                static_cast<int>(column.type)));
}

// --- writing --------------------------------------------------------------------------------------------

void EncodeValue(const Column& column, const core::Value& value, std::vector<std::byte>& stored) {
  RequireType(column, value);
  std::visit(ValueEncoder{column, stored}, value);
}

RowBuilder::RowBuilder(const TableDefinition& table)
    : table_(table), variable_(table.variable_columns), mask_(MaskLength(table.max_columns)) {
  std::size_t fixed_length = 0;
  for (const Column& column : table.columns) {
    if (column.IsFixed()) fixed_length = std::max(fixed_length, column.fixed_offset + column.FixedSize());
  }
  fixed_.resize(fixed_length);
}

void RowBuilder::Clear() {
  std::ranges::fill(fixed_, std::byte{0});
  std::ranges::fill(variable_, Piece{});
  std::ranges::fill(mask_, std::byte{0});
  data_.clear();
  variable_bytes_ = 0;
}

void RowBuilder::SetMaskBit(const Column& column, bool value) {
  if (column.number >= table_.max_columns) {
    ThrowDamaged({nullptr, table_.page, {}}, fmt::format("Column {} has number {}, but the table ends at {}",
                                                         column.name, column.number, table_.max_columns));
  }
  storage::AssignBit(mask_, column.number, value);
}

void RowBuilder::SetBool(const Column& column, const core::Value& value) {
  if (!core::IsNull(value)) RequireType(column, value);
  SetMaskBit(column, !core::IsNull(value) && std::get<bool>(value));
}

void RowBuilder::Set(const Column& column, ByteView stored) {
  SetMaskBit(column, true);
  if (column.IsFixed()) {
    std::ranges::copy(stored.first(std::min(stored.size(), column.FixedSize())),
                      fixed_.begin() + column.fixed_offset);
    return;
  }
  Piece& piece = PieceOf(column);
  variable_bytes_ += stored.size() - piece.length;
  piece = {data_.size(), stored.size()};
  data_.insert(data_.end(), stored.begin(), stored.end());
}

void RowBuilder::SetValue(const Column& column, const core::Value& value) {
  if (column.IsFixed()) {
    value_.clear();
    EncodeValue(column, value, value_);
    return Set(column, value_);
  }
  Piece& piece = PieceOf(column);
  const std::size_t begin = data_.size();
  EncodeValue(column, value, data_);
  SetMaskBit(column, true);
  variable_bytes_ += data_.size() - begin - piece.length;
  piece = {begin, data_.size() - begin};
}

void RowBuilder::Load(const RowView& row, const ColumnSet& left_out) {
  Clear();
  for (std::size_t i = 0; i < table_.columns.size(); ++i) {
    const Column& column = table_.columns[i];
    if (left_out[i] || !row.MaskBit(column.number)) continue;
    if (column.type == ColumnType::YesNo) {
      SetMaskBit(column, true);
    } else if (column.IsFixed()) {
      Set(column, row.FixedBytes(column));
    } else if (column.variable_index < row.variable_count_) {
      Set(column, row.VariableBytes(column));
    }
  }
}

RowBuilder::Piece& RowBuilder::PieceOf(const Column& column) {
  if (column.variable_index >= variable_.size()) {
    ThrowDamaged({nullptr, table_.page, {}},
                 fmt::format("Column {} has variable index {}, but the table has {} variable columns",
                             column.name, column.variable_index, variable_.size()));
  }
  return variable_[column.variable_index];
}

ByteView RowBuilder::Stored(const Column& column) const {
  if (column.IsFixed() || column.variable_index >= variable_.size()) return {};
  const Piece& piece = variable_[column.variable_index];
  return ByteView(data_).subspan(piece.begin, piece.length);
}

std::size_t RowBuilder::length() const {
  const std::size_t offsets = variable_.empty() ? 0 : kCountSize * (variable_.size() + 2);
  return kCountSize + fixed_.size() + variable_bytes_ + offsets + mask_.size();
}

ByteView RowBuilder::Build() {
  if (length() > data_page::kMaxRow) {
    throw Error(common::kRecordTooLarge,
                fmt::format("The record needs {} bytes, but a record holds {} only; shorten its texts",
                            length(), data_page::kMaxRow));
  }
  row_.resize(length());
  WriteLittle<std::uint16_t>(row_, 0, table_.max_columns);
  auto out = std::ranges::copy(fixed_, row_.begin() + kCountSize).out;
  if (!variable_.empty()) {
    std::size_t slot = row_.size() - mask_.size() - kCountSize;
    WriteLittle<std::uint16_t>(row_, slot, static_cast<std::uint16_t>(variable_.size()));
    const auto put_offset = [&] {
      slot -= kCountSize;
      WriteLittle<std::uint16_t>(row_, slot, static_cast<std::uint16_t>(out - row_.begin()));
    };
    for (const Piece& piece : variable_) {
      put_offset();
      out = std::ranges::copy(ByteView(data_).subspan(piece.begin, piece.length), out).out;
    }
    put_offset();
  }
  std::ranges::copy(mask_, row_.end() - static_cast<std::ptrdiff_t>(mask_.size()));
  return row_;
}

}  // namespace corvix::jet
