#include "storage/jet/check/jet_check.h"

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "common/error.h"
#include "common/text.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/check/check_catalog.h"
#include "storage/jet/check/check_context.h"
#include "storage/jet/check/check_definition.h"
#include "storage/jet/check/check_index.h"
#include "storage/jet/check/check_pages.h"
#include "storage/jet/check/check_rows.h"
#include "storage/jet/pages/header_page.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet {
namespace {

using check::CheckedTable;
using check::Context;
using check::PageSet;
using check::RowChecker;
using storage::ByteView;
using storage::ReadByte;
using storage::ReadLittle;

// Errors that say something about the file's content; all others are of the device.
bool IsAboutContent(const common::Error& error) {
  constexpr std::array kNumbers{common::kDamagedDatabase, common::kCannotBuildKey, common::kUnsupported,
                                common::kUnrecognizedFormat};
  return std::ranges::find(kNumbers, error.number()) != kNumbers.end();
}

// A table with its row checker, which later checks still ask for rows.
struct TableCheck {
  CheckedTable table;
  std::unique_ptr<RowChecker> rows;
};

class DatabaseCheck {
 public:
  DatabaseCheck(Pager& pager, const CheckOptions& options, CheckReport& report)
      : pager_(pager),
        report_(report),
        stored_into_(options.stored_into),
        context_(pager, report, options.max_findings) {
    context_.counters_matter = !stored_into_;
  }

  void Run() {
    report_.pages = pager_.page_count();
    if (!CheckHeader()) return;
    Guard("the catalogue", kObjectsTable, [&] { CheckTables(); });
    Guard("the map of free pages", kGlobalMapPage, [&] { CheckSpace(); });
  }

 private:
  // What a part of the check throws about the content ends that part alone.
  template <typename Part>
  void Guard(const std::string& what, PageNumber page, Part part) {
    try {
      part();
    } catch (const common::Error& error) {
      if (!IsAboutContent(error)) throw;
      context_.findings.Problem(page, "{}: {}", what, error.what());
    }
  }

  bool CheckHeader() {
    const std::uint64_t over = pager_.file().Size() % kPageSize;
    if (over != 0)
      context_.findings.Problem(pager_.page_count(), "{} bytes behind the last page are no whole page", over);
    if (pager_.page_count() == 0) {
      context_.findings.Problem(0, "the file has no page");
      return false;
    }
    bool readable = false;
    Guard("the header", 0, [&] {
      const PageView page = pager_.Read(0);
      const HeaderPage header = ReadHeaderPage(page.bytes(), pager_.path());
      pager_.SetDatabaseKey(header.database_key);
      readable = true;
      if (!header.sort_order.IsGeneral()) {
        context_.findings.Note(0, "new text columns would have the sort order {}, which is not known here",
                               header.sort_order.lcid);
      }
      if (!HeaderNamesSystemPages(page.bytes())) {
        context_.findings.Problem(0, "the header does not name the pages of the catalogue");
      }
    });
    context_.owners.Claim(0, context_.owners.Add("header"), context_.findings);
    context_.owners.Claim(kGlobalMapPage, context_.owners.Add("the map of free pages"), context_.findings);
    return readable;
  }

  void CheckTables() {
    std::vector<CatalogObject> objects;
    TableDefinition definition = ReadTableDefinition(pager_, kObjectsTable);
    const ObjectReader reader(definition, {&pager_.path(), kObjectsTable, std::nullopt});
    CheckTable("MSysObjects", definition,
               [&](RowRef slot, const RowView& row) { objects.push_back(reader.Read(slot, row)); });

    std::set<PageNumber> seen{kObjectsTable};
    for (const CatalogObject& object : objects) {
      if (!object.IsTable() || (object.name == "MSysObjects" && object.DefinitionPage() == kObjectsTable))
        continue;
      if (!seen.insert(object.DefinitionPage()).second) {
        context_.findings.Problem(object.row.page, "table {} has the definition page {} of another table",
                                  object.name, object.DefinitionPage());
        continue;
      }
      if (object.DefinitionPage() == kRelationshipsTable) continue;
      Guard("table " + object.name, object.DefinitionPage(),
            [&] { CheckTable(object.name, ReadTableDefinition(pager_, object.DefinitionPage()), {}); });
    }

    std::vector<Relationship> relationships;
    Guard("table MSysRelationships", kRelationshipsTable, [&] { relationships = CheckRelationshipsTable(); });
    check::CheckedTables tables;
    for (const TableCheck& each : tables_) tables.Add(each.table);
    check::CheckObjects(context_, objects, tables);
    if (!stored_into_) check::CheckRelationships(context_, objects, tables, relationships);
  }

