#include "merge/store_field.h"

#include "common/trap.h"
#include "core/field_fit.h"
#include "core/lookup.h"
#include "merge/dates.h"
#include "merge/store_rules.h"

namespace corvix::merge {
namespace {

/// "CENTRALKEY" in this letter case, while the row has a key.
bool IsGuardedKey(const core::TableSource& target, const FieldPair& pair) {
  return pair.is_key && pair.name == core::kCentralKey &&
         !core::GetFieldData(target, core::kCentralKey).empty();
}

}  // namespace

void StoreFolvaneField(core::TableSource& target, std::string_view field_name, std::string& data) {
  common::Procedure("StoreFolvaneField", [&](const common::Trap& trap) {
    FieldPair pair;
    trap([&] { pair = PairOf(field_name, target.Records()); });
    StoreFolvaneField(target, pair, data);
  });
}

void StoreFolvaneField(core::TableSource& target, const FieldPair& pair, std::string& data) {
  common::Procedure("StoreFolvaneField", [&](const common::Trap& trap) {
    if (pair.rule == StoreRule::SaleDate) {
      trap([&] { NamingSource(pair, [&] { SetSaleDate(target, data); }); });
      return;
    }
    if (IsGuardedKey(target, pair)) return;
    if (pair.rule == StoreRule::Text) common::CurrentProc = core::kTrim2Size;
    trap([&] {
      Decision decision = Decide(pair, data);
      NamingSource(pair, [&] {
        if (decision.error) throw *decision.error;
        if (decision.value) target.Records().Write(decision.target.position, *std::move(decision.value));
      });
    });
  });
}

}  // namespace corvix::merge
