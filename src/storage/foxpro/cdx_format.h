// Layout of a compound index file (.CDX). docs/formats/foxpro.md, "Index file".
//
// The file is a row of pages of 512 bytes; every offset in it is a byte offset and a multiple of 512. It
// begins with the header of the tag directory, an index whose keys are the names of the tags and whose record
// numbers are the offsets of the tags' headers. Every header takes two pages; each tag is a B+ tree of its
// own.
#pragma once

#include <cstddef>
#include <cstdint>

namespace corvix::foxpro::cdx {

inline constexpr std::size_t kPageSize = 512;
inline constexpr std::uint32_t kNoPage = 0xFFFFFFFF;

// Header of the directory or of a tag, 1,024 bytes, least significant byte first
//   offset size
//        0    4  root page
//        4    4  directory: first free page; 0 or 0xFFFFFFFF for none
//        8    4  directory: counter of changes
//       12    2  key length
//       14    1  options
//       15    1  signature, 1
//       16  478  work data of the writer
//      494    8  collating sequence, NUL-filled; empty: by byte value (MACHINE)
//      502    2  1 for descending order
//      504    2  offset in the pool of the FOR condition
//      506    2  its length, NUL included; 1 for none
//      508    2  offset in the pool of the key expression
//      510    2  its length, NUL included
//      512  512  pool: key expression, NUL, FOR condition, NUL
inline constexpr std::size_t kRoot = 0;
inline constexpr std::size_t kFirstFree = 4;
inline constexpr std::size_t kKeyLength = 12;
inline constexpr std::size_t kOptions = 14;
inline constexpr std::size_t kSignature = 15;
inline constexpr std::size_t kCollation = 494;
inline constexpr std::size_t kCollationSize = 8;
inline constexpr std::size_t kDescending = 502;
inline constexpr std::size_t kForOffset = 504;
inline constexpr std::size_t kForLength = 506;
inline constexpr std::size_t kKeyOffset = 508;
inline constexpr std::size_t kKeyTextLength = 510;
inline constexpr std::size_t kPool = 512;
inline constexpr std::size_t kPoolSize = 512;
inline constexpr std::size_t kHeaderSize = 1024;

inline constexpr std::uint8_t kUnique = 0x01;
inline constexpr std::uint8_t kNullable = 0x02;  // Visual FoxPro: a byte before the key tells Null
inline constexpr std::uint8_t kCandidate = 0x04;
inline constexpr std::uint8_t kFor = 0x08;
inline constexpr std::uint8_t kCompact = 0x20;
inline constexpr std::uint8_t kCompound = 0x40;
inline constexpr std::uint8_t kStructural = 0x80;

inline constexpr std::size_t kMaxKeyLength = 240;
inline constexpr std::size_t kTagNameLength = 10;

// Every page, least significant byte first
//        0    2  attributes
//        2    2  number of keys
//        4    4  left neighbour on the same level, 0xFFFFFFFF for none
//        8    4  right neighbour
inline constexpr std::size_t kAttributes = 0;
inline constexpr std::size_t kKeyCount = 2;
inline constexpr std::size_t kLeft = 4;
inline constexpr std::size_t kRight = 8;

inline constexpr std::uint16_t kRootPage = 1;
inline constexpr std::uint16_t kLeafPage = 2;
inline constexpr std::uint16_t kUnknownAttribute =
    4;  // set on some pages of Visual FoxPro; no visible meaning

// Interior page: from offset 12 an entry a child: the child's greatest key, its record number and the child's
// offset, both 4 bytes most significant first.
inline constexpr std::size_t kInteriorEntries = 12;
inline constexpr std::size_t kInteriorExtra = 8;

// Leaf page
//       12    2  free bytes between entries and keys
//       14    4  mask of the record number
//       18    1  mask of the duplicate count
//       19    1  mask of the trailing count
//       20    1  bits of the record number
//       21    1  bits of the duplicate count
//       22    1  bits of the trailing count
//       23    1  bytes of an entry
//       24       entries, each one number, least significant byte first: record number in the low bits, then
//       the
//                duplicate count, then the trailing count. The page's end holds the keys' own bytes,
//                downwards.
// A key is the first `duplicate` bytes of the key before it, its own bytes, and `trailing` pad bytes.
inline constexpr std::size_t kFree = 12;
inline constexpr std::size_t kRecordMask = 14;
inline constexpr std::size_t kDuplicateMask = 18;
inline constexpr std::size_t kTrailingMask = 19;
inline constexpr std::size_t kRecordBits = 20;
inline constexpr std::size_t kDuplicateBits = 21;
inline constexpr std::size_t kTrailingBits = 22;
inline constexpr std::size_t kEntryBytes = 23;
inline constexpr std::size_t kLeafEntries = 24;

}  // namespace corvix::foxpro::cdx
