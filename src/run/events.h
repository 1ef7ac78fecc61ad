// What a conversion tells about each source record, as data: the window, the terminal and the reports render
// it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/error_numbers.h"

namespace corvix::run {

enum class Outcome {
  Blank,        ///< no key: counted, nothing else
  Added,        ///< a new row was stored
  NotAdded,     ///< a new row was refused
  Overwritten,  ///< the row was there and the overwrite was stored
  Kept,         ///< the row was there and was not overwritten, whatever the reason
};

struct RecordEvent {
  std::int64_t number = 0;  ///< of the source record, from 1
  std::string key;          ///< trimmed, upper-cased
  Outcome outcome = Outcome::Blank;
  bool asked = false;           ///< the duplicate prompt was shown
  int photo_lines = 0;          ///< added to the photo list and stored
  bool merged_central = false;  ///< the central record went through the store rules (merge/store_field.h)
  bool merged_comps = false;    ///< the comps record did
  std::vector<common::ErrorNumber> errors;  ///< every error that reached the run, the silent ones included
  std::vector<std::string> error_texts;     ///< the text of each, with its place
};

}  // namespace corvix::run
