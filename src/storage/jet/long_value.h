// Long values: memo texts and OLE data. The row holds 12 bytes, perhaps followed by the data:
//
//   +0  4  length in bits 0-29; kind in bits 30-31
//   +4  4  address of the first cell (kinds 0 and 1)
//   +8  4  ignored
//
// Kinds: 2, the data follow in the row; 1, the value is one cell; 0, a chain: each cell starts with the
// address of the next one (0 ends it) and goes on with data, full cells having 4 + 4072 bytes. The cells
// stand on data pages whose owner is "LVAL". Values of one column share pages; the column has a map of the
// pages it owns and one of those with room.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/jet/damage.h"
#include "storage/jet/jet_format.h"
#include "storage/jet/pager.h"
#include "storage/jet/table_definition.h"
#include "storage/jet/usage_map.h"

namespace corvix::jet {

inline constexpr std::size_t kLongValueHead = 12;
/// Values up to this length stay in the row when the row has room for them.
inline constexpr std::size_t kMaxInlineValue = 64;
inline constexpr std::size_t kMaxLongValue = (std::size_t{1} << 30) - 1;

/// Length that the head claims.
std::size_t LongValueLength(storage::ByteView stored, const Place& place);

/// Sets `data` to the value whose head (and inline data) stands in the row. 3049 when cells are missing, go
/// round in a circle, or hold another length than the head says. `data` reuses its memory.
void ReadLongValue(Pager& pager, storage::ByteView stored, const Place& place, std::vector<std::byte>& data);

/// Appends head and data of a value that stays in the row.
void EncodeInlineValue(storage::ByteView data, std::vector<std::byte>& stored);

/// Writes and frees the values of one column.
class LongValueStore {
 public:
  LongValueStore(Pager& pager, PageAllocator& allocator, const LongValueMaps& maps);

  using Head = std::array<std::byte, kLongValueHead>;

  /// Writes the data to pages of the column and returns the head for the row.
  Head Write(storage::ByteView data);
  /// Frees the cells of a value that no row names any more; nothing for inline values. Pages left empty are
  /// released.
  void Free(storage::ByteView stored, const Place& place);

 private:
  RowRef WriteCell(RowRef next, bool chained, storage::ByteView data);
  PageEdit PageWithRoom(std::size_t length);
  RowRef FreeCell(RowRef cell, bool chained, const Place& place);

  Pager& pager_;
  PageAllocator& allocator_;
  UsageMap owned_;
  std::optional<UsageMap> free_space_;
  PageNumber current_ = 0;  // page that took the last cell; 0 = none
  std::vector<std::byte> cell_;
};

}  // namespace corvix::jet
