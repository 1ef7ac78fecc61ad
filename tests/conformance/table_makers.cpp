#include "conformance/table_maker.h"

namespace corvix::test {
namespace {

class MadeMemoryTable : public MadeTable {
 public:
  explicit MadeMemoryTable(std::shared_ptr<MemoryTable> table) : table_(std::move(table)) {}
  std::unique_ptr<core::RecordSet> Open() override { return table_->Open(); }

 private:
  std::shared_ptr<MemoryTable> table_;
};

/// Tables in memory; with the order of a FoxPro tag they are read-only, as FoxPro tables are.
class MemoryTableMaker : public TableMaker {
 public:
  explicit MemoryTableMaker(KeyOrder order) : order_(order) {}
  std::string Name() const override {
    return order_ == KeyOrder::AccessText ? "MemoryAccess" : "MemoryFoxPro";
  }
  bool Writable() const override { return order_ == KeyOrder::AccessText; }
  KeyOrder Order() const override { return order_; }

  std::unique_ptr<MadeTable> Make(const TableDesign& design) const override {
    std::vector<MemoryIndex> indexes;
    for (const IndexDesign& index : design.indexes) {
      indexes.push_back({.name = index.field, .order = order_, .unique = index.unique});
    }
    auto table = std::make_shared<MemoryTable>(design.fields, std::move(indexes));
    for (const MemoryRow& row : design.rows) table->AddRow(row);
    table->read_only = !Writable();
    return std::make_unique<MadeMemoryTable>(std::move(table));
  }

 private:
  KeyOrder order_;
};

}  // namespace

std::unique_ptr<TableMaker> MakeMemoryMaker(KeyOrder order) {
  return std::make_unique<MemoryTableMaker>(order);
}

const std::vector<const TableMaker*>& AllTableMakers() {
  static const auto kOwned = [] {
    std::vector<std::unique_ptr<TableMaker>> makers;
    makers.push_back(MakeMemoryMaker(KeyOrder::AccessText));
    makers.push_back(MakeMemoryMaker(KeyOrder::FoxProTag));
    makers.push_back(MakeFoxProMaker());
    makers.push_back(MakeJetMaker());
    return makers;
  }();
  static const auto kMakers = [] {
    std::vector<const TableMaker*> makers;
    for (const auto& maker : kOwned) makers.push_back(maker.get());
    return makers;
  }();
  return kMakers;
}

std::vector<const TableMaker*> TableMakersThatWrite(bool writable) {
  std::vector<const TableMaker*> makers = AllTableMakers();
  std::erase_if(makers, [&](const TableMaker* maker) { return maker->Writable() != writable; });
  return makers;
}

}  // namespace corvix::test
