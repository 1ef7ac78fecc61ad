#include "settings/ini_encoding.h"

#include <optional>

#include "common/text.h"
#include "storage/base/code_page.h"

namespace corvix::settings {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LittleMark = "\xFF\xFE";
constexpr std::string_view kUtf16BigMark = "\xFE\xFF";

const storage::CodePage& Windows1252() {
  thread_local const storage::CodePage kPage(1252);
  return kPage;
}

std::string FromUtf16(std::string_view bytes, bool big) {
  std::u16string units;
  units.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto high = static_cast<unsigned char>(bytes[i + (big ? 0 : 1)]);
    const auto low = static_cast<unsigned char>(bytes[i + (big ? 1 : 0)]);
    units += static_cast<char16_t>(high << 8 | low);
  }
  return common::ToUtf8(units);
}

std::string ToUtf16Bytes(std::string_view text, bool big) {
  std::string bytes(big ? kUtf16BigMark : kUtf16LittleMark);
  for (const char16_t unit : common::ToUtf16(text)) {
    const char high = static_cast<char>(unit >> 8);
    const char low = static_cast<char>(unit & 0xFF);
    bytes += big ? high : low;
    bytes += big ? low : high;
  }
  return bytes;
}

}  // namespace

IniContents DecodeIni(std::string_view bytes) {
  if (bytes.starts_with(kUtf8Mark)) return {std::string(bytes.substr(kUtf8Mark.size())), IniEncoding::Utf8};
  if (bytes.starts_with(kUtf16LittleMark))
    return {FromUtf16(bytes.substr(2), false), IniEncoding::Utf16Little};
  if (bytes.starts_with(kUtf16BigMark)) return {FromUtf16(bytes.substr(2), true), IniEncoding::Utf16Big};
  return {Windows1252().ToUtf8(bytes), IniEncoding::Windows1252};
}

std::string EncodeIni(const IniContents& contents) {
  switch (contents.encoding) {
    case IniEncoding::Utf16Little:
      return ToUtf16Bytes(contents.text, false);
    case IniEncoding::Utf16Big:
      return ToUtf16Bytes(contents.text, true);
    case IniEncoding::Windows1252:
      if (auto bytes = Windows1252().FromUtf8(contents.text)) return *std::move(bytes);
      break;
    case IniEncoding::Utf8:
      break;
  }
  return std::string(kUtf8Mark) + contents.text;
}

}  // namespace corvix::settings
