#include "storage/jet/rows/text_codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "common/text.h"
#include "storage/jet/definition/utf16_bytes.h"

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

void DecodePlain(ByteView bytes, std::string& text) {
  const std::size_t ascii = AsciiUnits(bytes);
  text.resize(ascii);
  for (std::size_t i = 0; i < ascii; ++i) text[i] = static_cast<char>(bytes[2 * i]);
  if (2 * ascii < bytes.size()) text += TextOfUtf16(bytes.subspan(2 * ascii));
}

void DecodeCompressed(ByteView bytes, std::string& text) {
  const std::size_t ascii = AsciiBytes(bytes);
  text.assign(storage::AsText(bytes.first(ascii)));
  std::u16string units;
  bool compressed = true;
  for (std::size_t at = ascii; at < bytes.size();) {
    if (bytes[at] == std::byte{0}) {
      compressed = !compressed;
      ++at;
    } else if (compressed) {
      units += std::to_integer<char16_t>(bytes[at++]);
    } else {
      if (at + 2 > bytes.size()) break;
      units += static_cast<char16_t>(storage::ReadLittle<std::uint16_t>(bytes, at));
      at += 2;
    }
  }
  text += common::ToUtf8(units);
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
