#include "storage/foxpro/dbf_value.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <limits>

#include "common/error.h"
#include "core/text_form.h"
#include "storage/foxpro/foxpro_choices.h"

namespace corvix::foxpro {
namespace {

using core::Value;
using storage::AsBytes;
using storage::ReadLittle;

constexpr std::int32_t kJulianOfSerialZero = 2415019;  // 30 December 1899
constexpr std::uint32_t kSecondsOfDay = 86400;
constexpr std::uint32_t kMillisecondsOfDay = kSecondsOfDay * 1000;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Nothing, or a decimal number as programs write it: what nearly every field holds, found without reading
/// it.
bool IsUsualNumber(std::string_view digits) {
  if (digits.empty()) return true;
  if (digits.front() == '-') digits.remove_prefix(1);
  std::size_t points = 0;
  for (const char c : digits) {
    if (c == '.') {
      ++points;
    } else if (!IsDigit(c)) {
      return false;
    }
  }
  return points <= 1 && digits.size() > points;
}

/// Appends the text form of a plain decimal number without going through a double: up to 15 significant
/// digits survive that unchanged. False, and nothing appended, for every other number.
bool AppendPlainNumber(std::string& out, std::string_view digits) {
  const bool negative = digits.front() == '-';
  if (negative || digits.front() == '+') digits.remove_prefix(1);
  const std::size_t point = std::min(digits.find('.'), digits.size());
  std::string_view whole = digits.substr(0, point);
  std::string_view fraction = digits.substr(std::min(point + 1, digits.size()));
  if (!std::ranges::all_of(whole, IsDigit) || !std::ranges::all_of(fraction, IsDigit)) return false;
  if (whole.empty() && fraction.empty()) return false;
  whole.remove_prefix(std::min(whole.find_first_not_of('0'), whole.size()));
  fraction = fraction.substr(0, fraction.find_last_not_of('0') + 1);
  if (whole.size() + fraction.size() > 15) return false;
  if (negative && !(whole.empty() && fraction.empty())) out += '-';
  out += whole.empty() ? std::string_view("0") : whole;
  if (!fraction.empty()) {
    out += '.';
    out += fraction;
  }
  return true;
}

Value DateOf(Day day) {
  return core::Date{core::SerialOf({.year = day.year, .month = day.month, .day = day.day})};
}

Value DateOf(DayAndTime point) {
  if (point.milliseconds > kMillisecondsOfDay) return core::Null{};
  std::uint32_t seconds = (point.milliseconds + 500) / 1000;
  double days = static_cast<double>(point.julian_day) - kJulianOfSerialZero;
  if (seconds == kSecondsOfDay) {
    seconds = 0;
    days += 1;
  }
  if (days < core::kMinSerial || days >= core::kMaxSerial) return core::Null{};
  const double time = static_cast<double>(seconds) / kSecondsOfDay;
  return core::Date{days < 0 ? days - time : days + time};
}

core::Bytes ToBytes(std::string_view text) {
  const auto bytes = AsBytes(text);
  return core::Bytes(bytes.begin(), bytes.end());
}

core::FieldType TypeOf(const DbfField& field, DbfVersion version) {
  switch (field.type) {
    case 'N':
    case 'F':
    case 'O':
      return core::FieldType::Double;
    case 'B':
      return IsVisual(version) ? core::FieldType::Double : core::FieldType::LongBinary;
    case 'D':
    case 'T':
    case '@':
      return core::FieldType::Date;
    case 'L':
      return core::FieldType::YesNo;
    case 'M':
      return field.IsBinary() ? core::FieldType::LongBinary : core::FieldType::Memo;
    case 'G':
    case 'P':
    case 'W':
      return core::FieldType::LongBinary;
    case 'I':
    case '+':
      return core::FieldType::Long;
    case 'Y':
      return core::FieldType::Currency;
    case 'Q':
      return core::FieldType::Binary;
    default:
      return core::FieldType::Text;
  }
}

std::int32_t SizeOf(core::FieldType type, const DbfField& field) {
  switch (type) {
    case core::FieldType::YesNo:
      return 1;
    case core::FieldType::Long:
      return 4;
    case core::FieldType::Double:
    case core::FieldType::Currency:
    case core::FieldType::Date:
      return 8;
    case core::FieldType::Text:
    case core::FieldType::Binary:
      return field.length;
    default:
      return 0;
  }
}

}  // namespace

FieldNumber ParseNumber(std::string_view raw) {
  using Form = FieldNumber::Form;
  std::string_view digits = DigitsOfField(raw);
  if (digits.empty()) return {};
  if (IsOverflow(digits)) return {.value = {}, .form = Form::Overflow};
  std::array<char, 256> pointed;
  const std::size_t comma = digits.find(',');
  if (comma != std::string_view::npos && digits.size() <= pointed.size()) {  // locales with a decimal comma
    std::ranges::copy(digits, pointed.begin());
    pointed[comma] = '.';
    digits = {pointed.data(), digits.size()};
  }
  if (digits.front() == '+') digits.remove_prefix(1);
  const std::string_view unsigned_part = digits.substr(!digits.empty() && digits.front() == '-' ? 1 : 0);
  if (unsigned_part.empty() || !(IsDigit(unsigned_part.front()) || unsigned_part.front() == '.')) {
    return {.value = {}, .form = Form::None};
  }
  double value = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value);
  if (error != std::errc{}) return {.value = {}, .form = Form::None};
  // What is left of an empty entry mask ("0   . ") says nothing.
  if (std::string_view(stop, end).find_first_not_of(" .") != std::string_view::npos) {
    return {.value = value, .form = Form::Partial};
  }
  const bool plain =
      stop == end && comma == std::string_view::npos && digits.find_first_of("eE") == std::string_view::npos;
  return {.value = value, .form = plain ? Form::Plain : Form::Odd};
}

