// The system catalogue: which objects a database has (MSysObjects), with the properties of tables, and how
// tables are related (MSysRelationships). Both are ordinary tables at fixed pages.
//
// A Catalog is a snapshot: it reads MSysObjects once. Failures: 3049 on damage.
//
// docs/formats/jet4.md, "Catalogue".
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "storage/jet/definition/property_map.h"
#include "storage/jet/definition/table_definition.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/rows/row_codec.h"

namespace corvix::jet {

class Pager;

/// Types of catalogue objects that the engine knows; documents of user interfaces have others.
enum class ObjectType : std::int16_t {
  Table = 1,
  Database = 2,
  Container = 3,
  OdbcLink = 4,
  Query = 5,
  LinkedTable = 6,
  Relationship = 8,
};

/// Flags of catalogue objects.
inline constexpr std::uint32_t kSystemObject = 0x80000000;
inline constexpr std::uint32_t kInterfaceObject = 0x00000002;  // system objects of a user interface
inline constexpr std::uint32_t kHiddenObject = 0x00000008;

struct CatalogObject {
  std::int32_t id = 0;  ///< tables: the page of the definition
  std::int32_t parent = 0;
  std::string name;
  std::int16_t type = 0;  ///< ObjectType, or a code of a user interface
  std::uint32_t flags = 0;
  double created = 0;  ///< days since 1899-12-30
  double updated = 0;
  RowRef row;                                ///< in MSysObjects
  std::vector<std::byte> stored_properties;  ///< as the row holds them; ReadProperties gives the map

  bool IsTable() const { return type == static_cast<std::int16_t>(ObjectType::Table); }
  /// Tables of the engine and of user interfaces, as opposed to tables of people.
  bool IsSystem() const { return (flags & (kSystemObject | kInterfaceObject)) != 0; }
  PageNumber DefinitionPage() const { return static_cast<PageNumber>(id) & 0xFFFFFF; }
};

/// A relationship between two tables: rows of `table` refer to rows of `referenced_table` by the columns.
struct Relationship {
  struct ColumnPair {
    std::string column;
    std::string referenced_column;
  };
  std::string name;
  std::string table;
  std::string referenced_table;
  std::uint32_t flags = 0;
  std::vector<ColumnPair> columns;

  static constexpr std::uint32_t kUnique = 0x1;
  static constexpr std::uint32_t kNotEnforced = 0x2;
  static constexpr std::uint32_t kInherited = 0x4;  // from a linked database
  static constexpr std::uint32_t kCascadeUpdates = 0x100;
  static constexpr std::uint32_t kCascadeDeletes = 0x1000;

  bool IsEnforced() const { return (flags & (kNotEnforced | kInherited)) == 0; }
  bool CascadesUpdates() const { return (flags & kCascadeUpdates) != 0; }
  bool CascadesDeletes() const { return (flags & kCascadeDeletes) != 0; }
};

/// Reads rows of MSysObjects; for those who walk the table themselves.
class ObjectReader {
 public:
  /// `objects` must outlive the reader. Error 3049 when it lacks a column.
  ObjectReader(const TableDefinition& objects, const Place& place);
  CatalogObject Read(RowRef slot, const RowView& row) const;

 private:
  const Column &id_, &parent_, &name_, &type_, &flags_, &created_, &updated_, &properties_;
};

/// Gathers the rows of MSysRelationships, one per pair of columns and in any order, into relationships.
class RelationshipReader {
 public:
  /// `relationships` must outlive the reader. Error 3049 when it lacks a column.
  RelationshipReader(const TableDefinition& relationships, const Place& place);
  void Add(const RowView& row);
  /// In the order of their first rows.
  std::vector<Relationship> Take();

 private:
  struct Pair {
    std::size_t relationship;
    std::int32_t position;
    Relationship::ColumnPair columns;
  };
  const Column &name_, &flags_, &position_, &table_, &column_, &referenced_table_, &referenced_column_;
  std::vector<Relationship> found_;
  std::unordered_map<std::string, std::size_t> by_name_;
  std::vector<Pair> pairs_;
};

class Catalog {
 public:
  explicit Catalog(Pager& pager);

  std::span<const CatalogObject> objects() const { return objects_; }
  /// The local table of that name, without regard to case; null when there is none.
  const CatalogObject* FindTable(std::string_view name) const;
  /// Error 3049 when the object's properties are damaged.
  PropertyMap ReadProperties(const CatalogObject& object) const;
  /// All relationships, in the order of their first rows.
  std::vector<Relationship> ReadRelationships() const;
  /// Those in which the table stands on either side.
  std::vector<Relationship> RelationshipsOf(std::string_view table) const;

 private:
  Pager& pager_;
  std::vector<CatalogObject> objects_;
};

}  // namespace corvix::jet
