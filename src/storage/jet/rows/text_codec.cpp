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

void AppendMark(std::vector<std::byte>& stored) {
  stored.insert(stored.end(), kCompressedMark.begin(), kCompressedMark.end());
}

/// ASCII bytes are what the compressed form holds of them.
void AppendAscii(ByteView text, bool compress, std::vector<std::byte>& stored) {
  if (compress && text.size() >= kMinCompressedText && text.size() <= kMaxCompressedText) {
    AppendMark(stored);
    stored.insert(stored.end(), text.begin(), text.end());
    return;
  }
  std::size_t at = stored.size();
  stored.resize(at + 2 * text.size());
  for (const std::byte byte : text) {
    stored[at] = byte;
    at += 2;
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
  const ByteView bytes = storage::AsBytes(text);
  if (AsciiBytes(bytes) == bytes.size()) return AppendAscii(bytes, compress, stored);
  const std::u16string units = common::ToUtf16(text);
  if (compress && IsCompressible(units)) {
    AppendMark(stored);
    for (const char16_t unit : units) stored.push_back(static_cast<std::byte>(unit));
  } else {
    for (const char16_t unit : units) storage::AppendLittle<std::uint16_t>(stored, unit);
  }
}

}  // namespace corvix::jet
