// Sort keys of text in the General sort order (LCID 1033, version 0). Texts that this order holds equal have
// equal keys: upper and lower case, texts that differ in trailing blanks, in ignored characters or only
// beyond the 255th UTF-16 code unit.
//
// A key is a sequence of sections. Letters first, one to four bytes each, closed by 01; then, only where a
// text has such characters, accents and forms of letters ("extra"), kana flags, and the "unprintable"
// characters (hyphen and apostrophe among them) with their positions; closed by 00. A descending key is the
// inverted ascending one with a 00 behind it.
//
// Surrogates: their weights are computed by a formula that no real file has confirmed.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace corvix::jet {

using Key = std::vector<std::byte>;

/// Appends the key bytes of a text, without the flag byte that stands before a value in an index key. Plain
/// ASCII text needs no allocation but the key's own.
void AppendTextKey(Key& key, std::string_view utf8, bool ascending);

}  // namespace corvix::jet
