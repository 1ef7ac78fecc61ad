#include "storage/jet/catalog/jet_create.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "core/value.h"
#include "storage/base/bytes.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/catalog/catalog_writer.h"
#include "storage/jet/catalog/schema_plan.h"
#include "storage/jet/catalog/system_tables.h"
#include "storage/jet/index/index_page.h"
#include "storage/jet/pages/header_page.h"
#include "storage/jet/pages/page.h"
#include "storage/jet/pages/pager.h"
#include "storage/jet/pages/usage_map.h"

namespace corvix::jet {
namespace {

constexpr std::uint32_t kBuild = 9756;  // of the engine whose files are the model
// Objects that are no tables are numbered upwards from here.
constexpr std::int32_t kFirstObjectId = std::numeric_limits<std::int32_t>::min();

// Gives planned tables their pages.
class TableMaker {
 public:
  TableMaker(Pager& pager, PageAllocator& allocator) : pager_(pager), allocator_(allocator) {}

  void AllocateDefinition(TableDefinition& table) {
    const std::size_t count = DefinitionPages(EncodeTableDefinition(table).size());
    for (std::size_t i = 0; i < count; ++i) table.pages.push_back(allocator_.Allocate().number());
    table.page = table.pages.front();
  }

  /// The maps of the table start on a page of their own.
  void StartMapPage() { map_page_.reset(); }

  void AllocateMaps(TableDefinition& table) {
    table.owned_pages = NewMap();
    table.free_space = NewMap();
    // In the order of the column numbers, whatever the order of the list.
    std::vector<LongValueMaps*> long_values;
    for (LongValueMaps& maps : table.long_values) long_values.push_back(&maps);
    std::ranges::sort(long_values, {}, &LongValueMaps::column);
    for (LongValueMaps* maps : long_values) {
      maps->owned = NewMap();
      maps->free_space = NewMap();
    }
    for (RealIndex& index : table.real_indexes) index.usage_map = NewMap();
  }

  void AllocateRoots(TableDefinition& table) {
    for (RealIndex& index : table.real_indexes) {
      index.root = MappedIndexPages(allocator_, pager_, index.usage_map).Allocate();
      IndexPageEdit::Format(pager_.Edit(index.root).bytes(), PageType::IndexLeaf, table.page);
    }
  }

 private:
  RowRef NewMap() {
    if (!map_page_ || !DataPage(pager_.Read(*map_page_)).HasRoomFor(UsageMap::kNewCell)) {
      const PageEdit page = allocator_.Allocate();
      DataPageEdit::Format(page.bytes(), 0);
      map_page_ = page.number();
    }
    return UsageMap::Create(pager_, *map_page_);
  }

  Pager& pager_;
  PageAllocator& allocator_;
  std::optional<PageNumber> map_page_;
};

// The catalogue while objects are entered into it.
class CatalogEntries {
 public:
  CatalogEntries(Pager& pager, PageAllocator& allocator, double created)
      : objects_(pager, allocator, kObjectsTable),
        permissions_(pager, allocator, kAcesTable),
        relationships_(pager, allocator, kRelationshipsTable),
        created_(created) {}

  void AddSystemObjects() {
    for (const SystemObject& object : SystemObjects()) {
      AddObject(object.id, object.parent, std::string(object.name), object.type, kSystemObject, object.owner,
                {});
    }
    for (const Permission& permission : SystemPermissions()) AddPermission(permission);
  }

  void AddTable(const PlannedTable& table) {
    const auto id = static_cast<std::int32_t>(table.definition.page);
    AddObject(id, kTablesContainer, table.name, ObjectType::Table, 0, Account::Admin,
              table.properties.Build());
    AddPermission({id, Account::Admin, kFullTableAccess});
    AddPermission({id, Account::Users, kFullTableAccess});
  }

  void AddRelationship(const Relationship& relationship) {
    const std::int32_t id = next_id_++;
    AddObject(id, kRelationshipsContainer, relationship.name, ObjectType::Relationship, 0, Account::Admin,
              {});
    AddPermission({id, Account::Admin, kAdminRelationshipAccess});
    AddPermission({id, Account::Users, kFullRelationshipAccess});
    std::int32_t position = 0;
    for (const auto& pair : relationship.columns) {
      relationships_.Add({{"szRelationship", relationship.name},
                          {"grbit", static_cast<std::int32_t>(relationship.flags)},
                          {"ccolumn", static_cast<std::int32_t>(relationship.columns.size())},
                          {"icolumn", position++},
                          {"szObject", relationship.table},
                          {"szColumn", pair.column},
                          {"szReferencedObject", relationship.referenced_table},
                          {"szReferencedColumn", pair.referenced_column}});
    }
  }

