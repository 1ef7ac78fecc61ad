// The host of a preview: asks nothing and prints what each record would become. Duplicates that a conversion
// would ask about are left as they are.
#pragma once

#include <cstdint>
#include <string_view>

#include "cli/plain_host.h"
#include "cli/progress_line.h"
#include "run/record_account.h"

namespace corvix::cli {

class PreviewHost : public PlainHost {
 public:
  struct Options {
    run::BoxTexts boxes;
    bool json = false;
    bool changes = false;
  };

  /// `accountant` watches the engine of the run; it must outlive the host.
  PreviewHost(run::Accountant& accountant, Options options);

  std::int64_t would_ask() const { return would_ask_; }

  bool AskYesNo(std::string_view) override { return true; }
  common::DeviceAnswer AskDevice(std::string_view text) override;
  void ShowDuplicatePrompt(run::RunValues& values) override;
  void Yield(run::RunValues& values) override;
  void RecordDone(const run::RecordEvent& event) override;

 private:
  run::Accountant& accountant_;
  bool json_;
  bool changes_;
  ProgressLine progress_;
  std::int64_t would_ask_ = 0;
};

}  // namespace corvix::cli
