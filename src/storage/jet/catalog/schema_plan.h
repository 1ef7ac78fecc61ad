// Turns a description of tables and relationships into table definitions that lack only their pages. All that
// can be wrong with a description is found here, before a file is touched.
#pragma once

#include <string>
#include <vector>

#include "storage/jet/catalog/catalog.h"
#include "storage/jet/catalog/jet_create.h"
#include "storage/jet/definition/property_map.h"
#include "storage/jet/definition/table_definition.h"

namespace corvix::jet {

struct PlannedTable {
  std::string name;
  /// Complete but for pages: page numbers and map addresses are 0, and `other_table` of a relationship's
  /// index is the position of the other table among the planned ones.
  TableDefinition definition;
  PropertyMap properties;
};

struct SchemaPlan {
  std::vector<PlannedTable> tables;
  std::vector<Relationship> relationships;
};

/// Error 5, naming table, column or index, for a description that cannot be made.
SchemaPlan PlanSchema(const DatabaseDescription& description);

/// Adds a column behind the others: gives it its number and its place among the fixed or the variable
/// columns. A fixed column with a length of its own type needs none set.
void AddColumn(TableDefinition& table, Column column);

/// Lists long value columns of the table without addresses, in the order of the descriptors.
void AddLongValueMaps(TableDefinition& table);

}  // namespace corvix::jet
