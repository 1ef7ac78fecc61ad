// What a call fails with.
#pragma once

#include <concepts>

#include "common/error.h"

namespace corvix::test {

/// The error that the call throws; one of number 0 when it throws none.
common::Error ErrorOf(std::invocable auto&& call) {
  try {
    call();
  } catch (const common::Error& error) {
    return error;
  }
  return common::Error(0, "no error");
}

common::ErrorNumber NumberOf(std::invocable auto&& call) { return ErrorOf(call).number(); }

}  // namespace corvix::test
