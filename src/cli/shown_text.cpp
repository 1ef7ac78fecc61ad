#include "cli/shown_text.h"

#include <fmt/format.h>
#include <iterator>

#include "common/text.h"
#include "core/text_form.h"

namespace corvix::cli {

std::string ShownText(std::string_view text) {
  std::string shown;
  const auto escape = [&shown](unsigned number) {
    fmt::format_to(std::back_inserter(shown), "\\x{:02X}", number);
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte == '\r') {
      shown += "\\r";
    } else if (byte == '\n') {
      shown += "\\n";
    } else if (byte == '\t') {
      shown += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      escape(byte);
    } else if (byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0) {
      escape(static_cast<unsigned char>(text[++i]));  // U+0080 to U+009F
    } else {
      shown += text[i];
    }
  }
  return shown;
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
