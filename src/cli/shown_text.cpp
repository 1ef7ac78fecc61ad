#include "cli/shown_text.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

#include "common/text.h"
#include "core/text_form.h"

namespace corvix::cli {
namespace {

enum class LineEnds { Escaped, Kept };

/// Bytes of the UTF-8 character that the text begins with; 0 when they are none.
std::size_t CharacterLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const std::size_t length = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (length < 2) return length;
  if (first > 0xF4 || text.size() < length) return 0;
  const auto second = static_cast<unsigned char>(text[1]);
  const bool is_surrogate = first == 0xED && second >= 0xA0;
  const bool is_overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  const auto continues = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  if (is_surrogate || is_overlong || !std::ranges::all_of(text.substr(1, length - 1), continues)) return 0;
  return length;
}

bool IsControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7F;
  return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;  // U+0080 to U+009F
}

void AppendEscaped(std::string& out, std::string_view character) {
  switch (character.back()) {
    case '\r':
      out += "\\r";
      break;
    case '\n':
      out += "\\n";
      break;
    case '\t':
      out += "\\t";
      break;
    default:
      fmt::format_to(std::back_inserter(out), "\\x{:02X}", static_cast<unsigned char>(character.back()));
  }
}

std::string Shown(std::string_view text, LineEnds line_ends) {
  std::string shown;
  shown.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    const std::string_view character = text.substr(0, std::max<std::size_t>(length, 1));
    text.remove_prefix(character.size());
    const bool ends_line =
        line_ends == LineEnds::Kept && (character == "\n" || (character == "\r" && text.starts_with('\n')));
    if (ends_line) {
      if (character == "\n") shown += '\n';
    } else if (length == 0 || IsControl(character)) {
      AppendEscaped(shown, character);
    } else {
      shown += character;
    }
  }
  return shown;
}

}  // namespace

std::string ShownText(std::string_view text) { return Shown(text, LineEnds::Escaped); }

std::string ShownLines(std::string_view text) { return Shown(text, LineEnds::Kept); }

std::string FitColumns(std::string_view text, std::size_t columns) {
  constexpr unsigned char kFirstOfWide = 0xE1;  // from U+1000 on a character may take two columns
  std::size_t used = 0, end = 0;
  while (end < text.size()) {
    const std::size_t length = std::max<std::size_t>(CharacterLength(text.substr(end)), 1);
    used += static_cast<unsigned char>(text[end]) >= kFirstOfWide ? 2 : 1;
    if (used > columns) break;
    end += length;
  }
  return std::string(text.substr(0, end));
}

std::string ShownValue(const core::Value& value) {
  if (core::IsNull(value)) return "(nothing)";
  if (const auto* text = std::get_if<std::string>(&value)) {
    return "'" + ShownText(common::TrimRight(*text)) + "'";
  }
  if (const auto* bytes = std::get_if<core::Bytes>(&value)) return fmt::format("({} bytes)", bytes->size());
  return core::ToText(value);
}

std::string ShownCount(std::uint64_t number) {
  std::string digits = fmt::format("{}", number);
  for (std::size_t i = digits.size(); i > 3;) digits.insert(i -= 3, ",");
  return digits;
}

}  // namespace corvix::cli
