// FoxPro tables in memory, made by the bulk writer and read by the engine.
#include <stdexcept>

#include "conformance/table_maker.h"
#include "storage/base/memory_file.h"
#include "storage/foxpro/foxpro_check.h"
#include "storage/foxpro/foxpro_record_set.h"
#include "storage/foxpro/foxpro_writer.h"

namespace corvix::test {
namespace {

const std::filesystem::path kDirectory = "/tables";

class MadeFoxProTable : public MadeTable {
 public:
  explicit MadeFoxProTable(const TableDesign& design) {
    foxpro::NewTable table;
    for (const core::Field& field : design.fields) {
      const bool is_text = field.type == core::FieldType::Text;
      table.fields.push_back({.name = field.name,
                              .type = is_text ? 'C' : 'N',
                              .length = static_cast<std::uint8_t>(is_text ? field.size : 12),
                              .decimals = static_cast<std::uint8_t>(is_text ? 0 : 2)});
    }
    for (const IndexDesign& index : design.indexes) {
      table.tags.push_back({.name = index.field, .key = index.field, .unique = index.unique});
    }
    foxpro::FoxProWriter writer(files_, kDirectory, "COMPS", std::move(table));
    for (const MemoryRow& row : design.rows) {
      for (std::size_t i = 0; i < row.size(); ++i) {
        if (const auto* text = std::get_if<std::string>(&row[i])) writer.SetText(i, *text);
        if (const auto* number = std::get_if<double>(&row[i])) writer.SetNumber(i, *number);
      }
      writer.Append();
    }
    writer.Finish();
  }

  std::unique_ptr<core::RecordSet> Open() override {
    return foxpro::OpenFoxProTable(files_, kDirectory, "COMPS");
  }

  void Check() override {
    for (const foxpro::Finding& finding : foxpro::CheckTable(files_, kDirectory, "COMPS").findings) {
      if (finding.severity == foxpro::Finding::Severity::Problem) {
        throw std::runtime_error(finding.place + ": " + finding.text);
      }
    }
  }

 private:
  storage::MemoryFileSystem files_;
};

class FoxProMaker : public TableMaker {
 public:
  std::string Name() const override { return "FoxPro"; }
  bool Writable() const override { return false; }
  KeyOrder Order() const override { return KeyOrder::FoxProTag; }
  std::unique_ptr<MadeTable> Make(const TableDesign& design) const override {
    return std::make_unique<MadeFoxProTable>(design);
  }
};

}  // namespace

std::unique_ptr<TableMaker> MakeFoxProMaker() { return std::make_unique<FoxProMaker>(); }

}  // namespace corvix::test
