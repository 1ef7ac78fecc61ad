// The structure checker: everything that the format demands of a table, its memo file and its index, and
// whether the index agrees with the table. Damage never throws; it is what the checker is for.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "storage/base/file.h"

namespace corvix::foxpro {

struct Finding {
  enum class Severity {
    Note,     ///< odd, but read as it should be
    Problem,  ///< damage, or an index that does not agree with its table
  };
  Severity severity = Severity::Problem;
  std::string place;  ///< file, and record, tag or page in it
  std::string text;
};

struct TagFacts {
  std::string name;
  std::string key;
  std::string condition;
  std::string collation;
  std::uint32_t key_length = 0;
  bool unique = false;
  bool descending = false;
  std::uint64_t entries = 0;
  std::uint64_t deleted_entries = 0;  ///< entries of records that are marked as deleted
  std::uint32_t levels = 0;
  std::uint32_t pages = 0;
  bool keys_compared = false;  ///< every key was computed again from its record
};

struct TableFacts {
  std::uint8_t version = 0;
  std::uint8_t language_driver = 0;
  int code_page = 0;  ///< the one that texts are read with
  std::uint32_t records = 0;
  std::uint32_t deleted = 0;
  std::uint32_t memos = 0;
  std::vector<TagFacts> tags;
};

struct TableReport {
  TableFacts facts;
  std::vector<Finding> findings;

  bool HasProblems() const;
};

/// Error 3011 when the directory has no such table; errors of the file system pass through.
TableReport CheckTable(storage::FileSystem& files, const std::filesystem::path& directory,
                       std::string_view table);

}  // namespace corvix::foxpro
