// Constants of the Jet 4 file format: page types, offsets, limits. Nothing else in the engine defines an
// offset. docs/formats/jet4.md describes each structure with an example.
#pragma once

#include <cstddef>
#include <cstdint>

namespace corvix::jet {

using PageNumber = std::uint32_t;

inline constexpr std::size_t kPageSize = 4096;
inline constexpr std::uint64_t kMaxFileSize = std::uint64_t{2} << 30;

/// Address of a row slot ("cell") of a data page; in files 4 bytes: row number, then the page in 3 bytes.
struct RowRef {
  PageNumber page = 0;
  std::uint8_t row = 0;
  auto operator<=>(const RowRef&) const = default;
  bool IsNone() const { return page == 0 && row == 0; }
  std::uint32_t Packed() const { return page << 8 | row; }
  static RowRef Unpack(std::uint32_t packed) {
    return {packed >> 8, static_cast<std::uint8_t>(packed & 0xFF)};
  }
};

enum class PageType : std::uint8_t {
  Header = 0,
  Data = 1,
  TableDefinition = 2,
  IndexNode = 3,
  IndexLeaf = 4,
  UsageBitmap = 5
};

inline constexpr std::size_t kPageTypeOffset = 0;  // byte 1 of a page is always 1

// Pages that are fixed.
inline constexpr PageNumber kGlobalMapPage = 1;
inline constexpr PageNumber kObjectsTable = 2;        // MSysObjects
inline constexpr PageNumber kAcesTable = 3;           // MSysACEs
inline constexpr PageNumber kQueriesTable = 4;        // MSysQueries
inline constexpr PageNumber kRelationshipsTable = 5;  // MSysRelationships

// Header page.
namespace header {
inline constexpr std::size_t kSignature = 0x04;  // "Standard Jet DB", zero
inline constexpr std::size_t kVersion = 0x14;    // 1 = Jet 4
inline constexpr std::size_t kMasked = 0x18;     // 128 bytes XORed with an RC4 stream
inline constexpr std::size_t kMaskedLength = 128;
inline constexpr std::size_t kGlobalMap = 0x18;     // address of the map of free pages
inline constexpr std::size_t kSecondMap = 0x1C;     // address of a second map, empty
inline constexpr std::size_t kSystemTables = 0x20;  // definition pages of the four system tables
inline constexpr std::size_t kCodePage = 0x3C;
inline constexpr std::size_t kDatabaseKey = 0x3E;  // 0: pages are plain
inline constexpr std::size_t kPassword = 0x42;     // 40 bytes
inline constexpr std::size_t kBuild = 0x6A;
inline constexpr std::size_t kSortOrder = 0x6E;  // LCID
inline constexpr std::size_t kSortOrderVersion = 0x71;
inline constexpr std::size_t kCreationDate = 0x72;  // double, days since 1899-12-30
inline constexpr std::size_t kMagic = 0x98;         // 1620, behind the masked region
inline constexpr std::uint32_t kMagicValue = 0x654;
inline constexpr std::size_t kEngineName = 0x9C;       // "4.0", zero
inline constexpr std::size_t kChangeMark = 0x400;      // 24 bytes, zero in the format (change_mark.h)
inline constexpr std::size_t kCommitCounters = 0xE00;  // left alone
}  // namespace header

// Data pages (rows, long values, usage maps).
namespace data_page {
inline constexpr std::size_t kFree = 2;
inline constexpr std::size_t kOwner = 4;   // table definition page, or "LVAL", or 0 for usage maps
inline constexpr std::size_t kCells = 12;  // number of row slots
inline constexpr std::size_t kRowTable = 14;
inline constexpr std::uint16_t kOffsetMask = 0x1FFF;
inline constexpr std::uint16_t kPointer = 0x4000;
inline constexpr std::uint16_t kDeleted = 0x8000;
inline constexpr std::size_t kMaxCells = 255;
inline constexpr std::size_t kMaxRow = 4060;            // largest row of a table
inline constexpr std::size_t kMaxLongValueCell = 4076;  // largest cell of a long value page
}  // namespace data_page

// Table definitions: the head of a page, then offsets in the joined bytes of the chain (the first page whole,
// of the others what stands behind the head).
namespace definition {
inline constexpr std::size_t kFree = 2;      // free bytes of the page less 8, 0 where another page follows
inline constexpr std::size_t kNext = 4;      // next page of the chain, 0 = last
inline constexpr std::size_t kPageHead = 8;  // bytes of each page that are not content
inline constexpr std::size_t kLength = 8;    // of the joined bytes, the terminator included
inline constexpr std::size_t kMagic = 12;    // 1625
inline constexpr std::size_t kRowCount = 16;
inline constexpr std::size_t kAutonumber = 20;      // the last one given out
inline constexpr std::size_t kAutonumberFlag = 24;  // 1
inline constexpr std::size_t kIgnored = 25;         // up to kKind
inline constexpr std::size_t kKind = 40;            // 0x4E user table, 0x53 system table
inline constexpr std::size_t kMaxColumns = 41;
inline constexpr std::size_t kVariableColumns = 43;
inline constexpr std::size_t kColumnCount = 45;
inline constexpr std::size_t kLogicalCount = 47;
inline constexpr std::size_t kRealCount = 51;
inline constexpr std::size_t kOwnedMap = 55;
inline constexpr std::size_t kFreeMap = 59;
inline constexpr std::size_t kCounters = 63;  // per real index 12 bytes: statistic, unique entries, 0
inline constexpr std::size_t kCounterSize = 12;
inline constexpr std::size_t kUniqueEntries = 4;  // in the 12 bytes
inline constexpr std::uint32_t kMagicValue = 1625;
inline constexpr std::uint8_t kUserTable = 0x4E;
inline constexpr std::uint8_t kSystemTable = 0x53;
}  // namespace definition

// Parts of a table definition, offsets in each part.
namespace column_descriptor {
inline constexpr std::size_t kSize = 25;
inline constexpr std::size_t kType = 0;
inline constexpr std::size_t kMagic = 1;
inline constexpr std::size_t kNumber = 5;
inline constexpr std::size_t kVariableIndex = 7;
inline constexpr std::size_t kPosition = 9;
inline constexpr std::size_t kSortOrder = 11;  // decimal: precision here, scale in the next byte
inline constexpr std::size_t kScale = 12;
inline constexpr std::size_t kSortOrderVersion = 14;
inline constexpr std::size_t kFlags = 15;
inline constexpr std::size_t kMoreFlags = 16;
inline constexpr std::uint8_t kCompressed = 0x01;  // of kMoreFlags: text may be stored compressed
inline constexpr std::size_t kFixedOffset = 21;
inline constexpr std::size_t kLength = 23;
}  // namespace column_descriptor

namespace real_index {
inline constexpr std::size_t kSize = 52;
inline constexpr std::size_t kMagic = 0;
inline constexpr std::size_t kColumns =
    4;  // ten times 3 bytes: column number, bit 0 of the third = ascending
inline constexpr std::size_t kUsageMap = 34;
inline constexpr std::size_t kRoot = 38;
inline constexpr std::size_t kIgnored = 42;  // 4 bytes
inline constexpr std::size_t kFlags = 46;
inline constexpr std::uint32_t kMagicValue = 1923;
inline constexpr std::uint16_t kNoColumn = 0xFFFF;
}  // namespace real_index

namespace logical_index {
inline constexpr std::size_t kSize = 28;
inline constexpr std::size_t kMagic = 0;
inline constexpr std::size_t kNumber = 4;
inline constexpr std::size_t kRealIndex = 8;
inline constexpr std::size_t kRelationSide = 12;
inline constexpr std::size_t kOtherIndex = 13;
inline constexpr std::size_t kOtherTable = 17;
inline constexpr std::size_t kCascadeUpdates = 21;
inline constexpr std::size_t kCascadeDeletes = 22;
inline constexpr std::size_t kKind = 23;
}  // namespace logical_index

// The list of long value columns at the end of a definition.
namespace long_value_maps {
inline constexpr std::size_t kSize = 10;
inline constexpr std::size_t kOwned = 2;
inline constexpr std::size_t kFree = 6;
inline constexpr std::uint16_t kEnd = 0xFFFF;
}  // namespace long_value_maps

// Index pages.
namespace index_page {
inline constexpr std::size_t kFree = 2;
inline constexpr std::size_t kTable = 4;
inline constexpr std::size_t kPrevious = 12;
inline constexpr std::size_t kNext = 16;
inline constexpr std::size_t kTail = 20;  // nodes: child above the last entry
inline constexpr std::size_t kPrefix =
    24;  // bytes of the first entry that stand in front of every further one
inline constexpr std::size_t kLevel = 26;   // 0 leaf, 1 node
inline constexpr std::size_t kBitmap = 27;  // bit b: an entry ends at kEntries + b
inline constexpr std::size_t kBitmapLength = 453;
inline constexpr std::size_t kEntries = 480;
inline constexpr std::size_t kCapacity = kPageSize - kEntries;  // 3616
}  // namespace index_page

// The one sort order that keys can be computed for: General, version 0.
inline constexpr std::uint16_t kGeneralSortOrder = 1033;

inline constexpr std::size_t kMaxColumns = 255;
inline constexpr std::size_t kMaxIndexes = 32;
inline constexpr std::size_t kMaxIndexColumns = 10;
inline constexpr std::size_t kMaxName = 64;

}  // namespace corvix::jet
