#include "storage/jet/check/check_context.h"

namespace corvix::jet::check {

PageOwners::Owner PageOwners::Add(std::string name) {
  names_.push_back(std::move(name));
  return static_cast<Owner>(names_.size() - 1);
}

bool PageOwners::Claim(PageNumber page, Owner owner, Findings& findings) {
  if (page >= owners_.size()) {
    findings.Problem(page, "page {}, named for {}, lies outside the file of {} pages", page, NameOf(owner),
                     owners_.size());
    return false;
  }
  if (owners_[page] != kNone) {
    findings.Problem(page, "page {} is used twice: for {} and for {}", page, NameOf(owners_[page]),
                     NameOf(owner));
    return false;
  }
  owners_[page] = owner;
  return true;
}

}  // namespace corvix::jet::check
