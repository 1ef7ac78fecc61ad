// A table file: its header and its records by number.
//
// The header's count is the least that is read: whole records behind it, as a crash between their writing and
// the header's leaves them, count as well (UncountedRecords).
//
// Nothing that the file says is believed beyond the bytes that it has: the header is checked as a whole when
// it is read, and a record is only given when the file holds all of it. Errors: 3343 for a file of another
// program or dialect, 3049 for a damaged one; place is the path.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/base/file.h"
#include "storage/foxpro/block_cache.h"
#include "storage/foxpro/dbf_format.h"

namespace corvix::foxpro {

struct DbfField {
  std::string name;  ///< as stored, capitals as a rule
  char type = 'C';
  std::uint16_t length = 0;  ///< bytes in the record
  std::uint8_t decimals = 0;
  std::uint8_t flags = 0;    ///< descriptor::kNullable, descriptor::kBinary
  std::uint16_t offset = 0;  ///< in the record; the deletion mark is at 0
  // Visual FoxPro: numbers of the field's bits in the system column.
  std::optional<std::uint16_t> null_bit;
  std::optional<std::uint16_t> varying_bit;

  bool IsBinary() const { return (flags & descriptor::kBinary) != 0; }
};

struct DbfHeader {
  DbfVersion version = DbfVersion::Plain;
  std::uint32_t promised_records = 0;
  std::uint16_t first_record = 0;
  std::uint16_t record_length = 0;
  std::uint8_t flags = 0;
  std::uint8_t language_driver = 0;
  bool has_terminator = false;
  std::vector<DbfField> fields;        ///< in table order, without the system column
  std::optional<DbfField> null_flags;  ///< the system column of Visual FoxPro

  bool HasStructuralIndex() const { return (flags & dbf::kHasStructuralIndex) != 0; }
};

/// Which memo file a field of this type points into, if any.
bool IsMemoField(const DbfField& field, DbfVersion version);

DbfHeader ReadDbfHeader(storage::File& file, const std::string& place);

class DbfFile {
 public:
  /// `place` names the file in errors.
  DbfFile(std::unique_ptr<storage::File> file, std::string place);

  const DbfHeader& header() const { return header_; }
  const std::string& place() const { return place_; }
  /// Records that the file holds in full, deleted ones included: those that the header promises, and those
  /// behind them.
  std::uint32_t RecordCount() const { return record_count_; }
  /// How many of them the header does not count.
  std::uint32_t UncountedRecords() const { return uncounted_records_; }
  /// Bytes of a record behind the last one that the file does not hold in full; 0 when there is none.
  std::uint32_t TornBytes() const { return torn_bytes_; }
  /// Records that the file has room for, whatever the header says.
  std::uint64_t HeldRecords() const { return held_records_; }
  /// Error 3049 when the file does not hold all records that its header promises.
  void RequireAllRecords() const;

  /// The bytes of a record, numbers from 1 to RecordCount(). Valid until the next call.
  storage::ByteView Record(std::uint32_t number);
  bool IsHidden(std::uint32_t number);
  using RecordVisitor = std::function<void(std::uint32_t number, storage::ByteView record)>;
  /// Visits the records from `first` to `last` in the order of the file, past the cache.
  void Scan(std::uint32_t first, std::uint32_t last, const RecordVisitor& visit);
  /// Number of records that are not hidden; reads the file once from end to end.
  std::uint32_t CountVisible();

 private:
  [[noreturn]] void ThrowCut(std::uint32_t number) const;
  void CountBehindHeader();

  std::unique_ptr<storage::File> file_;
  std::string place_;
  DbfHeader header_;
  std::uint64_t held_records_ = 0;
  std::uint32_t record_count_ = 0;
  std::uint32_t uncounted_records_ = 0;
  std::uint32_t torn_bytes_ = 0;
  std::uint32_t records_per_block_ = 1;
  std::optional<BlockCache> cache_;
};

}  // namespace corvix::foxpro
