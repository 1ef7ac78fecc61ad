#include "storage/jet/definition/utf16_bytes.h"

#include "common/text.h"

namespace corvix::jet {

std::string TextOfUtf16(storage::ByteView bytes) {
  std::u16string units(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(std::to_integer<unsigned>(bytes[2 * i]) |
                                     std::to_integer<unsigned>(bytes[2 * i + 1]) << 8);
  }
  return common::ToUtf8(units);
}

void AppendUtf16(std::vector<std::byte>& out, std::string_view text) {
  for (const char16_t unit : common::ToUtf16(text)) {
    out.push_back(static_cast<std::byte>(unit & 0xFF));
    out.push_back(static_cast<std::byte>(unit >> 8));
  }
}

}  // namespace corvix::jet
