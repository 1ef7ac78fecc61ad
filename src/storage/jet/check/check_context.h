// What the parts of the checker share: the findings, and the books about pages.
#pragma once

#include <cstdint>
#include <fmt/format.h>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "storage/base/bytes.h"
#include "storage/jet/check/jet_check.h"
#include "storage/jet/pages/jet_format.h"
#include "storage/jet/pages/pager.h"

namespace corvix::jet::check {

class Findings {
 public:
  Findings(CheckReport& report, std::size_t limit) : report_(report), limit_(limit) {}

  template <typename... Args>
  void Problem(PageNumber page, fmt::format_string<Args...> format, Args&&... args) {
    ++problems_;
    Add(report_.problems, report_.problems_left_out, page,
        [&] { return fmt::vformat(format, fmt::make_format_args(args...)); });
  }
  template <typename... Args>
  void Note(PageNumber page, fmt::format_string<Args...> format, Args&&... args) {
    Add(report_.notes, report_.notes_left_out, page,
        [&] { return fmt::vformat(format, fmt::make_format_args(args...)); });
  }
  template <typename... Args>
  void Unevaluated(PageNumber page, fmt::format_string<Args...> format, Args&&... args) {
    Add(report_.unevaluated, report_.notes_left_out, page,
        [&] { return fmt::vformat(format, fmt::make_format_args(args...)); });
  }
  /// Problems so far: whether a part of the file is sound is seen from the difference.
  std::size_t problems() const { return problems_; }
  CheckReport& report() { return report_; }

 private:
  template <typename Text>
  void Add(std::vector<Finding>& list, std::size_t& left_out, PageNumber page, Text text) {
    if (list.size() < limit_) {
      list.push_back({page, text()});
    } else {
      ++left_out;
    }
  }

  CheckReport& report_;
  std::size_t limit_;
  std::size_t problems_ = 0;
};

/// Who owns each page. Each page has at most one owner.
class PageOwners {
 public:
  using Owner = std::uint32_t;
  static constexpr Owner kNone = 0;

  explicit PageOwners(PageNumber pages) : owners_(pages), names_{"nothing"} {}

  /// A new owner; `name` is how messages call what it owns ("data of COMPS").
  Owner Add(std::string name);
  const std::string& NameOf(Owner owner) const { return names_[owner]; }
  /// kNone for pages outside the file.
  Owner OwnerOf(PageNumber page) const { return page < owners_.size() ? owners_[page] : kNone; }
  /// False when the page has an owner already, or lies outside the file; both are reported.
  bool Claim(PageNumber page, Owner owner, Findings& findings);

 private:
  std::vector<Owner> owners_;
  std::vector<std::string> names_;
};

struct Context {
  Context(Pager& pager_of_file, CheckReport& report, std::size_t max_findings)
      : pager(pager_of_file), findings(report, max_findings), owners(pager_of_file.page_count()) {}

  Pager& pager;
  Findings findings;
  PageOwners owners;
  bool counters_matter = true;  ///< a wrong number of rows, or of the last one given out, is a problem
  PageOwners::Owner map_pages = owners.Add("usage maps");
  std::set<RowRef> map_cells;  // cells of usage maps met so far
};

/// Page and row as messages show them.
inline std::string At(RowRef row) { return fmt::format("{}/{}", row.page, row.row); }

}  // namespace corvix::jet::check
