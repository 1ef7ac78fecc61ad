// Tells whether the file that a program holds open is still the one that bears its name, and still holds what
// this program wrote last: another one may have been moved over it, or copied into it, under the open file.
// What somebody writes within one tick of the file system's clock (milliseconds) after this program did, and
// leaves length and header as they were, is not seen.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "storage/base/file.h"

namespace corvix::jet {

class FileWatch {
 public:
  enum class Sight {
    Same,
    Touched,   ///< its time has moved and nothing else that is looked at: its pages tell
    Replaced,  ///< another file, another length or another header page
  };

  /// Both must outlive the watch. Remembers the file as it is.
  FileWatch(storage::FileSystem& files, std::filesystem::path path, storage::File& file);

  /// This program is about to write: until Remember the name of the file tells, and nothing else.
  void ExpectWrites() { is_known_ = false; }
  /// Takes the file as it is now for what this program wrote.
  void Remember();
  Sight Look() const;

 private:
  std::vector<std::byte> Header() const;

  storage::FileSystem& files_;
  const std::filesystem::path path_;
  storage::File& file_;
  const std::optional<std::string> identity_;
  bool is_known_ = false;
  std::uint64_t size_ = 0;
  std::optional<std::chrono::system_clock::time_point> time_;
  std::vector<std::byte> header_;
};

/// Error 3049: what was stored since the last checkpoint has no place any more; nothing is written.
[[noreturn]] void ThrowReplaced(const std::filesystem::path& path);

}  // namespace corvix::jet
