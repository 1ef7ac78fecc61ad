// The memo file beside a table: texts and objects of any length, in blocks of one size. Three kinds exist;
// docs/formats/foxpro.md, "Memo file", shows them.
//
// Memos are named by the number of their first block. A length from the file is believed as far as the file
// goes, and up to kLongestMemo; a block outside the file or without the head of a memo is damage (3049).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "storage/base/file.h"
#include "storage/foxpro/dbf_file.h"

namespace corvix::foxpro {

// FoxPro (.FPT), most significant byte first
//   offset size
//        0    4  next free block
//        4    2  unused
//        6    2  block size in bytes; 0 stands for 1
//        8  504  unused
//   A memo begins at a block: 4 bytes type, 4 bytes length of the data, then the data over as many blocks as
//   it needs. The header takes 512 bytes whatever the block size.
namespace fpt {
inline constexpr std::size_t kNextFree = 0;
inline constexpr std::size_t kBlockSize = 6;
inline constexpr std::size_t kHeaderSize = 512;
inline constexpr std::size_t kMemoType = 0;
inline constexpr std::size_t kMemoLength = 4;
inline constexpr std::size_t kMemoHeaderSize = 8;

inline constexpr std::uint32_t kPicture = 0;
inline constexpr std::uint32_t kText = 1;
inline constexpr std::uint32_t kObject = 2;
}  // namespace fpt

// dBASE (.DBT), least significant byte first
//   III: blocks of 512 bytes; a memo has no head and ends before the first 0x1A.
//   IV:  block size at offset 20; a memo begins with FF FF 08 00 and 4 bytes length, these eight included.
namespace dbt {
inline constexpr std::size_t kNextFree = 0;
inline constexpr std::size_t kBlockSize = 20;
inline constexpr std::uint32_t kDefaultBlockSize = 512;
inline constexpr std::uint32_t kMemoMark = 0x0008FFFF;
inline constexpr char kMemoEnd = '\x1A';
}  // namespace dbt

/// No table of the family keeps anything longer in a memo; a length beyond it is damage that would only take
/// memory.
inline constexpr std::uint64_t kLongestMemo = std::uint64_t{16} << 20;

/// What is read of a memo that runs past the end of its file. Where the block size is wrong, many seem to.
inline constexpr std::uint64_t kLongestCutMemo = std::uint64_t{64} << 10;

enum class MemoKind { FoxPro, DBase3, DBase4 };

/// The kind of memo file that a table of this version has, and its extension with the dot.
MemoKind MemoKindOf(DbfVersion version);
std::string_view MemoExtension(MemoKind kind);

struct Memo {
  std::uint32_t type = fpt::kText;
  std::string bytes;  ///< what there is, where the length in the file runs past its end
};

/// Where a memo lies, to find memos that overlap.
struct MemoExtent {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;  ///< behind the last byte that the memo claims
};

class MemoFile {
 public:
  MemoFile(std::unique_ptr<storage::File> file, MemoKind kind, std::string place);

  const std::string& place() const { return place_; }
  std::uint32_t block_size() const { return block_size_; }
  /// Number of the next free block by the file's header.
  std::uint32_t next_free() const { return next_free_; }
  std::uint64_t size() const { return size_; }

  Memo Read(std::uint32_t block);
  MemoExtent Extent(std::uint32_t block);

 private:
  struct Head {
    std::uint64_t data = 0;  // offset of the first byte of data
    std::uint64_t length = 0;
    std::uint32_t type = fpt::kText;
  };

  Head ReadHead(std::uint32_t block);
  std::uint64_t FindEnd(std::uint64_t offset);

  std::unique_ptr<storage::File> file_;
  MemoKind kind_;
  std::string place_;
  std::uint64_t size_ = 0;
  std::uint32_t block_size_ = 0;
  std::uint32_t next_free_ = 0;
  /// Stretches without a dBASE end mark inside, begin by end, so that no byte is searched twice however many
  /// memos run into one another.
  std::map<std::uint64_t, std::uint64_t> searched_;
};

}  // namespace corvix::foxpro
