#include "common/text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unicode/uchar.h>

namespace corvix::common {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

/// Decodes the code point at `position` and moves it on; malformed bytes give U+FFFD one at a time.
/// Surrogates in three-byte form are accepted.
char32_t Next(std::string_view text, std::size_t& position) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(position++);
  if (lead < 0x80) return lead;
  const int more = lead >= 0xF0 && lead < 0xF5   ? 3
                   : lead >= 0xE0 && lead < 0xF0 ? 2
                   : lead >= 0xC2 && lead < 0xE0 ? 1
                                                 : 0;
  if (more == 0 || position + static_cast<std::size_t>(more) > text.size()) return kReplacement;
  char32_t value = lead & (0x3Fu >> more);
  for (int i = 0; i < more; ++i) {
    const unsigned char next = byte(position + static_cast<std::size_t>(i));
    if ((next & 0xC0) != 0x80) return kReplacement;
    value = value << 6 | (next & 0x3Fu);
  }
  constexpr char32_t kLowest[] = {0, 0x80, 0x800, 0x10000};
  if (value < kLowest[more] || value > 0x10FFFF) return kReplacement;
  position += static_cast<std::size_t>(more);
  return value;
}

char UpperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

char32_t UpperCodePoint(char32_t c) { return static_cast<char32_t>(u_toupper(static_cast<UChar32>(c))); }

}  // namespace

std::string_view TrimLeft(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  return text;
}

std::string_view TrimRight(std::string_view text) {
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

std::string_view Trim(std::string_view text) { return TrimLeft(TrimRight(text)); }

bool IsAscii(std::string_view text) {
  // Eight bytes at a time: nearly every text of a record is asked.
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::uint64_t word = 0;
  std::size_t i = 0;
  for (; i + sizeof word <= text.size(); i += sizeof word) {
    std::memcpy(&word, text.data() + i, sizeof word);
    if ((word & kHighBits) != 0) return false;
  }
  unsigned char rest = 0;
  for (; i < text.size(); ++i) rest |= static_cast<unsigned char>(text[i]);
  return rest < 0x80;
}

std::string UpperCase(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  if (IsAscii(text)) {
    for (const char c : text) result += UpperAscii(c);
    return result;
  }
  for (std::size_t i = 0; i < text.size();) AppendUtf8(result, UpperCodePoint(Next(text, i)));
  return result;
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  if (a == b) return true;
  if (IsAscii(a) && IsAscii(b)) {
    return std::ranges::equal(a, b, [](char x, char y) { return UpperAscii(x) == UpperAscii(y); });
  }
  return UpperCase(a) == UpperCase(b);
}

std::size_t Utf16Length(std::string_view text) {
  if (IsAscii(text)) return text.size();
  std::size_t length = 0;
  for (std::size_t i = 0; i < text.size();) length += Next(text, i) > 0xFFFF ? 2 : 1;
  return length;
}

std::u16string ToUtf16(std::string_view text) {
  std::u16string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const char32_t c = Next(text, i);
    if (c > 0xFFFF) {
      result += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      result += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      result += static_cast<char16_t>(c);
    }
  }
  return result;
}

std::string ToUtf8(std::u16string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (IsHighSurrogate(c) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00u);
    }
    AppendUtf8(result, c);
  }
  return result;
}

void AppendUtf8(std::string& out, char32_t c) {
  const auto put = [&](char32_t byte) { out += static_cast<char>(static_cast<unsigned char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6);
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3F));
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

std::string FitWidth(std::string_view text, std::size_t width) {
  std::string result;
  if (IsAscii(text)) {
    result.reserve(width);
    result = text.substr(0, width);
    result.append(width - result.size(), ' ');
    return result;
  }
  std::u16string units = ToUtf16(text);
  units.resize(width, u' ');
  return ToUtf8(units);
}

std::string_view TagSplit(std::string_view text, std::string_view side, std::string_view delimiter) {
  const auto position = text.find(delimiter);
  if (position == std::string_view::npos || side.empty()) return {};
  switch (UpperAscii(side[0])) {
    case 'L':
      return text.substr(0, position);
    case 'R':
      return text.substr(position + delimiter.size());
    default:
      return {};
  }
}

}  // namespace corvix::common
