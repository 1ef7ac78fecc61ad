#include "run/conversion.h"

#include <fmt/format.h>
#include <utility>

#include "common/text.h"
#include "common/trap.h"
#include "core/lookup.h"
#include "core/text_form.h"
#include "merge/photos.h"
#include "merge/table_merge.h"
#include "run/gauge.h"

namespace corvix::run {
namespace {

using common::Action;
using common::Error;
using common::Trap;
using core::kCentralKey;
using core::TableSource;

constexpr double kBlack = 0;

/// Restores the normal pointer on every way out of a run.
class BusyPointer {
 public:
  explicit BusyPointer(Host& host) : host_(host) {}
  ~BusyPointer() { Restore(); }
  BusyPointer(const BusyPointer&) = delete;
  BusyPointer& operator=(const BusyPointer&) = delete;
  void Show() {
    shown_ = true;
    host_.SetBusyPointer(true);
  }
  void Restore() {
    if (std::exchange(shown_, false)) host_.SetBusyPointer(false);
  }

 private:
  Host& host_;
  bool shown_ = false;
};

/// Tells the host about a record when it is done, also when an error carries the run out of it.
class RecordReport {
 public:
  RecordReport(Host& host, RecordEvent& event) : host_(host), event_(event) {}
  ~RecordReport() { host_.RecordDone(event_); }
  RecordReport(const RecordReport&) = delete;
  RecordReport& operator=(const RecordReport&) = delete;

 private:
  Host& host_;
  RecordEvent& event_;
};

/// One run. The unit that an error skips is one action: each is a statement of its own under the trap.
class Conversion {
 public:
  Conversion(Session& session, Host& host)
      : session_(session), host_(host), values_(session.values), sources_(session.sources), pointer_(host) {}

  RunEnd Run() {
    const common::Rules rules = [this](const Error& error) { return Settle(error); };
    common::Procedure(
        "cmdNEWConvert", [this](const Trap& trap) { Steps(trap); }, rules);
    return end_;
  }

 private:
  void Steps(const Trap& trap) {
    trap([&] { RefreshPaths(); });
    DisplayMessage(host_.lblmsg(), "Press Esc to interrupt the conversion", kBlack);
    if (!Confirmed()) {
      end_ = RunEnd::Declined;
      return;
    }
    trap([&] {
      const BoxTexts boxes = host_.Boxes();
      core::Connect2Data(session_.access, sources_, boxes.txtCompPath, boxes.txtCompsPath);
    });
    values_.EscapeState = kEscapeNone;
    values_.AskResult = kAskNo;
    pointer_.Show();
    record_number_ = 1;
    trap([&] { record_total_ = sources_.datCentral.Records().RecordCount(); });
    trap([&] { sources_.datcomps.Records().SelectIndex(kCentralKey); });
    trap([&] { sources_.datphoto.Records().SelectIndex(kCentralKey); });
    trap([&] { sources_.datCentral.Records().SelectIndex(kCentralKey); });
    trap([&] { sources_.datCentral.Records().MoveFirst(); });
    Walk(trap);
    trap([&] { Checkpoint(); });
    Finish(trap);
  }

  void RefreshPaths() {
    const BoxTexts boxes = host_.Boxes();
    settings::SetGlobalNames(session_.paths, boxes.txtCompPath, boxes.txtcompfilename, boxes.txtCompsPath,
                             boxes.txtcompsfilename);
  }

  bool Confirmed() {
    return host_.AskYesNo(
        "You should have a good backup of your data BEFORE using this option.  If you have a many records "
        "(thousands) to merge and convert this task may take a long time.  The files are 'CENTRAL.DBF', "
        "'CENTRAL.CDX', 'COMPS.DBF', 'COMPS.CDX' AND 'COMP.FPT' in the subdirectory called '" +
        session_.paths.CompPath + "'. Do you wish to continue?");
  }

  void Walk(const Trap& trap) {
    for (;;) {
      bool past_end = true;  // an error in this test ends the walk
      trap([&] { past_end = sources_.datCentral.Records().PastEnd(); });
      if (past_end) {
        trap([&] { host_.LastYield(values_); });
        Interrupted();
        return;
      }
      if (values_.AskResult == kAskStop) {
        ShowNotice(trap, "Conversion Stopped");
        return;
      }
      ConvertRecord(trap);
      trap([&] {
        if (session_.access.TargetDb) session_.access.TargetDb->CheckpointWhenDue();
      });
      trap([&] { host_.Yield(values_); });
      if (Interrupted()) return;
      trap([&] { sources_.datCentral.Records().MoveNext(); });
    }
  }

