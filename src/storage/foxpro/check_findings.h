// Collects the findings of a check: of each kind the first ones in full, of the rest the number.
#pragma once

#include <fmt/format.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "storage/foxpro/foxpro_check.h"

namespace corvix::foxpro {

class FindingList {
 public:
  void Note(const std::string& kind, std::string place, std::string text) {
    Add(Finding::Severity::Note, kind, std::move(place), std::move(text));
  }
  void Problem(const std::string& kind, std::string place, std::string text) {
    Add(Finding::Severity::Problem, kind, std::move(place), std::move(text));
  }

  /// The findings; of every kind that was cut short a last one tells how many more there are.
  std::vector<Finding> Take() {
    for (const auto& [kind, counted] : kinds_) {
      if (counted.number <= kMostOfAKind) continue;
      findings_.push_back(
          {counted.severity, kind, fmt::format("{} more of this kind", counted.number - kMostOfAKind)});
    }
    return std::move(findings_);
  }

 private:
  static constexpr std::size_t kMostOfAKind = 20;
  struct Counted {
    Finding::Severity severity;
    std::size_t number = 0;
  };

  void Add(Finding::Severity severity, const std::string& kind, std::string place, std::string text) {
    const std::size_t number = ++kinds_.try_emplace(kind, Counted{severity}).first->second.number;
    if (number <= kMostOfAKind) findings_.push_back({severity, std::move(place), std::move(text)});
  }

  std::vector<Finding> findings_;
  std::map<std::string, Counted> kinds_;
};

}  // namespace corvix::foxpro
