// The busy pointer of a run.
#pragma once

#include <utility>

#include "run/host.h"

namespace corvix::run {

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

}  // namespace corvix::run