std::optional<Day> ParseDay(std::string_view raw) {
  if (raw.size() != 8 || !std::ranges::all_of(raw, IsDigit)) return std::nullopt;
  const auto number = [&](std::size_t from, std::size_t count) {
    int value = 0;
    for (const char c : raw.substr(from, count)) value = value * 10 + (c - '0');
    return value;
  };
  const Day day{.year = number(0, 4), .month = number(4, 2), .day = number(6, 2)};
  if (!core::IsCalendarDay(day.year, day.month, day.day)) return std::nullopt;
  return day;
}

std::int32_t JulianDay(Day day) {
  const int shift = (14 - day.month) / 12;  // the year begins in March, so that the leap day comes last
  const int year = day.year + 4800 - shift;
  const int month = day.month + 12 * shift - 3;
  return day.day + (153 * month + 2) / 5 + 365 * year + year / 4 - year / 100 + year / 400 - 32045;
}

Day DayOfJulian(std::int32_t number) {
  const int a = number + 32044;
  const int century = (4 * a + 3) / 146097;
  const int b = a - 146097 * century / 4;
  const int year = (4 * b + 3) / 1461;
  const int c = b - 1461 * year / 4;
  const int month = (5 * c + 2) / 153;
  return {.year = 100 * century + year - 4800 + month / 10,
          .month = month + 3 - 12 * (month / 10),
          .day = c - (153 * month + 2) / 5 + 1};
}

std::optional<DayAndTime> ParseDayAndTime(std::string_view raw) {
  const auto bytes = AsBytes(raw);
  const DayAndTime point{.julian_day = ReadLittle<std::uint32_t>(bytes, 0),
                         .milliseconds = ReadLittle<std::uint32_t>(bytes, 4)};
  if (point.julian_day == 0 || raw == "        ") return std::nullopt;
  return point;
}

std::optional<std::uint32_t> MemoBlock(std::string_view raw) {
  if (raw.size() == 4) return ReadLittle<std::uint32_t>(AsBytes(raw), 0);
  const std::string_view digits = DigitsOfField(raw);
  if (digits.empty()) return 0;
  if (!std::ranges::all_of(digits, IsDigit)) return std::nullopt;
  std::uint32_t block = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), block);
  // A number beyond 32 bits lies outside every memo file, and so does the greatest one.
  return result.ec == std::errc{} ? block : std::numeric_limits<std::uint32_t>::max();
}

std::vector<core::Field> DescribeFields(const DbfHeader& header, const storage::CodePage& page) {
  std::vector<core::Field> fields;
  for (const DbfField& field : header.fields) {
    core::Field& described = fields.emplace_back();
    described.name = page.ToUtf8(field.name);
    described.type = TypeOf(field, header.version);
    described.size = SizeOf(described.type, field);
  }
  return fields;
}

bool FieldReader::Bit(std::optional<std::uint16_t> number, storage::ByteView record) const {
  if (!number || !header_.null_flags) return false;
  const auto flags = record.subspan(header_.null_flags->offset, header_.null_flags->length);
  return (storage::ReadByte(flags, *number / 8u) >> (*number % 8u) & 1) != 0;
}

bool FieldReader::IsNull(const DbfField& field, storage::ByteView record) const {
  return Bit(field.null_bit, record);
}

std::string_view FieldReader::VaryingPart(const DbfField& field, storage::ByteView record) const {
  const std::string_view raw = RawField(field, record);
  if (!Bit(field.varying_bit, record)) return raw;
  return raw.substr(0, static_cast<unsigned char>(raw.back()));
}

Value FieldReader::ReadMemo(const DbfField& field, std::string_view raw) const {
  const std::uint32_t block = MemoBlock(raw).value_or(0);
  if (block == 0 || memo_ == nullptr) return core::Null{};
  const Memo memo = memo_->Read(block);
  const bool is_text = field.type == 'M' && !field.IsBinary() && memo.type == fpt::kText;
  if (is_text) return page_.ToUtf8(memo.bytes);
  return ToBytes(memo.bytes);
}

