#include "settings/ini_text.h"

#include <algorithm>

#include "common/text.h"

namespace corvix::settings {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

/// Blanks of a line; control-Z ended files of an older time.
constexpr std::string_view kBlanks = " \t\r\x1A";

std::string_view TrimBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

/// A line of the text by its offsets: [begin, end) without the line end, next is the start of the next line.
struct Line {
  std::size_t begin;
  std::size_t end;
  std::size_t next;
};

Line LineAt(std::string_view text, std::size_t begin) {
  const auto line_feed = text.find('\n', begin);
  if (line_feed == std::string_view::npos) return {begin, text.size(), text.size()};
  const bool pair = line_feed > begin && text[line_feed - 1] == '\r';
  return {begin, line_feed - (pair ? 1 : 0), line_feed + 1};
}

/// The name of a section line; none for other lines. What follows the last bracket is ignored.
std::optional<std::string_view> SectionName(std::string_view line) {
  line = TrimBlanks(line);
  const auto last = line.rfind(']');
  if (!line.starts_with('[') || last == std::string_view::npos) return std::nullopt;
  return TrimBlanks(line.substr(1, last - 1));
}

/// What a search found: the value's place in its line, or where a new line for it belongs.
struct Place {
  std::optional<Line> line;     ///< the key's line
  std::size_t value_begin = 0;  ///< behind its "="
  bool has_section = false;
  std::size_t insertion = 0;  ///< behind the last line of the section that is not blank
};

Place Find(std::string_view text, std::string_view section, std::string_view key) {
  section = TrimBlanks(section);
  key = TrimBlanks(key);
  Place place;
  for (std::size_t at = 0; at < text.size();) {
    const Line line = LineAt(text, at);
    at = line.next;
    const std::string_view content = text.substr(line.begin, line.end - line.begin);
    if (const auto name = SectionName(content)) {
      if (place.has_section) break;
      if (!common::EqualIgnoringCase(*name, section)) continue;
      place.has_section = true;
      place.insertion = line.next;
      continue;
    }
    const std::string_view entry = TrimBlanks(content);
    if (!place.has_section || entry.empty()) continue;
    place.insertion = line.next;
    const auto equals = content.find('=');
    if (entry.starts_with(';') || equals == std::string_view::npos) continue;
    if (!common::EqualIgnoringCase(TrimBlanks(content.substr(0, equals)), key)) continue;
    place.line = line;
    place.value_begin = line.begin + equals + 1;
    break;
  }
  return place;
}

std::string OneLine(std::string_view text) {
  std::string result(text);
  std::ranges::replace_if(
      result, [](char c) { return c == '\r' || c == '\n'; }, ' ');
  return result;
}

}  // namespace

std::optional<std::string> FindIniValue(std::string_view text, std::string_view section,
                                        std::string_view key) {
  const Place place = Find(text, section, key);
  if (!place.line) return std::nullopt;
  std::string_view value = TrimBlanks(text.substr(place.value_begin, place.line->end - place.value_begin));
  const bool quoted =
      value.size() >= 2 && value.front() == value.back() && (value.front() == '"' || value.front() == '\'');
  if (quoted) value = value.substr(1, value.size() - 2);
  return std::string(value);
}

std::string WithIniValue(std::string_view text, std::string_view section, std::string_view key,
                         std::string_view value) {
  const std::string written = OneLine(value);
  const auto first = std::min(written.find_first_not_of(" \t"), written.size());
  const std::string_view shown = std::string_view(written).substr(first);
  const Place place = Find(text, section, key);

  std::string result;
  if (place.line) {
    result.append(text.substr(0, place.value_begin)).append(shown).append(text.substr(place.line->end));
    return result;
  }
  const std::size_t insertion = place.has_section ? place.insertion : text.size();
  result = text.substr(0, insertion);
  if (!result.empty() && !result.ends_with('\n')) result += kLineEnd;
  if (!place.has_section)
    result.append("[").append(OneLine(TrimBlanks(section))).append("]").append(kLineEnd);
  result.append(OneLine(TrimBlanks(key))).append("=").append(shown).append(kLineEnd);
  return result.append(text.substr(insertion));
}

}  // namespace corvix::settings
