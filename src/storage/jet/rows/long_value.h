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
//
// docs/formats/jet4.md, "Long values".
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/pages/cell_space.h"
#include "storage/jet/pages/damage.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {

inline constexpr std::size_t kLongValueHead = 12;
/// Values up to this length stay in the row when the row has room for them.
inline constexpr std::size_t kMaxInlineValue = 64;
inline constexpr std::size_t kMaxLongValue = (std::size_t{1} << 30) - 1;

/// The data of the value whose head (and inline data) stands in the row: a view of `stored`, of the page that
/// `pin` then holds, or of `buffer`. 3049 when cells are missing, go round in a circle, or hold another
/// length than the head says.
storage::ByteView ReadLongValue(Pager& pager, storage::ByteView stored, const Place& place, PageView& pin,
                                std::vector<std::byte>& buffer);

/// The same as a copy; `data` reuses its memory.
void ReadLongValue(Pager& pager, storage::ByteView stored, const Place& place, std::vector<std::byte>& data);

/// True when the data stand in the row itself.
bool IsInlineValue(storage::ByteView stored);
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
  /// released. A damaged value is freed as far as it is sound: stray cells do no harm.
  void Free(storage::ByteView stored);

 private:
  RowRef WriteCell(storage::ByteView data);
  RowRef WriteChain(storage::ByteView data);
  /// Frees a cell; gives its first 4 bytes, an address in chains. None when it is no cell of the column.
  std::optional<RowRef> FreeCell(RowRef cell);

  Pager& pager_;
  CellSpace space_;
  std::vector<std::byte> cell_;
};

}  // namespace corvix::jet
