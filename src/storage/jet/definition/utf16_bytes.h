// Plain UTF-16LE, the form in which names and properties stand in the file.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "storage/base/bytes.h"

namespace corvix::jet {

/// The text of UTF-16LE bytes; an odd last byte is dropped.
std::string TextOfUtf16(storage::ByteView bytes);

/// Appends `text` in UTF-16LE.
void AppendUtf16(std::vector<std::byte>& out, std::string_view text);

}  // namespace corvix::jet