  /// Settles what the yield brought; true: the user wants the run to end.
  bool Interrupted() {
    if (values_.EscapeState == kEscapeContinue) values_.EscapeState = kEscapeNone;
    if (values_.EscapeState != kEscapeStop) return false;
    DisplayMessage(host_.lblmsg(), "Conversion Cancelled", kBlack);
    return true;
  }

  void ConvertRecord(const Trap& trap) {
    event_ = RecordEvent{.number = static_cast<std::int64_t>(record_number_)};
    {
      const RecordReport report(host_, event_);
      std::string key = UpperKey(core::GetFieldData(sources_.datCentral, kCentralKey));
      values_.CurrentKey = key;
      event_.key = key;
      if (!key.empty()) {
        if (Found(trap, sources_.DATFOLVANE, key)) {
          MergeExisting(trap, key);
        } else {
          AddNew(trap, key);
        }
        trap([&] { host_.lblAddress().SetCaption(values_.CurrentKey); });
        trap([&] { SetGaugeValue(host_.gauprogress(), record_number_, record_total_); });
      }
    }
    trap([&] { host_.lblRecord().SetCaption(fmt::format("{:.0f}", record_number_)); });
    record_number_ += 1;
  }

  /// The target has the key. Lookups may replace the working key by the key fitted to a field's width, and
  /// the later lookups of the record then use that.
  void MergeExisting(const Trap& trap, std::string& key) {
    event_.outcome = Outcome::Kept;
    if (values_.ConvertPhotosFlag != 0 && FoundCopy(trap, sources_.datphoto, key)) MergePhotos(trap, key);
    if (!Found(trap, sources_.datcomps, key)) return;
    if (!WantsOverwrite(trap)) return;
    TableSource& target = sources_.DATFOLVANE;
    trap([&] { target.Records().BeginEdit(); });
    trap([&] {
      merge::MergeCentralData(Pairs(central_pairs_, sources_.datCentral), sources_.datCentral, target,
                              merge::kReplaceIfEmpty);
    });
    event_.merged_comps = true;
    trap([&] { MergeComps(); });
    trap([&] {
      target.Records().Store();
      event_.outcome = Outcome::Overwritten;
    });
  }

  void AddNew(const Trap& trap, std::string& key) {
    event_.outcome = Outcome::NotAdded;
    TableSource& target = sources_.DATFOLVANE;
    trap([&] { target.Records().BeginAdd(); });
    event_.merged_central = true;
    trap([&] {
      merge::MergeData(Pairs(central_pairs_, sources_.datCentral), sources_.datCentral, target,
                       merge::kReplace);
    });
    trap([&] {
      target.Records().Store();
      event_.outcome = Outcome::Added;
    });
    // Storing an added row does not make it current, so it is looked up again.
    if (Found(trap, sources_.datcomps, key) && FoundCopy(trap, target, key)) {
      trap([&] { target.Records().BeginEdit(); });
      event_.merged_comps = true;
      trap([&] { MergeComps(); });
      trap([&] { target.Records().Store(); });
    }
    if (values_.ConvertPhotosFlag != 0 && FoundCopy(trap, sources_.datphoto, key) &&
        Found(trap, target, key)) {
      MergePhotos(trap, key);
    }
  }

  void MergeComps() {
    merge::MergeData(Pairs(comps_pairs_, sources_.datcomps), sources_.datcomps, sources_.DATFOLVANE,
                     merge::kReplace);
  }

  /// The field pairs of a source and the target, resolved when they are first needed: the run has connected
  /// both by then and keeps them so.
  const merge::FieldPairs& Pairs(std::optional<merge::FieldPairs>& resolved, const TableSource& source) {
    if (!resolved) resolved.emplace(source, sources_.DATFOLVANE);
    return *resolved;
  }

  bool WantsOverwrite(const Trap& trap) {
    if (values_.DupMode == kUseSource) return true;
    if (values_.DupMode != kAskEachTime) return false;
    if (values_.AskResult != kAskOverwriteAll) {
      trap([&] { Checkpoint(); });
      event_.asked = true;
      trap([&] { host_.ShowDuplicatePrompt(values_); });
    }
    return values_.AskResult == kAskYes || values_.AskResult == kAskOverwriteAll;
  }

  void MergePhotos(const Trap& trap, std::string& key) {
    trap([&] {
      if (!photo_fields_) photo_fields_.emplace(sources_.datphoto);
      event_.photo_lines += merge::MergePhoto(*photo_fields_, sources_, key);
    });
  }

