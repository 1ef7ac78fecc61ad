#include "core/json_form.h"

#include <cmath>
#include <fmt/format.h>
#include <iterator>
#include <type_traits>

#include "common/text.h"
#include "core/text_form.h"

namespace corvix::core {
namespace {

void AppendBase64(std::string& out, const Bytes& bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (i + k < bytes.size() ? std::to_integer<std::uint32_t>(bytes[i + k]) : 0);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      out += i + k <= bytes.size() ? kDigits[group >> (18 - 6 * k) & 0x3F] : '=';
    }
  }
}

void AppendNumber(std::string& out, double number) {
  if (std::isfinite(number)) {
    fmt::format_to(std::back_inserter(out), "{}", number);
  } else {
    AppendJsonText(out, fmt::format("{}", number));
  }
}

/// All four decimals, so that equal amounts are equal texts in every reader.
void AppendCurrency(std::string& out, Currency amount) {
  constexpr std::uint64_t kScale = 10'000;
  const bool negative = amount.scaled < 0;
  const auto magnitude =
      negative ? 0 - static_cast<std::uint64_t>(amount.scaled) : static_cast<std::uint64_t>(amount.scaled);
  fmt::format_to(std::back_inserter(out), "\"{}{}.{:04}\"", negative ? "-" : "", magnitude / kScale,
                 magnitude % kScale);
}

void AppendDate(std::string& out, Date date) {
  if (!(date.serial >= kMinSerial && date.serial < kMaxSerial)) {
    AppendNumber(out, date.serial);  // outside the calendar, as only a damaged file has it
    return;
  }
  // The serial of a whole second is off by less than a microsecond; what is left of a millisecond is noise.
  constexpr double kDay = 86'400'000;
  const double time = std::round(std::abs(date.serial - std::trunc(date.serial)) * kDay);
  const auto milliseconds = static_cast<int>(std::fmod(time, 1000));
  if (milliseconds != 0) {
    const double whole = (time - milliseconds) / kDay;
    date.serial = std::trunc(date.serial) + std::copysign(whole, date.serial);
  }
  const CalendarDate d = SplitDate(date);
  fmt::format_to(std::back_inserter(out), "\"{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", d.year, d.month, d.day,
                 d.hour, d.minute, d.second);
  if (milliseconds != 0) fmt::format_to(std::back_inserter(out), ".{:03}", milliseconds);
  out += '"';
}

}  // namespace

void AppendJsonText(std::string& out, std::string_view text) {
  out += '"';
  const auto escape = [&out](unsigned unit) { fmt::format_to(std::back_inserter(out), "\\u{:04x}", unit); };
  if (common::IsAscii(text)) {
    for (const char c : text) {
      switch (c) {
        case '"':
          out += "\\\"";
          break;
        case '\\':
          out += "\\\\";
          break;
        case '\n':
          out += "\\n";
          break;
        case '\r':
          out += "\\r";
          break;
        case '\t':
          out += "\\t";
          break;
        default:
          if (c < ' ' || c == '\x7F') {
            escape(static_cast<unsigned char>(c));
          } else {
            out += c;
          }
      }
    }
  } else {
    for (const char16_t unit : common::ToUtf16(text)) {
      if (unit < ' ' || unit >= 0x7F || unit == '"' || unit == '\\') {
        escape(unit);
      } else {
        out += static_cast<char>(unit);
      }
    }
  }
  out += '"';
}

void AppendJson(std::string& out, const Value& value) {
  std::visit(
      [&out](const auto& v) {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, Null>) {
          out += "null";
        } else if constexpr (std::is_same_v<T, bool>) {
          out += v ? "true" : "false";
        } else if constexpr (std::is_integral_v<T>) {
          fmt::format_to(std::back_inserter(out), "{}", v);
        } else if constexpr (std::is_floating_point_v<T>) {
          AppendNumber(out, v);
        } else if constexpr (std::is_same_v<T, Currency>) {
          AppendCurrency(out, v);
        } else if constexpr (std::is_same_v<T, Date>) {
          AppendDate(out, v);
        } else if constexpr (std::is_same_v<T, std::string>) {
          AppendJsonText(out, v);
        } else if constexpr (std::is_same_v<T, Bytes>) {
          out += '"';
          AppendBase64(out, v);
          out += '"';
        } else {
          AppendJsonText(out, ToText(Value(v)));
        }
      },
      value);
}

std::string RowAsJson(const RecordSet& records) {
  std::string row = "{";
  const auto fields = records.Fields();
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) row += ", ";
    AppendJsonText(row, fields[i].name);
    row += ": ";
    AppendJson(row, records.Read(i));
  }
  row += '}';
  return row;
}

}  // namespace corvix::core
