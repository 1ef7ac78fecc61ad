// Checks what the catalogue says about its objects, and relationships between tables.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "storage/jet/catalog/catalog.h"
#include "storage/jet/check/check_context.h"
#include "storage/jet/check/check_rows.h"
#include "storage/jet/definition/table_definition.h"

namespace corvix::jet::check {

/// A table as the checks of the catalogue see it.
struct CheckedTable {
  std::string name;
  TableDefinition definition;
  const RowChecker* rows = nullptr;
  std::vector<bool> sound_indexes;  ///< per real index: the tree is sound and agrees with the rows
};

/// The tables of the file, found by name (without regard to case) or by the page of the definition.
class CheckedTables {
 public:
  /// `table` must outlive this.
  void Add(const CheckedTable& table);
  const CheckedTable* Find(std::string_view name) const;
  const CheckedTable* Find(PageNumber page) const;
  const std::vector<const CheckedTable*>& all() const { return all_; }

 private:
  std::vector<const CheckedTable*> all_;
  std::unordered_map<std::string, const CheckedTable*> by_name_;
  std::unordered_map<PageNumber, const CheckedTable*> by_page_;
};

/// Ids and names are unique, parents and system tables are there, properties can be read. Notes rules of
/// columns that are not obeyed here.
void CheckObjects(Context& context, const std::vector<CatalogObject>& objects, const CheckedTables& tables);

/// Relationships name tables and columns that exist, their indexes name each other, and in those that are
/// enforced each row refers to a row.
void CheckRelationships(Context& context, const std::vector<CatalogObject>& objects,
                        const CheckedTables& tables, const std::vector<Relationship>& relationships);

}  // namespace corvix::jet::check
