#include "storage/jet/catalog/schema_plan.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>

#include "common/error.h"
#include "common/text.h"
#include "storage/jet/rows/row_codec.h"

namespace corvix::jet {
namespace {

constexpr std::size_t kMaxTextLength = 255;    // characters
constexpr std::size_t kMaxBinaryLength = 510;  // bytes
constexpr std::uint8_t kMaxPrecision = 28;
constexpr std::array<std::string_view, 4> kSystemNames{"MSysObjects", "MSysACEs", "MSysQueries",
                                                       "MSysRelationships"};

[[noreturn]] void Refuse(std::string text) { throw common::Error(common::kInvalidCall, std::move(text)); }

// Names of one kind: each valid, and no two equal without regard to case.
class Names {
 public:
  explicit Names(std::string kind) : kind_(std::move(kind)) {}

  void Add(const std::string& name) {
    if (name.empty() || common::Utf16Length(name) > kMaxName) {
      Refuse(fmt::format("The name \"{}\" of a {} must have 1 to {} characters", name, kind_, kMaxName));
    }
    if (name.front() == ' ' || name.find_first_of(".!`[]") != std::string::npos ||
        std::ranges::any_of(name, [](char c) { return static_cast<unsigned char>(c) < ' '; })) {
      Refuse(fmt::format("The name \"{}\" of a {} has a character that names cannot have", name, kind_));
    }
    if (!seen_.insert(common::UpperCase(name)).second) {
      Refuse(fmt::format("There are two {}s of the name \"{}\"", kind_, name));
    }
  }

