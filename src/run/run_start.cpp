#include "run/run_start.h"

#include <array>

namespace corvix::run {
namespace {

using common::Error;
using core::kCentralKey;
using core::TableSource;

/// Runs statements under the run's trap and keeps the first error after which one was skipped.
class Requirements {
 public:
  explicit Requirements(const common::Trap& trap) : trap_(trap) {}

  /// False when the statement was skipped.
  bool Require(std::invocable auto&& statement) {
    std::optional<Error> skipped;
    trap_([&] {
      try {
        statement();
        skipped.reset();
      } catch (const Error& error) {
        skipped = error;
        throw;
      }
    });
    if (skipped && !failure_) failure_ = skipped;
    return !skipped;
  }
  const std::optional<Error>& failure() const { return failure_; }

 private:
  const common::Trap& trap_;
  std::optional<Error> failure_;
};

void SelectIndexes(core::ConversionSources& sources, Requirements& requirements) {
  for (TableSource* source :
       {&sources.datcomps, &sources.datphoto, &sources.datCentral, &sources.DATFOLVANE}) {
    if (!source->Recordset) continue;
    requirements.Require([&] { source->Recordset->SelectIndex(kCentralKey); });
  }
}

void TellRebuiltIndexes(const core::ConversionSources& sources, Host& host) {
  std::vector<RebuiltIndex> rebuilt;
  for (const TableSource* source : {&sources.datCentral, &sources.datcomps, &sources.datphoto}) {
    if (!source->Recordset) continue;
    if (std::string why = source->Recordset->RebuiltIndex(); !why.empty())
      rebuilt.push_back({source->RecordSource, std::move(why)});
  }
  if (!rebuilt.empty()) host.IndexesRebuilt(rebuilt);
}

}  // namespace

std::optional<Error> ConnectionFailure(const core::ConversionSources& sources) {
  const auto failure_of = [](const TableSource& source) -> std::optional<Error> {
    if (source.Recordset) return std::nullopt;
    return source.failure.value_or(Error(common::kObjectNotSet));
  };
  for (const TableSource* source : {&sources.DATFOLVANE, &sources.datCentral}) {
    if (auto failure = failure_of(*source)) return failure;
  }
  for (const TableSource* source : {&sources.datcomps, &sources.datphoto}) {
    auto failure = failure_of(*source);
    if (failure && failure->number() != common::kObjectNotFound) return failure;
  }
  return std::nullopt;
}

std::optional<Error> MakeReady(Session& session, Host& host, const common::Trap& trap) {
  Requirements requirements(trap);
  core::ConversionSources& sources = session.sources;
  core::RecordSet& central = sources.datCentral.Records();
  SelectIndexes(sources, requirements);
  requirements.Require([&] { core::RequireField(central, kCentralKey); });
  requirements.Require([&] { session.access.TargetDb->RequireSound("COMPS"); });
  if (requirements.failure()) return requirements.failure();
  TellRebuiltIndexes(sources, host);
  const bool stands = requirements.Require([&] { central.MoveFirst(); });
  return stands || central.PastEnd() ? std::nullopt : requirements.failure();
}

}  // namespace corvix::run