  void Save() {
    objects_.Save();
    permissions_.Save();
    relationships_.Save();
  }

 private:
  void AddObject(std::int32_t id, std::int32_t parent, std::string name, ObjectType type, std::uint32_t flags,
                 Account owner, core::Bytes properties) {
    objects_.Add({{"Id", id},
                  {"ParentId", parent},
                  {"Name", std::move(name)},
                  {"Type", static_cast<std::int16_t>(type)},
                  {"DateCreate", core::Date{created_}},
                  {"DateUpdate", core::Date{created_}},
                  {"Owner", AccountId(owner)},
                  {"Flags", static_cast<std::int32_t>(flags)},
                  {"LvProp", properties.empty() ? core::Value() : core::Value(std::move(properties))}});
  }

  void AddPermission(const Permission& permission) {
    permissions_.Add({{"ObjectId", permission.object},
                      {"SID", AccountId(permission.account)},
                      {"ACM", static_cast<std::int32_t>(permission.access)},
                      {"FInheritable", permission.inheritable}});
  }

  CatalogWriter objects_;
  CatalogWriter permissions_;
  CatalogWriter relationships_;
  double created_;
  std::int32_t next_id_ = kFirstObjectId;
};

// Pages 0 to 13: header, map of free pages, and the system tables without rows.
void MakeSystemPages(Pager& pager) {
  HeaderPage header;
  header.build = kBuild;
  header.created = KnownCreationDate();
  std::ranges::copy(MakeHeaderPage(header), pager.Append().bytes().begin());
  pager.Append();
  PageAllocator::Format(pager);

  PageAllocator allocator(pager);
  TableMaker maker(pager, allocator);
  std::vector<TableDefinition> tables = SystemTables();
  for (TableDefinition& table : tables) maker.AllocateDefinition(table);
  for (TableDefinition& table : tables) maker.AllocateMaps(table);
  for (TableDefinition& table : tables) maker.AllocateRoots(table);
  for (const TableDefinition& table : tables) WriteTableDefinition(pager, table);
}

void MakeTables(Pager& pager, PageAllocator& allocator, std::vector<PlannedTable>& tables) {
  TableMaker maker(pager, allocator);
  for (PlannedTable& table : tables) maker.AllocateDefinition(table.definition);
  for (PlannedTable& table : tables) {
    for (LogicalIndex& index : table.definition.logical_indexes) {
      if (index.kind == IndexKind::Relationship)
        index.other_table = tables[index.other_table].definition.page;
    }
    maker.StartMapPage();
    maker.AllocateMaps(table.definition);
    maker.AllocateRoots(table.definition);
    WriteTableDefinition(pager, table.definition);
  }
}

void MakeDatabase(Pager& pager, SchemaPlan& plan, double created) {
  MakeSystemPages(pager);
  PageAllocator allocator(pager);
  {
    CatalogEntries catalog(pager, allocator, KnownCreationDate());
    catalog.AddSystemObjects();
    catalog.Save();
  }
  MakeTables(pager, allocator, plan.tables);
  CatalogEntries catalog(pager, allocator, created);
  for (const PlannedTable& table : plan.tables) catalog.AddTable(table);
  for (const Relationship& relationship : plan.relationships) catalog.AddRelationship(relationship);
  catalog.Save();
}

}  // namespace

void CreateDatabase(storage::FileSystem& files, const std::filesystem::path& path,
                    const DatabaseDescription& description) {
  SchemaPlan plan = PlanSchema(description);
  std::filesystem::path unfinished = path;
  unfinished += ".new";
  try {
    {
      Pager pager(files.Open(unfinished, storage::OpenMode::Create), path, {});
      MakeDatabase(pager, plan, description.created != 0 ? description.created : KnownCreationDate());
      pager.Checkpoint();
    }
    files.Rename(unfinished, path);
  } catch (...) {
    if (files.Exists(unfinished)) files.Remove(unfinished);
    throw;
  }
  files.SyncDirectory(path.has_parent_path() ? path.parent_path() : ".");
}

}  // namespace corvix::jet
