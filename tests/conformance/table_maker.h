// The seam between the conformance suite and the record sets that it runs over: a maker turns the description
// of a table into a real one of its kind and opens record sets over it.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "core/record_set.h"
#include "support/memory_table.h"

namespace corvix::test {

struct IndexDesign {
  std::string field;  ///< of type text; the index bears its name
  bool unique = false;
};

struct TableDesign {
  std::vector<core::Field> fields;
  std::vector<IndexDesign> indexes;
  std::vector<MemoryRow> rows;
};

/// A table that exists as long as the object.
class MadeTable {
 public:
  virtual ~MadeTable() = default;
  /// A record set of its own, freshly opened.
  virtual std::unique_ptr<core::RecordSet> Open() = 0;
  /// Judges the whole file, where there is one, by its structure checker; throws when something is wrong.
  virtual void Check() {}
};

class TableMaker {
 public:
  virtual ~TableMaker() = default;
  virtual std::string Name() const = 0;
  virtual bool Writable() const = 0;
  virtual KeyOrder Order() const = 0;
  virtual std::unique_ptr<MadeTable> Make(const TableDesign& design) const = 0;
};

/// Keeps addresses out of the names of test cases.
inline void PrintTo(const TableMaker* maker, std::ostream* out) { *out << maker->Name(); }

/// Every kind of record set that there is.
const std::vector<const TableMaker*>& AllTableMakers();
/// Those that can be written, or those that cannot.
std::vector<const TableMaker*> TableMakersThatWrite(bool writable);

// The kinds, each in its own file.
std::unique_ptr<TableMaker> MakeMemoryMaker(KeyOrder order);
std::unique_ptr<TableMaker> MakeFoxProMaker();
std::unique_ptr<TableMaker> MakeJetMaker();

}  // namespace corvix::test
