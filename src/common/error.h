// How failures travel. A failure is an Error: a number that procedures react to, a text for people, and the
// place (file, table, record) where it happened. "Not found" is never an Error but a result. The end of the
// program is not an Error either: ProgramEnd passes every handler untouched, closes files on its way through
// destructors, and reaches main, which ends without saving settings.
#pragma once

#include <exception>
#include <string>

#include "common/error_numbers.h"

namespace corvix::common {

class Error : public std::exception {
 public:
  /// The number alone: the text is the number's standard text.
  explicit Error(ErrorNumber number);
  /// `text` says what is wrong and what to do, without a closing period; `place` names file, table or record.
  Error(ErrorNumber number, std::string text, std::string place = {});

  ErrorNumber number() const noexcept { return number_; }
  const std::string& text() const noexcept { return text_; }
  const std::string& place() const noexcept { return place_; }
  /// "text (place)" for people; the place is left out when it is empty.
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  ErrorNumber number_;
  std::string text_;
  std::string place_;
  std::string message_;
};

/// A failure that is no Error as one, so that it is told like any other: 7 where the machine has no memory
/// left, 51 for everything that nobody foresaw.
Error ErrorOf(const std::exception& failure);

/// Thrown to end the program at once. Deliberately no std::exception, so that no general handler takes it.
struct ProgramEnd {};

}  // namespace corvix::common
