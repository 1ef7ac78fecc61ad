#include "storage/foxpro/tag_building.h"

#include <fmt/format.h>
#include <optional>
#include <utility>

#include "common/error.h"
#include "storage/foxpro/index_key.h"
#include "storage/foxpro/key_expression.h"

namespace corvix::foxpro {
namespace {

[[noreturn]] void Refuse(std::string what) { throw common::Error(common::kInvalidCall, std::move(what)); }

/// Everything of a tag but where its pages will be.
Tag PlanTag(const NewTag& wanted, const KeyExpression& expression) {
  Tag tag{.name = wanted.name,
          .descending = wanted.descending,
          .collation = wanted.collation,
          .key = wanted.key,
          .condition = wanted.condition};
  tag.options = cdx::kCompact | cdx::kCompound;
  if (wanted.unique) tag.options |= cdx::kUnique;
  if (!wanted.condition.empty()) tag.options |= cdx::kFor;
  if (expression.nullable()) tag.options |= cdx::kNullable;
  const std::size_t own =
      expression.type() == KeyType::Text ? expression.width() : KeyLengthOf(expression.type());
  const std::size_t length = own + (expression.nullable() ? 1 : 0);
  if (own < 1 || length > cdx::kMaxKeyLength) {
    Refuse(fmt::format("The keys of tag {} would be {} bytes long", wanted.name, length));
  }
  tag.key_length = static_cast<std::uint16_t>(length);
  return tag;
}

}  // namespace

void AddTag(CdxBuilder& builder, const NewTag& wanted, DbfFile& table, const storage::CodePage& page) {
  const KeyExpression expression(wanted.key, table.header(), page);
  std::optional<KeyExpression> condition;
  if (!wanted.condition.empty()) condition.emplace(wanted.condition, table.header(), page);
  if (condition && condition->type() != KeyType::Logical) {
    Refuse(fmt::format("The condition of tag {} is neither true nor false", wanted.name));
  }
  Tag tag = PlanTag(wanted, expression);
  const KeyForm form = FormOfTag(tag, expression.type());
  KeyForm by_bytes = form;
  by_bytes.collated = false;
  KeySorter keys(form.length);
  KeyValue value;
  std::vector<std::byte> key(form.length);
  table.Scan(1, table.RecordCount(), [&](std::uint32_t number, storage::ByteView record) {
    if (condition && !condition->Holds(record, number)) return;
    expression.Evaluate(record, number, value);
    if (form.collated) {
      for (char& c : value.text) c = page.Upper(c);
    }
    EncodeKey(by_bytes, value, key);
    keys.Add(key, number);
  });
  builder.AddTag(std::move(tag), form.Pad(), keys);
}

}  // namespace corvix::foxpro
