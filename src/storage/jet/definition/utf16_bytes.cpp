#include "storage/jet/definition/utf16_bytes.h"

#include "common/text.h"

namespace corvix::jet {

std::string TextOfUtf16(storage::ByteView bytes) {
  std::u16string units(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = storage::ReadLittle<std::uint16_t>(bytes, 2 * i);
  }
  return common::ToUtf8(units);
}

void AppendUtf16(std::vector<std::byte>& out, std::string_view text) {
  for (const char16_t unit : common::ToUtf16(text)) storage::AppendLittle<std::uint16_t>(out, unit);
}

}  // namespace corvix::jet
