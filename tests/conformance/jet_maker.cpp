// Access databases in memory, made from nothing; their rows are stored by the engine itself.
#include <stdexcept>

#include "conformance/table_maker.h"
#include "storage/base/memory_file.h"
#include "storage/jet/catalog/jet_create.h"
#include "storage/jet/check/jet_check.h"
#include "storage/jet/jet_database.h"
#include "support/jet_files.h"

namespace corvix::test {
namespace {

const std::filesystem::path kFile = "/data/FOLVANE.MDB";

class MadeJetTable : public MadeTable {
 public:
  explicit MadeJetTable(const TableDesign& design) {
    jet::DatabaseDescription description;
    jet::TableDescription& table = description.tables.emplace_back();
    table.name = "COMPS";
    for (const core::Field& field : design.fields) {
      const bool is_text = field.type == core::FieldType::Text;
      table.columns.push_back({.name = field.name,
                               .type = is_text ? jet::ColumnType::Text : jet::ColumnType::Double,
                               .length = static_cast<std::uint16_t>(is_text ? field.size : 0),
                               .required = field.required,
                               .allow_zero_length = field.allow_zero_length});
    }
    for (const IndexDesign& index : design.indexes) {
      table.indexes.push_back({.name = index.field, .columns = {{index.field}}, .unique = index.unique});
    }
    jet::CreateDatabase(files_, kFile, description);
    database_ = jet::OpenJetDatabase(files_, kFile, core::Access::ReadWrite);
    const auto records = database_->OpenTable("COMPS");
    for (const MemoryRow& row : design.rows) {
      records->BeginAdd();
      for (std::size_t i = 0; i < row.size(); ++i) records->Write(i, row[i]);
      records->Store();
    }
  }

  std::unique_ptr<core::RecordSet> Open() override { return database_->OpenTable("COMPS"); }

  void Check() override {
    database_->Close();
    const auto report = jet::CheckDatabase(*OpenPager(files_, kFile));
    if (!report.IsClean()) throw std::runtime_error(report.problems.front().text);
  }

 private:
  storage::MemoryFileSystem files_;
  std::shared_ptr<core::Database> database_;
};

class JetMaker : public TableMaker {
 public:
  std::string Name() const override { return "Jet"; }
  bool Writable() const override { return true; }
  KeyOrder Order() const override { return KeyOrder::AccessText; }
  std::unique_ptr<MadeTable> Make(const TableDesign& design) const override {
    return std::make_unique<MadeJetTable>(design);
  }
};

}  // namespace

std::unique_ptr<TableMaker> MakeJetMaker() { return std::make_unique<JetMaker>(); }

}  // namespace corvix::test