  std::vector<Relationship> CheckRelationshipsTable() {
    TableDefinition definition = ReadTableDefinition(pager_, kRelationshipsTable);
    RelationshipReader reader(definition, {&pager_.path(), kRelationshipsTable, std::nullopt});
    CheckTable("MSysRelationships", definition, [&](RowRef, const RowView& row) { reader.Add(row); });
    return reader.Take();
  }

  void CheckTable(const std::string& name, TableDefinition definition, const RowChecker::Visit& visit) {
    ++report_.tables;
    TableCheck& check = tables_.emplace_back();
    check.table.name = name;
    check.table.definition = std::move(definition);
    const TableDefinition& table = check.table.definition;
    check.table.sound_indexes.resize(table.real_indexes.size());
    check.rows = std::make_unique<RowChecker>(context_, table, check.table.name);
    check.table.rows = check.rows.get();

    check::CheckDefinition(context_, table, name);
    check.rows->CheckPages();
    if (stored_into_ && !table.system_table && !common::EqualIgnoringCase(name, *stored_into_)) {
      for (std::size_t i = 0; i < table.real_indexes.size(); ++i) {
        check::IndexChecker(context_, table, i, *check.rows).ClaimPages();
      }
      return;
    }
    std::deque<check::IndexChecker> indexes;
    for (std::size_t i = 0; i < table.real_indexes.size(); ++i)
      indexes.emplace_back(context_, table, i, *check.rows);
    check.rows->CheckRows([&](RowRef slot, const RowView& row) {
      for (check::IndexChecker& index : indexes) index.AddRow(slot, row);
      if (visit) visit(slot, row);
    });
    for (std::size_t i = 0; i < indexes.size(); ++i) {
      Guard(indexes[i].what(), table.real_indexes[i].root, [&] {
        indexes[i].CheckTree();
        check.table.sound_indexes[i] = indexes[i].IsSound();
      });
    }
  }

  // Free pages are owned by nothing; what is neither is lost space.
  void CheckSpace() {
    if (const auto page =
            check::ReadDataPage(context_, kGlobalMapPage, kGlobalMapPage, "the map of free pages")) {
      check::CheckCells(context_, *page, "the map of free pages");
    }
    const std::optional<PageSet> free = check::ReadMap(context_, {kGlobalMapPage, 0}, "free pages");
    const std::optional<PageSet> second = check::ReadMap(context_, {kGlobalMapPage, 1}, "nothing");
    if (second && !second->pages.empty()) {
      context_.findings.Note(kGlobalMapPage, "the second global map names {} pages", second->pages.size());
    }
    if (!free) return;
    report_.free_pages = free->pages.size();
    auto next_free = free->pages.begin();
    PageNumber first_lost = 0;
    for (PageNumber page = 0; page < pager_.page_count(); ++page) {
      const bool is_free = next_free != free->pages.end() && *next_free == page;
      if (is_free) ++next_free;
      const check::PageOwners::Owner owner = context_.owners.OwnerOf(page);
      if (is_free && owner != check::PageOwners::kNone) {
        context_.findings.Problem(page, "page {} of {} is marked as free", page,
                                  context_.owners.NameOf(owner));
      }
      if (is_free || owner != check::PageOwners::kNone || page >= free->reach) continue;
      if (report_.lost_pages++ == 0) first_lost = page;
    }
    if (report_.lost_pages > 0) {
      context_.findings.Note(first_lost, "{} pages are neither free nor in use, the first of them page {}",
                             report_.lost_pages, first_lost);
    }
  }

  Pager& pager_;
  CheckReport& report_;
  const std::optional<std::string_view> stored_into_;
  Context context_;
  std::deque<TableCheck> tables_;
};

}  // namespace

void RequireSoundTable(Pager& pager, std::string_view table) {
  const CheckReport report = CheckDatabase(pager, {.max_findings = 1, .stored_into = table});
  if (report.IsClean()) return;
  const Finding& first = report.problems.front();
  throw common::Error(
      common::kDamagedDatabase,
      fmt::format("The database is damaged: page {}: {}{}; nothing was written; restore a backup of the "
                  "database, or compact and repair it in Access",
                  first.page, first.text,
                  report.problems_left_out > 0 ? fmt::format(", and {} more", report.problems_left_out) : ""),
      pager.path().string());
}

CheckReport CheckDatabase(Pager& pager, const CheckOptions& options) {
  CheckReport report;
  DatabaseCheck(pager, options, report).Run();
  return report;
}

}  // namespace corvix::jet
