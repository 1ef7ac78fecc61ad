// The weights of the General sort order (LCID 1033, version 0), the order of Access 2000. The table is
// generated (tools/make_collation_table.py); collation.h tells how weights become a key.
#pragma once

#include <cstdint>
#include <span>

namespace corvix::jet {

enum class CollationKind : std::uint8_t {
  Simple = 0,         ///< a weight only
  International = 1,  ///< a weight and bytes of the extra section (accents, forms of a letter)
  Kana = 2,           ///< like International, and one kana flag
  Modifier = 3,       ///< no weight: its byte is added to the extra section
  Unprintable = 4,    ///< no weight: its byte goes with its position into the unprintable section
};

/// A run of UTF-16 code units that follow one pattern. Code units in no run are ignored in keys.
struct CollationRun {
  char16_t first;
  char16_t last;
  std::uint32_t weight;  ///< of `first`, a big-endian number of weight_length() bytes
  std::uint16_t step;    ///< added to the weight for each further code unit
  std::uint16_t extra;   ///< extra, modifier or unprintable byte(s), a big-endian number
  std::uint16_t shape;   ///< bits 0-2 kind, 3-5 weight bytes, 6-7 extra bytes, 8-9 elements, 10-11 kana flag

  constexpr CollationKind kind() const { return static_cast<CollationKind>(shape & 7); }
  constexpr std::size_t weight_length() const { return shape >> 3 & 7; }
  constexpr std::size_t extra_length() const { return shape >> 6 & 3; }
  /// How many letters the code unit counts as; 2 or 3 for ligatures and digraphs.
  constexpr std::size_t elements() const { return shape >> 8 & 3; }
  constexpr std::uint8_t kana() const { return static_cast<std::uint8_t>(shape >> 10 & 3); }
};

/// All runs, in ascending order, not overlapping.
std::span<const CollationRun> CollationRuns();

}  // namespace corvix::jet
