// Writes a whole table with its memo file and its production index, as FoxPro 2.6 writes them: for samples
// and tests. Records go to the file as they come; the keys of one tag at a time are sorted in memory.
//
//   FoxProWriter writer(files, directory, "PHOTO", {.fields = {{"CENTRALKEY", 'C', 35}, {"TAKEN", 'D', 8}},
//                                                   .tags = {{.name = "CENTRALKEY", .key = "CENTRALKEY"}}});
//   writer.SetText(0, "12 OAK ST");
//   writer.Append();
//   writer.Finish();
//
// Existing files of the name are replaced. Until Finish has returned the files are not a valid table.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/base/code_page.h"
#include "storage/base/file.h"
#include "storage/foxpro/dbf_file.h"
#include "storage/foxpro/dbf_value.h"
#include "storage/foxpro/memo_writer.h"
#include "storage/foxpro/tag_building.h"

namespace corvix::foxpro {

struct NewField {
  std::string name;  ///< ten characters at most
  char type = 'C';
  std::uint8_t length = 0;
  std::uint8_t decimals = 0;
  std::uint8_t flags = 0;  ///< Visual FoxPro tables only
};

struct NewTable {
  std::vector<NewField> fields;
  std::vector<NewTag> tags = {};
  std::uint8_t language_driver = 0x03;  ///< Windows, page 1252
  std::uint16_t memo_block_size = 64;
  Day last_change = {.year = 2002, .month = 3, .day = 5};
  /// FoxPro 2.6's by default: with or without memo, as the fields demand.
  std::optional<DbfVersion> version = {};
};

class FoxProWriter {
 public:
  /// Error 5 for fields or tags that a table cannot have.
  FoxProWriter(storage::FileSystem& files, const std::filesystem::path& directory, std::string_view name,
               NewTable table);
  ~FoxProWriter();

  // The record being made; fields that are not set are blank.
  /// 3163: too long for the field. 3421: a character that the code page lacks.
  void SetText(std::size_t field, std::string_view text);
  /// As many decimals as the field has; asterisks when the number does not fit.
  void SetNumber(std::size_t field, double number);
  void SetDate(std::size_t field, Day day);
  void SetLogical(std::size_t field, bool truth);
  /// 3421: a character that the code page lacks.
  void SetMemo(std::size_t field, std::string_view text);
  void SetMemoBytes(std::size_t field, std::uint32_t type, std::string_view bytes);
  /// The field's bytes as they are, for odd and damaged values; blanks follow when they are too few.
  void SetRaw(std::size_t field, std::string_view bytes);
  void SetDeleted();
  void Append();

  std::uint32_t RecordCount() const { return record_count_; }
  void Finish();

 private:
  const DbfField& FieldAt(std::size_t field) const;
  void StartRecord();
  void WriteHeader();
  void FlushRecords();
  void BuildIndex();

  storage::FileSystem& files_;
  std::filesystem::path table_path_;
  std::filesystem::path index_path_;
  NewTable table_;
  DbfHeader header_;
  std::vector<DbfField> columns_;  // as given, the system column included
  storage::CodePage page_;
  std::unique_ptr<storage::File> file_;
  std::unique_ptr<MemoWriter> memo_;
  std::vector<std::byte> record_;
  std::vector<std::byte> buffer_;   // records that are not yet in the file
  std::uint64_t buffer_start_ = 0;  // where they belong
  std::uint32_t record_count_ = 0;
};

}  // namespace corvix::foxpro
