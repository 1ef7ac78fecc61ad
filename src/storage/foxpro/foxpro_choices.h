// What the format leaves open, decided in one place. FoxPro has no Null and pads every field; these rules say
// what the rest of the system sees instead. Everything that depends on one of them calls it from here.
//
//   deleted records   hidden: not walked, not found by a seek, not counted
//   character fields  the blanks on the right are padding and cut; a field of blanks only is Null
//   numbers, dates    a blank field is Null; so is a number that did not fit its field (asterisks)
//   logical fields    blank, '?' and anything unknown is false
//   memo fields       no block is Null, a block of length 0 the empty text
//   code page         as the language driver byte says; without one, or with one that has no table, 437
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "storage/base/code_page.h"

namespace corvix::foxpro {

inline constexpr char kLiveMark = ' ';
inline constexpr char kDeletedMark = '*';

/// Any mark but the deletion mark counts as live.
inline bool IsHidden(char deletion_mark) { return deletion_mark == kDeletedMark; }

/// A character field without its padding; empty stands for Null.
inline std::string_view TextOfField(std::string_view raw) {
  const auto last = raw.find_last_not_of(' ');
  return last == std::string_view::npos ? std::string_view{} : raw.substr(0, last + 1);
}

/// A number or date field without the blanks and NULs at both ends; empty stands for Null.
inline std::string_view DigitsOfField(std::string_view raw) {
  constexpr std::string_view kBlank{" \0", 2};
  const auto first = raw.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return raw.substr(first, raw.find_last_not_of(kBlank) - first + 1);
}

/// True for the digits of a number that was too great for its field when it was written.
inline bool IsOverflow(std::string_view digits) { return digits.find('*') != std::string_view::npos; }

inline bool TruthOfField(char c) { return c == 'T' || c == 't' || c == 'Y' || c == 'y'; }

inline int CodePageOfTable(std::uint8_t language_driver) {
  const int page = storage::CodePageOfLanguageDriver(language_driver).value_or(437);
  return storage::CodePage::IsSupported(page) ? page : 437;
}

}  // namespace corvix::foxpro
