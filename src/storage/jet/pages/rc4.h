// The RC4 stream cipher: masks part of the header page, and whole pages of encoded databases. Applying it
// twice gives the original bytes. It is how the format is, not a protection.
#pragma once

#include "storage/base/bytes.h"

namespace corvix::jet {

/// XORs the bytes with the stream of the key, which must not be empty.
void ApplyRc4(storage::ByteView key, storage::ByteSpan bytes);

}  // namespace corvix::jet
