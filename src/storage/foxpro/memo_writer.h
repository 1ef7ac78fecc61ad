// Writes a memo file of FoxPro (.FPT), memo by memo.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "storage/base/file.h"

namespace corvix::foxpro {

class MemoWriter {
 public:
  /// `block_size` in bytes, at least 1.
  MemoWriter(std::unique_ptr<storage::File> file, std::uint16_t block_size);

  /// Returns the number of the memo's first block.
  std::uint32_t Append(std::uint32_t type, std::string_view bytes);
  /// Writes what is left and the header.
  void Finish();

 private:
  void Flush();

  std::unique_ptr<storage::File> file_;
  std::uint16_t block_size_;
  std::uint32_t next_block_;
  std::vector<std::byte> buffer_;
  std::uint64_t buffer_start_;
};

}  // namespace corvix::foxpro
