// Text as Jet 4 stores it: UTF-16LE, or compressed, and UTF-8 on our side.
//
// Compressed text begins FF FE. Behind it one byte stands for each character, the high byte being 0; a 00
// byte switches to two bytes per character, and a 00 byte in the first place of a pair switches back. Whether
// a value is compressed is seen from the value alone, never from its column. There is no terminator; the
// empty text has no bytes.
//
// Lone surrogates survive in both directions (common/text.h). An odd last byte of a plain value is ignored.
//
// docs/formats/jet4.md, "Text".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "storage/base/bytes.h"

namespace corvix::jet {

/// Texts of more characters are not compressed.
inline constexpr std::size_t kMaxCompressedText = 1024;

/// Sets `text` to the stored text; reuses its memory.
void DecodeText(storage::ByteView stored, std::string& text);

/// Appends the stored form. With `compress` it is compressed when all characters are U+0001..U+00FF and there
/// are 3 to 1024 of them.
void EncodeText(std::string_view text, bool compress, std::vector<std::byte>& stored);

}  // namespace corvix::jet
