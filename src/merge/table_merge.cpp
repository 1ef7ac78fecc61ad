#include "merge/table_merge.h"

#include "common/text.h"
#include "common/trap.h"
#include "core/lookup.h"
#include "merge/store_field.h"

namespace corvix::merge {
namespace {

using common::Procedure;
using common::Trap;
using core::GetFieldData;

}  // namespace

void MergeData(const FieldPairs& pairs, core::TableSource& source, core::TableSource& target,
               std::string_view mode) {
  Procedure("MergeData", [&](const Trap& trap) {
    if (!common::EqualIgnoringCase(mode, kReplace)) return;
    std::string value;
    for (const FieldPair& pair : pairs) {
      if (pair.rule == StoreRule::Nothing) continue;  // a memo is not read in vain
      GetFieldData(source, pair.source, value);
      if (value.empty()) continue;
      if (pair.is_key && !GetFieldData(target, core::kCentralKey).empty()) continue;
      trap([&] { StoreFolvaneField(target, pair, value); });
    }
  });
}

void MergeCentralData(const FieldPairs& pairs, core::TableSource& central, core::TableSource& target,
                      std::string_view mode) {
  Procedure("MergeCentralData", [&](const Trap& trap) {
    const bool replace_all = common::EqualIgnoringCase(mode, kReplace);
    std::string text;
    for (const FieldPair& pair : pairs) {
      if (!pair.plain) continue;
      if (!replace_all) {
        GetFieldData(target, pair.plain.position, text);
        if (!text.empty()) continue;
      }
      GetFieldData(central, pair.listed_at, text);
      trap([&] {
        NamingSource(pair, [&] { target.Records().Write(pair.plain.position, core::Value(text)); });
      });
    }
  });
}

void MergeData(core::TableSource& source, core::TableSource& target, std::string_view mode) {
  MergeData(FieldPairs(source, target), source, target, mode);
}

void MergeCentralData(core::TableSource& central, core::TableSource& target, std::string_view mode) {
  MergeCentralData(FieldPairs(central, target), central, target, mode);
}

}  // namespace corvix::merge
