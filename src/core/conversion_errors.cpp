#include "core/conversion_errors.h"

#include "common/error.h"

namespace corvix::core {

std::string Quoted(std::string_view text) {
  constexpr std::size_t kShown = 60;
  std::size_t end = text.size();
  if (end > kShown) {
    // A cut never falls inside a character.
    for (end = kShown; end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80;) --end;
  }
  return "'" + std::string(text.substr(0, end)) + (end < text.size() ? "…'" : "'");
}

void ThrowNotA(std::string_view wanted, std::string_view text) {
  throw common::Error(common::kTypeMismatch, Quoted(text) + " is not " + std::string(wanted));
}

void ThrowTooLarge(std::string_view wanted, std::string_view text) {
  throw common::Error(common::kOverflow, Quoted(text) + " is too large for " + std::string(wanted));
}

}  // namespace corvix::core