 private:
  std::string kind_;
  std::set<std::string> seen_;
};

// Length as the descriptor holds it, in bytes.
std::uint16_t StoredLength(const ColumnDescription& column) {
  if (column.type == ColumnType::YesNo) return 1;
  const ColumnTypeInfo& info = InfoOf(column.type);
  if (info.size != 0 || info.long_value) return info.size;
  return static_cast<std::uint16_t>(info.text ? 2 * column.length : column.length);
}

void CheckColumn(const std::string& table, const ColumnDescription& column) {
  const auto refuse = [&](std::string_view text) {
    Refuse(fmt::format("Column \"{}\" of table \"{}\" {}", column.name, table, text));
  };
  const auto length_between = [&](std::size_t least, std::size_t most, std::string_view unit) {
    if (column.length < least || column.length > most) {
      refuse(fmt::format("has the length {}; it must be {} to {} {}", column.length, least, most, unit));
    }
  };
  if (column.type == ColumnType::Text) length_between(1, kMaxTextLength, "characters");
  if (column.type == ColumnType::Binary) length_between(1, kMaxBinaryLength, "bytes");
  if (column.type == ColumnType::Opaque) refuse("is of a type that cannot be created");
  if (column.type == ColumnType::Decimal &&
      (column.precision < 1 || column.precision > kMaxPrecision || column.scale > column.precision)) {
    refuse(fmt::format("has {} digits, {} of them behind the point", column.precision, column.scale));
  }
  if (column.autonumber && column.type != ColumnType::Long) refuse("numbers itself but is no long integer");
}

Column PlanColumn(const ColumnDescription& description, std::uint16_t position) {
  Column column;
  column.name = description.name;
  column.type = description.type;
  column.display_position = position;
  column.flags = Column::kWritable;
  if (!InfoOf(description.type).variable) column.flags |= Column::kFixed;
  if (description.autonumber) column.flags |= Column::kAutonumber;
  column.compressed = description.type == ColumnType::Text && description.compressed;
  column.length = StoredLength(description);
  if (description.type == ColumnType::Decimal) {
    column.precision = description.precision;
    column.scale = description.scale;
  }
  return column;
}

void SetRules(PropertyMap& properties, const ColumnDescription& column) {
  const auto set = [&](Property property) { properties.Set(column.name, std::move(property)); };
  set(Property::YesNo("Required", column.required));
  if (InfoOf(column.type).text) set(Property::YesNo("AllowZeroLength", column.allow_zero_length));
  if (!column.default_value.empty()) set(Property::Memo("DefaultValue", column.default_value));
  if (!column.validation_rule.empty()) set(Property::Memo("ValidationRule", column.validation_rule));
  if (!column.validation_text.empty()) set(Property::Text("ValidationText", column.validation_text));
}

RealIndex PlanRealIndex(const TableDescription& table, const IndexDescription& index,
                        const TableDefinition& definition) {
  if (index.columns.empty() || index.columns.size() > kMaxIndexColumns) {
    Refuse(fmt::format("Index \"{}\" of table \"{}\" must have 1 to {} columns", index.name, table.name,
                       kMaxIndexColumns));
  }
  RealIndex real;
  for (const IndexColumnDescription& each : index.columns) {
    const Column* column = definition.FindColumn(each.name);
    if (!column || !InfoOf(column->type).indexable) {
      Refuse(fmt::format("Index \"{}\" of table \"{}\" cannot be over the column \"{}\": there is {}",
                         index.name, table.name, each.name,
                         column ? "no order of its type" : "no such column"));
    }
    if (std::ranges::find(real.columns, column->number, &IndexColumn::number) != real.columns.end()) {
      Refuse(fmt::format("Index \"{}\" of table \"{}\" has the column \"{}\" twice", index.name, table.name,
                         each.name));
    }
    real.columns.push_back({column->number, each.ascending});
  }
  real.flags = RealIndex::kAlways;
  if (index.unique || index.primary) real.flags |= RealIndex::kUnique;
  if (index.required || index.primary) real.flags |= RealIndex::kRequired;
  if (index.ignore_nulls) real.flags |= RealIndex::kIgnoreNulls;
  return real;
}

// A logical index is found by its name, so the list is kept in the order of names.
LogicalIndex& AddLogicalIndex(TableDefinition& table, LogicalIndex index) {
  index.number = static_cast<std::uint32_t>(table.logical_indexes.size());
  const auto place =
      std::ranges::upper_bound(table.logical_indexes, common::UpperCase(index.name), {},
                               [](const LogicalIndex& each) { return common::UpperCase(each.name); });
  return *table.logical_indexes.insert(place, std::move(index));
}

std::uint32_t AddRealIndex(const std::string& table_name, TableDefinition& table, RealIndex index) {
  if (table.real_indexes.size() == kMaxIndexes) {
    Refuse(fmt::format("Table \"{}\" has more than {} indexes", table_name, kMaxIndexes));
  }
  table.real_indexes.push_back(std::move(index));
  return static_cast<std::uint32_t>(table.real_indexes.size() - 1);
}

void CheckRowFits(const std::string& name, const TableDefinition& table) {
  std::size_t fixed = 0;
  for (const Column& column : table.columns) {
    if (column.IsFixed()) fixed = std::max(fixed, column.fixed_offset + column.FixedSize());
  }
  const std::size_t variable = table.variable_columns == 0 ? 0 : 4 + 2 * std::size_t{table.variable_columns};
  if (2 + fixed + variable + (table.max_columns + 7U) / 8 > data_page::kMaxRow) {
    Refuse(fmt::format("Table \"{}\" has columns that cannot stand in one row", name));
  }
}

PlannedTable PlanTable(const TableDescription& description) {
  PlannedTable table;
  table.name = description.name;
  if (description.columns.empty() || description.columns.size() > kMaxColumns) {
    Refuse(fmt::format("Table \"{}\" must have 1 to {} columns", description.name, kMaxColumns));
  }
  Names column_names("column");
  for (const ColumnDescription& column : description.columns) {
    column_names.Add(column.name);
    CheckColumn(description.name, column);
    AddColumn(table.definition,
              PlanColumn(column, static_cast<std::uint16_t>(table.definition.columns.size())));
    SetRules(table.properties, column);
  }
  if (std::ranges::count_if(description.columns, &ColumnDescription::autonumber) > 1) {
    Refuse(fmt::format("Table \"{}\" has two columns that number themselves", description.name));
  }
  AddLongValueMaps(table.definition);
  CheckRowFits(description.name, table.definition);

  if (std::ranges::count_if(description.indexes, &IndexDescription::primary) > 1) {
    Refuse(fmt::format("Table \"{}\" has two primary keys", description.name));
  }
  Names index_names("index");
  for (const IndexDescription& index : description.indexes) {
    index_names.Add(index.name);
    LogicalIndex logical;
    logical.name = index.name;
    logical.kind = index.primary ? IndexKind::PrimaryKey : IndexKind::Plain;
    logical.real_index =
        AddRealIndex(description.name, table.definition, PlanRealIndex(description, index, table.definition));
    AddLogicalIndex(table.definition, std::move(logical));
  }
  return table;
}

// The real index over exactly these columns, ascending; -1 when there is none.
std::ptrdiff_t FindRealIndex(const TableDefinition& table, const std::vector<std::uint16_t>& columns,
                             bool unique) {
  const auto found = std::ranges::find_if(table.real_indexes, [&](const RealIndex& index) {
    return (!unique || index.IsUnique()) && !index.IgnoresNulls() &&
           std::ranges::equal(index.columns, columns, [](const IndexColumn& column, std::uint16_t number) {
             return column.ascending && column.number == number;
           });
  });
  return found == table.real_indexes.end() ? -1 : found - table.real_indexes.begin();
}

// Plans relationships one after the other; tables are planned already.
class RelationshipPlanner {
 public:
  explicit RelationshipPlanner(SchemaPlan& plan) : plan_(plan) {}

