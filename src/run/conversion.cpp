#include "run/conversion.h"

#include <fmt/format.h>
#include <utility>

#include "common/text.h"
#include "common/trap.h"
#include "core/lookup.h"
#include "core/text_form.h"
#include "merge/photos.h"
#include "merge/table_merge.h"
#include "run/busy_pointer.h"
#include "run/device_answers.h"
#include "run/gauge.h"
#include "run/run_start.h"
#include "run/unreadable_values.h"

namespace corvix::run {
namespace {

using common::Action;
using common::Error;
using common::Trap;
using core::kCentralKey;
using core::TableSource;

constexpr double kBlack = 0;

/// One run. The unit that an error skips is one action: each is a statement of its own under the trap.
class Conversion {
 public:
  Conversion(Session& session, Host& host, DeviceAnswers& answers)
      : session_(session),
        host_(host),
        answers_(answers),
        values_(session.values),
        sources_(session.sources),
        pointer_(host) {}

  RunEnd Run() {
    const common::Rules rules = [this](const Error& error) { return Settle(error); };
    common::Procedure(
        "cmdNEWConvert", [this](const Trap& trap) { Steps(trap); }, rules);
    return end_;
  }

 private:
  /// Accounts for the record in hand when it is done, also when an error carries the run out of it.
  class RecordInHand {
   public:
    explicit RecordInHand(Conversion& run) : run_(run) {}
    ~RecordInHand() { run_.RecordDone(); }
    RecordInHand(const RecordInHand&) = delete;
    RecordInHand& operator=(const RecordInHand&) = delete;

   private:
    Conversion& run_;
  };

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
    if (const auto failure = ConnectionFailure(sources_)) return Refuse(*failure);
    target_ = session_.access.TargetDb;
    pointer_.Show();
    record_number_ = 1;
    trap([&] { record_total_ = sources_.datCentral.Records().RecordCount(); });
    if (const auto failure = MakeReady(session_, host_, trap)) return Refuse(*failure);
    Walk(trap);
    MakeSafe(trap);
    Finish(trap);
  }

  /// Nothing is done rather than something else than what was asked for.
  void Refuse(const Error& failure) {
    session_.ended_by = failure;
    DisplayMessage(host_.lblmsg(), "Nothing was converted", kBlack);
    pointer_.Restore();
    host_.RunRefused(failure);
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
      trap([&] { target_->CheckpointWhenDue(); });
      Yield(trap);
      if (Interrupted()) return;
      trap([&] { sources_.datCentral.Records().MoveNext(); });
    }
  }

  void Yield(const Trap& trap) {
    const DeviceAnswers::Pause only_checkpoints(answers_);
    trap([&] { host_.Yield(values_); });
  }

  /// Settles what the yield brought; true: the user wants the run to end.
  bool Interrupted() {
    if (values_.EscapeState == kEscapeContinue) values_.EscapeState = kEscapeNone;
    if (values_.EscapeState != kEscapeStop) return false;
    DisplayMessage(host_.lblmsg(), "Conversion Cancelled", kBlack);
    return true;
  }

