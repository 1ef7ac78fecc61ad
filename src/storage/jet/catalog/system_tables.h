// What every Jet database consists of before anybody's tables: the four system tables, the eight objects that
// the catalogue lists at first, and who may do what with them.
// docs/formats/jet4.md, "Catalogue".
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "storage/jet/catalog/catalog.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/pages/jet_format.h"

namespace corvix::jet {

/// Containers of the catalogue: the parents of its objects.
inline constexpr std::int32_t kTablesContainer = 0x0F000001;
inline constexpr std::int32_t kDatabasesContainer = 0x0F000002;
inline constexpr std::int32_t kRelationshipsContainer = 0x0F000003;

/// The system tables in the order of their definition pages (2 to 5), complete but for pages: MSysObjects,
/// MSysACEs, MSysQueries, MSysRelationships.
std::vector<TableDefinition> SystemTables();

/// Accounts of the workgroup that every installation has. Their ids ("SID") are masked by something that
/// depends on the creation date of the file, by a rule that is not known; so new files take a date whose
/// masked ids are known.
enum class Account { Admin, Users, Engine, Creator };
std::vector<std::byte> AccountId(Account account);
/// The creation date that goes with AccountId, days since 1899-12-30.
double KnownCreationDate();

/// An object that a new database has.
struct SystemObject {
  std::int32_t id;
  std::string_view name;
  ObjectType type;
  std::int32_t parent;
  Account owner;
};
std::span<const SystemObject> SystemObjects();

/// A permission: a row of MSysACEs.
struct Permission {
  std::int32_t object;
  Account account;
  std::uint32_t access;
  bool inheritable = false;
};
std::span<const Permission> SystemPermissions();

inline constexpr std::uint32_t kFullTableAccess = 0xFFEFF;
inline constexpr std::uint32_t kFullRelationshipAccess = 0xFFFFF;
inline constexpr std::uint32_t kAdminRelationshipAccess = 0xF00FE;

}  // namespace corvix::jet
