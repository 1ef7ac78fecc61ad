// Layout of a table file (.DBF). Numbers are least significant byte first. docs/formats/foxpro.md, "Table
// file".
//
// A table file is a header of 32 bytes, a descriptor of 32 bytes for each field, a terminator, and records of
// one fixed length from the offset that the header gives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace corvix::foxpro {

// Header
//   offset size
//        0    1  version: who wrote the table, and which kind of memo file goes with it
//        1    3  day of the last change: year - 1900, month, day
//        4    4  number of records, deleted ones included
//        8    2  offset of record 1
//       10    2  length of a record, deletion mark included
//       12    2  zero
//       14    1  dBASE IV: change in progress
//       15    1  dBASE IV: encrypted
//       16   12  zero
//       28    1  flags
//       29    1  language driver (code page)
//       30    2  zero
namespace dbf {
inline constexpr std::size_t kVersion = 0;
inline constexpr std::size_t kLastChange = 1;
inline constexpr std::size_t kRecordCount = 4;
inline constexpr std::size_t kFirstRecord = 8;
inline constexpr std::size_t kRecordLength = 10;
inline constexpr std::size_t kEncrypted = 15;
inline constexpr std::size_t kFlags = 28;
inline constexpr std::size_t kLanguageDriver = 29;
inline constexpr std::size_t kHeaderSize = 32;

inline constexpr std::uint8_t kHasStructuralIndex = 0x01;
inline constexpr std::uint8_t kHasMemo = 0x02;  // set by Visual FoxPro only

inline constexpr char kTerminator = '\r';
inline constexpr char kEndMark = '\x1A';  // after the last record; not every writer puts it

/// Visual FoxPro keeps room for the path of the owning database between terminator and first record.
inline constexpr std::size_t kDatabasePathSize = 263;
}  // namespace dbf

// Field descriptor
//        0   11  name, NUL-filled, ten characters at most; bytes behind the first NUL mean nothing
//       11    1  type letter
//       12    4  offset in the record; only FoxPro fills it, so offsets are computed instead
//       16    1  length in bytes
//       17    1  decimals; for character fields of Clipper the high byte of the length
//       18    1  Visual FoxPro: flags
//       19    5  Visual FoxPro: next value and step of an autoincrementing field
//       24    8  zero
namespace descriptor {
inline constexpr std::size_t kName = 0;
inline constexpr std::size_t kNameSize = 11;
inline constexpr std::size_t kType = 11;
inline constexpr std::size_t kOffset = 12;
inline constexpr std::size_t kLength = 16;
inline constexpr std::size_t kDecimals = 17;
inline constexpr std::size_t kFlags = 18;
inline constexpr std::size_t kSize = 32;

inline constexpr std::uint8_t kNullable = 0x02;
inline constexpr std::uint8_t kBinary = 0x04;  // no code page translation
}  // namespace descriptor

/// The versions that the engine reads; every other byte is refused by its name.
enum class DbfVersion : std::uint8_t {
  Plain = 0x03,       // FoxPro 2.x, FoxBASE+, dBASE III+, without memo
  FoxProMemo = 0xF5,  // FoxPro 2.x with memo (.FPT)
  DBase3Memo = 0x83,  // with memo (.DBT, texts that end in 0x1A)
  DBase4Memo = 0x8B,  // with memo (.DBT, texts with a length)
  Visual = 0x30,      // Visual FoxPro, with or without memo (.FPT)
  VisualAutoincrement = 0x31,
  VisualVarying = 0x32,  // with fields of varying length
};

inline bool IsVisual(DbfVersion version) {
  return version == DbfVersion::Visual || version == DbfVersion::VisualAutoincrement ||
         version == DbfVersion::VisualVarying;
}

/// Who writes tables with this version byte, for messages.
std::string_view DescribeVersion(std::uint8_t version);

// Field types
//   letter  stored
//   C       text in the code page of the table, padded with blanks
//   N F     a number in ASCII, right-aligned
//   D       YYYYMMDD
//   L       one of T t Y y, F f N n, blank, ?
//   M G P   number of the memo block: ten digits, or 4 bytes binary (Visual FoxPro); text, object, picture
//   B       Visual FoxPro: IEEE double. Otherwise the block number of a binary memo
//   I +     Visual FoxPro: 4 bytes, two's complement
//   Y       Visual FoxPro: 8 bytes, value * 10,000
//   T @     Visual FoxPro: Julian day and milliseconds, 4 bytes each
//   O       Visual FoxPro: IEEE double
//   V Q     Visual FoxPro: text, bytes of varying length; the last byte may hold the length
//   W       Visual FoxPro: block number of a binary memo
//   0       Visual FoxPro: the bits that tell Null and varying length, no field of the user's

}  // namespace corvix::foxpro