Value FieldReader::Read(const DbfField& field, storage::ByteView record) const {
  if (IsNull(field, record)) return core::Null{};
  const std::string_view raw = RawField(field, record);
  switch (field.type) {
    case 'C': {
      const std::string_view text = TextOfField(raw);
      if (text.empty()) return core::Null{};
      return page_.ToUtf8(text);
    }
    case 'V':
      return page_.ToUtf8(VaryingPart(field, record));
    case 'Q':
      return ToBytes(VaryingPart(field, record));
    case 'N':
    case 'F': {
      const FieldNumber number = ParseNumber(raw);
      if (!number.value) return core::Null{};
      return *number.value;
    }
    case 'D': {
      const auto day = ParseDay(raw);
      if (!day) return core::Null{};
      return DateOf(*day);
    }
    case 'L':
      return TruthOfField(raw[0]);
    case 'T':
    case '@': {
      const auto point = ParseDayAndTime(raw);
      if (!point) return core::Null{};
      return DateOf(*point);
    }
    case 'I':
    case '+':
      return static_cast<std::int32_t>(ReadLittle<std::uint32_t>(AsBytes(raw), 0));
    case 'Y':
      return core::Currency{static_cast<std::int64_t>(ReadLittle<std::uint64_t>(AsBytes(raw), 0))};
    case 'B':
    case 'O':
      if (!IsMemoField(field, header_.version)) {
        const auto value = std::bit_cast<double>(ReadLittle<std::uint64_t>(AsBytes(raw), 0));
        if (!std::isfinite(value)) return core::Null{};
        return value;
      }
      [[fallthrough]];
    default:
      return ReadMemo(field, raw);
  }
}

bool FieldReader::IsUnreadableMemo(std::string_view raw) const {
  const auto block = MemoBlock(raw);
  if (!block) return true;
  if (*block == 0 || memo_ == nullptr) return false;
  try {
    const MemoExtent extent = memo_->Extent(*block);
    return extent.end > memo_->size() || extent.end - extent.begin > kLongestMemo;
  } catch (const common::Error& error) {
    if (error.number() != common::kDamagedDatabase) throw;
    return true;
  }
}

bool FieldReader::IsUnreadable(const DbfField& field, std::string_view raw) const {
  constexpr std::string_view kEmptyMask{" ./-\0", 5};  // what a form leaves where nothing was entered
  switch (field.type) {
    case 'N':
    case 'F': {
      using Form = FieldNumber::Form;
      if (IsUsualNumber(DigitsOfField(raw))) return false;
      if (raw.find_first_not_of(kEmptyMask) == std::string_view::npos) return false;
      const Form form = ParseNumber(raw).form;
      return form == Form::Overflow || form == Form::Partial || form == Form::None;
    }
    case 'D':
      return raw.find_first_not_of(kEmptyMask) != std::string_view::npos && raw != "00000000" &&
             !ParseDay(raw);
    case 'L':
      return std::string_view("TtYyFfNn ?\0", 11).find(raw[0]) == std::string_view::npos;
    case 'T':
    case '@': {
      const auto point = ParseDayAndTime(raw);
      return point && core::IsNull(DateOf(*point));
    }
    case 'B':
    case 'O':
      if (IsMemoField(field, header_.version)) return IsUnreadableMemo(raw);
      return !std::isfinite(std::bit_cast<double>(ReadLittle<std::uint64_t>(AsBytes(raw), 0)));
    default:
      return IsMemoField(field, header_.version) && IsUnreadableMemo(raw);
  }
}

std::optional<std::string> FieldReader::UnreadableText(const DbfField& field,
                                                       storage::ByteView record) const {
  if (field.type == 'C' || IsNull(field, record)) return std::nullopt;
  const std::string_view raw = RawField(field, record);
  if (!IsUnreadable(field, raw)) return std::nullopt;
  if (IsMemoField(field, header_.version) && raw.size() == 4) return std::to_string(*MemoBlock(raw));
  const bool is_text = IsMemoField(field, header_.version) ||
                       std::string_view("NFDL").find(field.type) != std::string_view::npos;
  if (is_text) return page_.ToUtf8(DigitsOfField(raw));
  std::string text = "0x";
  for (const char c : raw) text += fmt::format("{:02x}", static_cast<unsigned char>(c));
  return text;
}

bool FieldReader::ReadText(const DbfField& field, storage::ByteView record, std::string& text) const {
  text.clear();
  if (field.type == 'C' && !IsNull(field, record)) {
    page_.AppendUtf8(text, TextOfField(RawField(field, record)));
    return !text.empty();
  }
  if (field.type == 'N' && !IsNull(field, record)) {
    const std::string_view digits = DigitsOfField(RawField(field, record));
    if (digits.empty()) return false;
    if (AppendPlainNumber(text, digits)) return true;
  }
  const Value value = Read(field, record);
  core::AppendText(text, value);
  return !core::IsNull(value);
}

}  // namespace corvix::foxpro
