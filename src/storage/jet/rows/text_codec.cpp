#include "storage/jet/rows/text_codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "common/text.h"

namespace corvix::jet {

using storage::ByteView;

namespace {

constexpr std::array kCompressedMark{std::byte{0xFF}, std::byte{0xFE}};
constexpr std::size_t kMinCompressedText = 3;
constexpr std::size_t kWord = sizeof(std::uint64_t);

std::uint64_t LoadWord(const std::byte* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

/// Number of leading bytes 01..7F.
std::size_t AsciiBytes(ByteView bytes) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080, kOnes = 0x0101010101010101;
  std::size_t count = 0;
  for (; count + kWord <= bytes.size(); count += kWord) {
    const std::uint64_t word = LoadWord(bytes.data() + count);
    // Subtracting one from each byte borrows into the high bit of a zero byte.
    if (((word | (word - kOnes)) & kHighBits) != 0) break;
  }
  while (count < bytes.size() && bytes[count] != std::byte{0} && bytes[count] < std::byte{0x80}) ++count;
  return count;
}

/// Number of leading UTF-16LE units below U+0080.
std::size_t AsciiUnits(ByteView bytes) {
  constexpr auto kNotAscii = std::bit_cast<std::uint64_t>(
      std::array<std::uint8_t, kWord>{0x80, 0xFF, 0x80, 0xFF, 0x80, 0xFF, 0x80, 0xFF});
  std::size_t at = 0;
  while (at + kWord <= bytes.size() && (LoadWord(bytes.data() + at) & kNotAscii) == 0) at += kWord;
  while (at + 2 <= bytes.size() && bytes[at] < std::byte{0x80} && bytes[at + 1] == std::byte{0}) at += 2;
  return at / 2;
}

/// Puts UTF-16 units together to UTF-8; surrogates that find no partner stay as they are.
class Utf8Appender {
 public:
  explicit Utf8Appender(std::string& text) : text_(text) {}

  void Put(char32_t unit) {
    if (high_ != 0 && unit >= 0xDC00 && unit <= 0xDFFF) {
      common::AppendUtf8(text_, 0x10000 + ((high_ - 0xD800) << 10) + (unit - 0xDC00));
      high_ = 0;
      return;
    }
    Flush();
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      high_ = unit;
    } else {
      common::AppendUtf8(text_, unit);
    }
  }
  void Flush() {
    if (high_ != 0) common::AppendUtf8(text_, high_);
    high_ = 0;
  }

 private:
  std::string& text_;
  char32_t high_ = 0;  // a high surrogate that waits for its low one
};

char32_t UnitAt(ByteView bytes, std::size_t at) {
  return std::to_integer<char32_t>(bytes[at]) | std::to_integer<char32_t>(bytes[at + 1]) << 8;
}

void DecodePlain(ByteView bytes, std::string& text) {
  const std::size_t ascii = AsciiUnits(bytes);
  text.resize(ascii);
  for (std::size_t i = 0; i < ascii; ++i) text[i] = static_cast<char>(bytes[2 * i]);
  Utf8Appender out(text);
  for (std::size_t at = 2 * ascii; at + 2 <= bytes.size(); at += 2) out.Put(UnitAt(bytes, at));
  out.Flush();
}

void DecodeCompressed(ByteView bytes, std::string& text) {
  const std::size_t ascii = AsciiBytes(bytes);
  text.assign(storage::AsText(bytes.first(ascii)));
  Utf8Appender out(text);
  bool compressed = true;
  for (std::size_t at = ascii; at < bytes.size();) {
    if (bytes[at] == std::byte{0}) {
      compressed = !compressed;
      ++at;
    } else if (compressed) {
      out.Put(std::to_integer<char32_t>(bytes[at++]));
    } else {
      if (at + 2 > bytes.size()) break;
      out.Put(UnitAt(bytes, at));
      at += 2;
    }
  }
  out.Flush();
}

bool IsCompressible(std::u16string_view units) {
  return units.size() >= kMinCompressedText && units.size() <= kMaxCompressedText &&
         std::ranges::all_of(units, [](char16_t unit) { return unit >= 0x01 && unit <= 0xFF; });
}

/// One byte per unit behind the mark, or two in plain form.
template <typename Units>
void Append(const Units& units, bool compressed, std::vector<std::byte>& stored) {
  const auto low = [](auto unit) { return static_cast<std::byte>(unit & 0xFF); };
  const auto high = [](auto unit) { return static_cast<std::byte>(static_cast<char16_t>(unit) >> 8); };
  std::size_t at = stored.size();
  if (compressed) {
    stored.insert(stored.end(), kCompressedMark.begin(), kCompressedMark.end());
    at = stored.size();
    stored.resize(at + units.size());
    for (const auto unit : units) stored[at++] = low(unit);
  } else {
    stored.resize(at + 2 * units.size());
    for (const auto unit : units) {
      stored[at++] = low(unit);
      stored[at++] = high(unit);
    }
  }
}

}  // namespace

void DecodeText(ByteView stored, std::string& text) {
  if (stored.size() >= kCompressedMark.size() && std::ranges::equal(stored.first(2), kCompressedMark)) {
    DecodeCompressed(stored.subspan(2), text);
  } else {
    DecodePlain(stored, text);
  }
}

void EncodeText(std::string_view text, bool compress, std::vector<std::byte>& stored) {
  if (AsciiBytes(storage::AsBytes(text)) == text.size()) {
    compress = compress && text.size() >= kMinCompressedText && text.size() <= kMaxCompressedText;
    Append(text, compress, stored);
    return;
  }
  const std::u16string units = common::ToUtf16(text);
  Append(units, compress && IsCompressible(units), stored);
}

}  // namespace corvix::jet