  void Finish(const Trap& trap) {
    if (values_.AskResult == kAskStop) {
      end_ = RunEnd::Stopped;
      return;
    }
    if (values_.EscapeState == kEscapeNone) {
      end_ = RunEnd::Completed;
      ShowFullBar(trap);
      // The label's text is read as a number, so that an empty display gives 0.
      const std::string shown = core::DoubleText(core::Val(host_.lblRecord().Caption()));
      DisplayMessage(host_.lblmsg(), "Conversion complete. (" + shown + " records)", kBlack);
    } else {
      end_ = RunEnd::Cancelled;
      values_.EscapeState = kEscapeNone;
    }
    pointer_.Restore();
    ShowFullBar(trap);
    const std::string caption = host_.lblRecord().Caption();
    host_.Notice("Conversion complete. (" + std::string(common::Trim(caption)) + " records)");
  }

  void ShowFullBar(const Trap& trap) {
    record_number_ = static_cast<float>(record_total_);
    if (record_total_ > 0) trap([&] { SetGaugeValue(host_.gauprogress(), record_number_, record_total_); });
  }

  /// A lookup as a condition: one that fails counts as not found. `key` may become the fitted key.
  static bool Found(const Trap& trap, TableSource& source, std::string& key) {
    bool found = false;
    trap([&] { found = core::FindRecord(source, key, kCentralKey); });
    return found;
  }

  /// The same with the trimmed, upper-cased key, leaving the working key as it is.
  static bool FoundCopy(const Trap& trap, TableSource& source, const std::string& key) {
    std::string copy = UpperKey(key);
    return Found(trap, source, copy);
  }

  static std::string UpperKey(const std::string& key) { return common::UpperCase(common::Trim(key)); }

  void ShowNotice(const Trap& trap, std::string_view text) {
    trap([&] { Checkpoint(); });
    host_.Notice(text);
  }

  /// Nothing that was stored is at risk while the program waits for a person or after a run.
  void Checkpoint() {
    if (session_.access.TargetDb) session_.access.TargetDb->Checkpoint();
  }

  /// The run's error table; the other numbers go to the common reporter.
  std::optional<Action> Settle(const Error& error) {
    event_.errors.push_back(error.number());
    event_.error_texts.emplace_back(error.what());
    const Action action = ActionFor(error);
    if (action == Action::Leave) session_.ended_by = error;
    return action;
  }

  Action ActionFor(const Error& error) {
    switch (error.number()) {
      case common::kNoCurrentRecord:
        host_.Notice(
            "At least one of the databases is empty.  This may not be a problem if you don't own all "
            "applicable "
            "programs (Photos and Comps).");
        return Action::Skip;
      case common::kDuplicateKey:
      case common::kObjectNotSet:
      case common::kConversion:
        return Action::Skip;
      case common::kCannotBuildKey:
      case common::kNullKey:
        host_.Notice(core::kCorruptDataMessage);
        throw common::ProgramEnd{};
      case common::kBadFileName:
        return End("Invalid Filename please correct and retry");
      case common::kPathNotFound:
        return End("Path not found.  Correct the Drive and Path and retry");
      case common::kFileNotFound:
        host_.FocusTargetFileName();
        return End("File not found.  Correct and try again");
      default:
        return common::ReportError(error);
    }
  }

  Action End(std::string_view status) {
    DisplayMessage(host_.lblmsg(), status, kBlack);
    return Action::Leave;
  }

  Session& session_;
  Host& host_;
  RunValues& values_;
  core::ConversionSources& sources_;
  BusyPointer pointer_;
  RecordEvent event_;
  std::optional<merge::FieldPairs> central_pairs_;
  std::optional<merge::FieldPairs> comps_pairs_;
  std::optional<merge::PhotoFields> photo_fields_;
  float record_number_ = 0;
  std::int32_t record_total_ = 0;
  RunEnd end_ = RunEnd::Failed;
};

}  // namespace

void CloseTarget(Session& session, Host& host) {
  const common::DialogsScope dialogs(host);
  const common::Rules retry_or_pass_on = [](const Error& error) {
    return common::ReportError(error) == Action::Retry ? Action::Retry : Action::PassOn;
  };
  const Trap trap(retry_or_pass_on);
  const auto disconnect = [&] {
    session.access.TargetDb.reset();
    session.sources.DATFOLVANE.Recordset.reset();  // a connection before TargetDb may have given it
  };
  try {
    trap([&] {
      if (session.access.TargetDb) session.access.TargetDb->Close();
    });
  } catch (const Error& error) {
    if (error.number() == common::kDamagedDatabase) disconnect();  // it was replaced: nothing left to save
    throw;
  }
  disconnect();
}

void DisplayMessage(Label& target, std::string_view text, double text_colour) {
  target.SetTextColour(text_colour);
  target.SetCaption(text);
}

RunEnd cmdnewconvert_Click(Session& session, Host& host) {
  const common::DialogsScope dialogs(host);
  session.ended_by.reset();
  return Conversion(session, host).Run();
}

}  // namespace corvix::run