  void ConvertRecord(const Trap& trap) {
    event_ = RecordEvent{.number = static_cast<std::int64_t>(record_number_),
                         .record = sources_.datCentral.Records().RecordNumber()};
    marks_ = {};
    {
      const RecordInHand in_hand(*this);
      std::string key = UpperKey(core::GetFieldData(sources_.datCentral, kCentralKey));
      values_.CurrentKey = key;
      values_.CurrentRecord = event_.record;
      event_.key = key;
      if (key.empty()) {
        RequireBlankKey();
      } else {
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

  void RecordDone() {
    event_.left_out = answers_.TakeLeftOut();
    host_.RecordDone(event_);
    session_.unsafe.Add(event_, marks_, target_->Checkpoints());
  }

  /// A key that cannot be read is no blank one.
  void RequireBlankKey() {
    std::string text;
    try {
      const core::RecordSet& records = sources_.datCentral.Records();
      records.ReadText(core::RequireField(records, kCentralKey), text);
    } catch (const Error& error) {
      event_.outcome = Outcome::Unreadable;
      Note(error);
    }
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
    NoteUnreadableCentral();
    trap([&] {
      merge::MergeCentralData(Pairs(central_pairs_, sources_.datCentral), sources_.datCentral, target,
                              merge::kReplaceIfEmpty);
    });
    trap([&] { MergeComps(); });
    trap([&] {
      target.Records().Store();
      event_.outcome = Outcome::Overwritten;
      marks_.row = target_->Checkpoints();
    });
  }

  void AddNew(const Trap& trap, std::string& key) {
    event_.outcome = Outcome::NotAdded;
    TableSource& target = sources_.DATFOLVANE;
    trap([&] { target.Records().BeginAdd(); });
    event_.merged_central = true;
    NoteUnreadableCentral();
    trap([&] {
      merge::MergeData(Pairs(central_pairs_, sources_.datCentral), sources_.datCentral, target,
                       merge::kReplace);
    });
    trap([&] {
      target.Records().Store();
      event_.outcome = Outcome::Added;
      marks_.row = target_->Checkpoints();
    });
    // Storing an added row does not make it current, so it is looked up again.
    if (Found(trap, sources_.datcomps, key) && FoundCopy(trap, target, key)) {
      trap([&] { target.Records().BeginEdit(); });
      trap([&] { MergeComps(); });
      trap([&] {
        target.Records().Store();
        if (marks_.row) marks_.later = target_->Checkpoints();
      });
    }
    if (values_.ConvertPhotosFlag != 0 && FoundCopy(trap, sources_.datphoto, key) &&
        Found(trap, target, key)) {
      MergePhotos(trap, key);
    }
  }

  void MergeComps() {
    if (!std::exchange(event_.merged_comps, true)) {
      if (!comps_values_) comps_values_.emplace(sources_.datcomps, Pairs(comps_pairs_, sources_.datcomps));
      comps_values_->AppendTo(event_.unreadable);
    }
    merge::MergeData(Pairs(comps_pairs_, sources_.datcomps), sources_.datcomps, sources_.DATFOLVANE,
                     merge::kReplace);
  }

  /// The field pairs of a source and the target, resolved when they are first needed: the run has connected
  /// both by then and keeps them so.
  const merge::FieldPairs& Pairs(std::optional<merge::FieldPairs>& resolved, const TableSource& source) {
    if (!resolved) resolved.emplace(source, sources_.DATFOLVANE);
    return *resolved;
  }

  void NoteUnreadableCentral() {
    if (!central_values_) central_values_.emplace(sources_.datCentral);
    central_values_->AppendTo(event_.unreadable);
  }

  bool WantsOverwrite(const Trap& trap) {
    if (values_.DupMode == kUseSource) return true;
    if (values_.DupMode != kAskEachTime) return false;
    if (values_.AskResult != kAskOverwriteAll) {
      MakeSafe(trap);
      event_.asked = true;
      trap([&] { host_.ShowDuplicatePrompt(values_); });
      session_.access.TargetDb = target_;  // the prompt has opened what its box names
    }
    return values_.AskResult == kAskYes || values_.AskResult == kAskOverwriteAll;
  }

  void MergePhotos(const Trap& trap, std::string& key) {
    trap([&] {
      if (!photo_fields_) photo_fields_.emplace(sources_.datphoto);
      event_.photo_lines += merge::MergePhoto(*photo_fields_, sources_, key);
      if (event_.photo_lines > 0) marks_.photos = target_->Checkpoints();
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
  /// So does one in a table that could not be opened, which has been told.
  static bool Found(const Trap& trap, TableSource& source, std::string& key) {
    bool found = false;
    if (!source.Recordset) return found;
    trap([&] { found = core::FindRecord(source, key, kCentralKey); });
    return found;
  }

  /// The same with the trimmed, upper-cased key, leaving the working key as it is.
  bool FoundCopy(const Trap& trap, TableSource& source, const std::string& key) {
    std::string copy = UpperKey(key);
    return Found(trap, source, copy);
  }

  /// Letters whose capital the central table's code page lacks stay as they are, so that they are found in
  /// all tables.
  std::string UpperKey(std::string_view key) const {
    key = common::Trim(key);
    const auto& central = sources_.datCentral.Recordset;
    return central ? central->InCapitals(key) : common::UpperCase(key);
  }

  void ShowNotice(const Trap& trap, std::string_view text) {
    MakeSafe(trap);
    host_.Notice(text);
  }

  /// Nothing that was stored is at risk while the program waits for a person or after a run. What cannot be
  /// made safe now is tried again later, at the latest when the target is closed.
  void MakeSafe(const Trap& trap) {
    const DeviceAnswers::Pause tried_again(answers_);
    trap([&] { target_->Checkpoint(); });
  }

  /// The run's error table; the other numbers go to the common reporter.
  std::optional<Action> Settle(const Error& error) {
    Note(error);
    const Action action = ActionFor(error);
    if (action == Action::Leave) session_.ended_by = error;
    if (action == Action::Retry) Unnote();
    return action;
  }

  void Note(const Error& error) {
    event_.errors.push_back(error.number());
    event_.error_texts.emplace_back(error.what());
  }
  void Unnote() {
    event_.errors.pop_back();
    event_.error_texts.pop_back();
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
  DeviceAnswers& answers_;
  RunValues& values_;
  core::ConversionSources& sources_;
  std::shared_ptr<core::Database> target_;  // that of DATFOLVANE
  BusyPointer pointer_;
  RecordEvent event_;
  StoreMarks marks_;
  std::optional<UnreadableValues> central_values_;
  std::optional<UnreadableValues> comps_values_;
  std::optional<merge::FieldPairs> central_pairs_;
  std::optional<merge::FieldPairs> comps_pairs_;
  std::optional<merge::PhotoFields> photo_fields_;
  float record_number_ = 0;
  std::int32_t record_total_ = 0;
  RunEnd end_ = RunEnd::Failed;
};

}  // namespace

RunEnd cmdnewconvert_Click(Session& session, Host& host) {
  DeviceAnswers answers(host, session.left_out);
  const common::DialogsScope dialogs(answers);
  session.ended_by.reset();
  session.left_out = 0;
  session.unsafe.Clear();
  session.values.CurrentKey.clear();
  session.values.CurrentRecord = 0;
  return Conversion(session, host, answers).Run();
}

}  // namespace corvix::run
