#include "storage/jet/index/index_key.h"

#include <algorithm>
#include <bit>
#include <type_traits>
#include <variant>

#include "common/error.h"

namespace corvix::jet {
namespace {

using storage::ByteView;

constexpr std::byte kNullAscending{0x00};
constexpr std::byte kNullDescending{0xFF};
constexpr std::byte kValueAscending{0x7F};
constexpr std::byte kValueDescending{0x80};
constexpr std::size_t kGroup = 8;  // bytes of binary data
constexpr std::byte kMoreGroups{9};

/// Appends bytes, inverted for a descending column.
class Writer {
 public:
  Writer(Key& key, bool ascending) : key_(key), invert_(ascending ? std::byte{0} : std::byte{0xFF}) {}

  void Put(std::byte byte) { key_.push_back(byte ^ invert_); }
  void PutPlain(std::byte byte) { key_.push_back(byte); }

  template <std::unsigned_integral T>
  void PutBig(T number) {
    for (std::size_t i = sizeof(T); i-- > 0;) Put(static_cast<std::byte>(number >> (8 * i) & 0xFF));
  }

  template <std::signed_integral T>
  void PutSigned(T number) {
    using Unsigned = std::make_unsigned_t<T>;
    constexpr Unsigned kSign = static_cast<Unsigned>(Unsigned{1} << (8 * sizeof(T) - 1));
    PutBig(static_cast<Unsigned>(static_cast<Unsigned>(number) ^ kSign));
  }

  template <std::floating_point T>
  void PutFloating(T number) {
    using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    constexpr Bits kSign = Bits{1} << (8 * sizeof(T) - 1);
    const auto bits = std::bit_cast<Bits>(number);
    PutBig((bits & kSign) != 0 ? ~bits : bits | kSign);
  }

  void PutGroups(ByteView data) {
    for (std::size_t begin = 0; begin < data.size(); begin += kGroup) {
      const std::size_t valid = std::min(kGroup, data.size() - begin);
      for (std::size_t i = 0; i < kGroup; ++i) Put(i < valid ? data[begin + i] : std::byte{0});
      if (begin + kGroup < data.size()) {
        PutPlain(kMoreGroups);
      } else {
        Put(static_cast<std::byte>(valid));
      }
    }
  }

 private:
  Key& key_;
  std::byte invert_;
};

[[noreturn]] void ThrowNoKey(const Column& column) {
  throw common::Error(common::kCannotBuildKey,
                      "No index key can be built of the value of field '" + column.name + "'");
}

/// Appends the bytes of a value behind its flag.
struct ValueBytes {
  Key& key;
  const Column& column;
  bool ascending;
  Writer writer{key, ascending};

  void operator()(core::Null) const {}
  void operator()(bool value) { writer.Put(value ? std::byte{0x00} : std::byte{0xFF}); }
  void operator()(std::uint8_t value) { writer.Put(std::byte{value}); }
  void operator()(std::int16_t value) { writer.PutSigned(value); }
  void operator()(std::int32_t value) { writer.PutSigned(value); }
  void operator()(core::Currency value) { writer.PutSigned(value.scaled); }
  void operator()(float value) { writer.PutFloating(value); }
  void operator()(double value) { writer.PutFloating(value); }
  void operator()(core::Date value) { writer.PutFloating(value.serial); }
  void operator()(const std::string& value) const { AppendTextKey(key, value, ascending); }
  void operator()(const core::Bytes& value) { writer.PutGroups(value); }
  void operator()(const core::Guid& value) { writer.PutGroups(std::as_bytes(std::span(value.bytes))); }
  void operator()(const core::Decimal& value) const {
    if (value.scale != column.scale) ThrowNoKey(column);
    Writer magnitude(key, value.negative != ascending);
    magnitude.PutPlain(value.negative ? std::byte{0x00} : std::byte{0xFF});
    for (const std::uint32_t word : value.magnitude) magnitude.PutBig(word);
  }
};

}  // namespace

void AppendKey(Key& key, const Column& column, bool ascending, const core::Value& value) {
  if (!CanBuildKeys(column)) ThrowNoKey(column);
  if (core::IsNull(value)) {
    key.push_back(ascending ? kNullAscending : kNullDescending);
    return;
  }
  if (!IsValueOf(column.type, value)) ThrowNoKey(column);
  key.push_back(ascending ? kValueAscending : kValueDescending);
  std::visit(ValueBytes{key, column, ascending}, value);
}

bool CanBuildKeys(const Column& column) {
  return InfoOf(column.type).indexable && (!column.IsText() || column.sort_order.IsGeneral());
}

void AppendRow(Key& entry, RowRef row) { storage::AppendBig(entry, row.page << 8 | row.row); }

RowRef RowOfEntry(ByteView entry) {
  return RowRef{storage::ReadBig<std::uint32_t>(entry, entry.size() - 4) >> 8,
                storage::ReadByte(entry, entry.size() - 1)};
}

}  // namespace corvix::jet
