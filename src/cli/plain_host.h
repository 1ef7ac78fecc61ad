// The parts of a conversion's host that need no screen: boxes with given texts, labels that keep their
// captions, a bar that keeps its position, and the count of what was done.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "common/error.h"
#include "core/text_form.h"
#include "run/host.h"
#include "run/report.h"

namespace corvix::cli {

class PlainHost : public run::Host {
 public:
  explicit PlainHost(run::BoxTexts boxes) : boxes_(std::move(boxes)) {}

  /// What the run has done so far.
  run::Summary Result() const {
    run::Summary summary = summary_;
    summary.records = static_cast<std::int64_t>(core::Val(record_.Caption()));
    summary.status = status_.Caption();
    return summary;
  }

  void Notice(std::string_view text) override { summary_.messages.emplace_back(text); }
  run::BoxTexts Boxes() const override { return boxes_; }
  run::Label& lblmsg() override { return status_; }
  run::Label& lblRecord() override { return record_; }
  run::Label& lblAddress() override { return address_; }
  run::Gauge& gauprogress() override { return gauge_; }
  void SetBusyPointer(bool) override {}
  void FocusTargetFileName() override {}
  void IndexesRebuilt(const std::vector<run::RebuiltIndex>& rebuilt) override {
    summary_.rebuilt_indexes = rebuilt;
  }
  void RecordDone(const run::RecordEvent& event) override { summary_.Count(event); }
  void RecordTakenBack(const run::TakenBack& record) override { summary_.TakeBack(record); }

 protected:
  int BarPosition() const { return gauge_.value(); }

 private:
  class TextLabel : public run::Label {
   public:
    void SetTextColour(double) override {}
    void SetCaption(std::string_view caption) override { caption_ = caption; }
    std::string Caption() const override { return caption_; }

   private:
    std::string caption_;
  };

  class Position : public run::Gauge {
   public:
    void SetMaximum(int value) override { maximum_ = value; }
    void SetMinimum(int value) override { minimum_ = value; }
    void SetValue(int value) override {
      if (value < minimum_ || value > maximum_) throw common::Error(common::kInvalidPropertyValue);
      value_ = value;
    }
    int value() const { return value_; }

   private:
    int minimum_ = 0;
    int maximum_ = 100;
    int value_ = 0;
  };

  run::BoxTexts boxes_;
  TextLabel status_;
  TextLabel record_;
  TextLabel address_;
  Position gauge_;
  run::Summary summary_;
};

}  // namespace corvix::cli