  void Add(const RelationshipDescription& description) {
    const std::size_t referring = FindTable(description.name, description.table);
    const std::size_t referenced = FindTable(description.name, description.referenced_table);
    if (description.columns.empty() || description.columns.size() > kMaxIndexColumns) {
      Refuse(
          fmt::format("Relationship \"{}\" must have 1 to {} columns", description.name, kMaxIndexColumns));
    }
    std::vector<std::uint16_t> referring_columns;
    std::vector<std::uint16_t> referenced_columns;
    Relationship planned{
        description.name, plan_.tables[referring].name, plan_.tables[referenced].name, 0, {}};
    for (const auto& pair : description.columns) {
      const Column& column = FindColumn(description.name, referring, pair.column);
      const Column& referenced_column = FindColumn(description.name, referenced, pair.referenced_column);
      if (column.type != referenced_column.type) {
        Refuse(fmt::format("Relationship \"{}\" joins the columns \"{}\" and \"{}\" of different types",
                           description.name, column.name, referenced_column.name));
      }
      referring_columns.push_back(column.number);
      referenced_columns.push_back(referenced_column.number);
      planned.columns.push_back({column.name, referenced_column.name});
    }
    if (!description.enforced) planned.flags |= Relationship::kNotEnforced;
    if (description.cascade_updates) planned.flags |= Relationship::kCascadeUpdates;
    if (description.cascade_deletes) planned.flags |= Relationship::kCascadeDeletes;
    if (FindRealIndex(plan_.tables[referring].definition, referring_columns, true) >= 0) {
      planned.flags |= Relationship::kUnique;
    }
    if (description.enforced)
      AddIndexes(description, referring, referring_columns, referenced, referenced_columns);
    plan_.relationships.push_back(std::move(planned));
  }

 private:
  std::size_t FindTable(const std::string& relationship, const std::string& name) const {
    const auto found = std::ranges::find_if(
        plan_.tables, [&](const PlannedTable& table) { return common::EqualIgnoringCase(table.name, name); });
    if (found == plan_.tables.end()) {
      Refuse(
          fmt::format("Relationship \"{}\" names the table \"{}\", which is not there", relationship, name));
    }
    return static_cast<std::size_t>(found - plan_.tables.begin());
  }

  const Column& FindColumn(const std::string& relationship, std::size_t table,
                           const std::string& name) const {
    const Column* column = plan_.tables[table].definition.FindColumn(name);
    if (!column) {
      Refuse(fmt::format("Relationship \"{}\" names the column \"{}\", which table \"{}\" lacks",
                         relationship, name, plan_.tables[table].name));
    }
    return *column;
  }

  // Each side gets a logical index that names the other one. The referring side shares a tree over its
  // columns with another index, or gets one of its own.
  void AddIndexes(const RelationshipDescription& description, std::size_t referring,
                  const std::vector<std::uint16_t>& referring_columns, std::size_t referenced,
                  const std::vector<std::uint16_t>& referenced_columns) {
    TableDefinition& table = plan_.tables[referring].definition;
    TableDefinition& other = plan_.tables[referenced].definition;
    const std::ptrdiff_t target = FindRealIndex(other, referenced_columns, true);
    if (target < 0) {
      Refuse(
          fmt::format("Relationship \"{}\" needs a unique index over the referenced columns of table \"{}\"",
                      description.name, plan_.tables[referenced].name));
    }
    if (table.FindIndex(description.name)) {
      Refuse(fmt::format("Relationship \"{}\" has the name of an index of table \"{}\"", description.name,
                         plan_.tables[referring].name));
    }

    LogicalIndex index;
    index.name = description.name;
    index.kind = IndexKind::Relationship;
    index.cascade_updates = description.cascade_updates ? 1 : 0;
    index.cascade_deletes = description.cascade_deletes ? 1 : 0;
    LogicalIndex back = index;

    const std::ptrdiff_t shared = FindRealIndex(table, referring_columns, false);
    if (shared >= 0) {
      index.real_index = static_cast<std::uint32_t>(shared);
    } else {
      RealIndex real;
      for (const std::uint16_t number : referring_columns) real.columns.push_back({number, true});
      real.flags = RealIndex::kAlways;
      index.real_index = AddRealIndex(plan_.tables[referring].name, table, std::move(real));
    }
    index.relation_side = 2;
    index.other_table = static_cast<PageNumber>(referenced);
    // In a table that refers to itself the other side's index follows this one.
    index.other_index =
        static_cast<std::uint32_t>(other.logical_indexes.size() + (referring == referenced ? 1U : 0U));
    back.other_index = AddLogicalIndex(table, std::move(index)).number;

    back.name = NextHiddenName();
    back.real_index = static_cast<std::uint32_t>(target);
    back.relation_side = 1;
    back.other_table = static_cast<PageNumber>(referring);
    AddLogicalIndex(other, std::move(back));
  }

  // ".rA", ".rB" and so on: no name that a person could give.
  std::string NextHiddenName() {
    std::string letters;
    for (std::size_t n = ++hidden_names_; n > 0; n = (n - 1) / 26) {
      letters.insert(letters.begin(), static_cast<char>('A' + (n - 1) % 26));
    }
    return ".r" + letters;
  }

  SchemaPlan& plan_;
  std::size_t hidden_names_ = 0;
};

}  // namespace

void AddColumn(TableDefinition& table, Column column) {
  column.number = table.max_columns++;
  column.variable_index = table.variable_columns;
  if (!column.IsFixed()) {
    ++table.variable_columns;
  } else if (column.type != ColumnType::YesNo) {
    std::size_t end = 0;
    for (const Column& each : table.columns) {
      if (each.IsFixed()) end = std::max(end, each.fixed_offset + each.FixedSize());
    }
    column.fixed_offset = static_cast<std::uint16_t>(end);
  }
  table.columns.push_back(std::move(column));
}

void AddLongValueMaps(TableDefinition& table) {
  for (const Column& column : table.columns) {
    if (column.IsLongValue()) table.long_values.push_back({column.number, {}, {}});
  }
}

SchemaPlan PlanSchema(const DatabaseDescription& description) {
  SchemaPlan plan;
  Names table_names("table");
  for (const std::string_view name : kSystemNames) table_names.Add(std::string(name));
  for (const TableDescription& table : description.tables) {
    table_names.Add(table.name);
    plan.tables.push_back(PlanTable(table));
  }
  Names relationship_names("relationship");
  RelationshipPlanner relationships(plan);
  for (const RelationshipDescription& relationship : description.relationships) {
    relationship_names.Add(relationship.name);
    relationships.Add(relationship);
  }
  return plan;
}

}  // namespace corvix::jet
