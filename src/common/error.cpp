#include "common/error.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace corvix::common {
namespace {

struct NumberedText {
  ErrorNumber number;
  std::string_view text;
};

constexpr std::array kTexts{
    NumberedText{kInvalidCall, "Invalid procedure call or argument"},
    NumberedText{kOverflow, "Overflow"},
    NumberedText{kOutOfMemory, "Out of memory"},
    NumberedText{kDivisionByZero, "Division by zero"},
    NumberedText{kTypeMismatch, "Type mismatch"},
    NumberedText{kInternalFault, "Internal error"},
    NumberedText{kBadFileName, "Bad file name or number"},
    NumberedText{kFileNotFound, "File not found"},
    NumberedText{kDeviceIo, "Device I/O error"},
    NumberedText{kFileExists, "File already exists"},
    NumberedText{kDiskFull, "Disk full"},
    NumberedText{kDeviceUnavailable, "Device unavailable"},
    NumberedText{kPermissionDenied, "Permission denied"},
    NumberedText{kDiskNotReady, "Disk not ready"},
    NumberedText{kPathNotFound, "Path not found"},
    NumberedText{kObjectNotSet, "Object variable or With block variable not set"},
    NumberedText{kInvalidPropertyValue, "Invalid property value"},
    NumberedText{kObjectNotFound, "The table could not be found"},
    NumberedText{kNotAnIndex, "The table has no index of that name"},
    NumberedText{kNoCurrentIndex, "No index is selected"},
    NumberedText{kNoPendingEdit, "No row is being added or edited"},
    NumberedText{kNoCurrentRecord, "No current record"},
    NumberedText{kDuplicateKey, "The row would put a duplicate value into a unique index"},
    NumberedText{kReadOnly, "The table or database is read-only"},
    NumberedText{kNotAPassword, "The database is protected by a password"},
    NumberedText{kRecordTooLarge, "The record is too large"},
    NumberedText{kDamagedDatabase, "The file is damaged or not of the expected format"},
    NumberedText{kFileInUse, "The file is in use exclusively by another program, or access to it is denied"},
    NumberedText{kNullKey, "An index or primary key cannot contain a Null value"},
    NumberedText{kBadBookmark, "Not a valid bookmark"},
    NumberedText{kFieldTooSmall, "The field is too small for the text"},
    NumberedText{kNotAssignable, "The field cannot be assigned to"},
    NumberedText{kRecordDeleted, "The record is deleted"},
    NumberedText{kCompanionFileMissing, "A file that belongs to the table is missing"},
    NumberedText{kRelatedRecordsExist,
                 "The record cannot be changed; related records of another table refer to it"},
    NumberedText{kRelatedRecordRequired, "A related record is required in another table"},
    NumberedText{kRecordLocked, "Could not update; currently locked"},
    NumberedText{kUnsupported, "The operation is not supported for this table"},
    NumberedText{kCannotBuildKey, "Could not build an index key"},
    NumberedText{kItemNotFound, "Item not found in this collection"},
    NumberedText{kFieldRequired, "The field must have a value"},
    NumberedText{kZeroLengthRefused, "The field cannot hold an empty text"},
    NumberedText{kUnrecognizedFormat, "Unrecognized database format"},
    NumberedText{kObjectInvalid, "The record set or database is closed"},
    NumberedText{kConversion, "Data type conversion error"},
};

}  // namespace

std::string_view ErrorText(ErrorNumber number) {
  const auto* found = std::ranges::find(kTexts, number, &NumberedText::number);
  return found == kTexts.end() ? "Application-defined or object-defined error" : found->text;
}

Error::Error(ErrorNumber number) : Error(number, std::string(ErrorText(number))) {}

Error::Error(ErrorNumber number, std::string text, std::string place)
    : number_(number), text_(std::move(text)), place_(std::move(place)), message_(text_) {
  if (!place_.empty()) message_ += " (" + place_ + ")";
}

Error ErrorOf(const std::exception& failure) {
  if (const auto* error = dynamic_cast<const Error*>(&failure)) return *error;
  if (dynamic_cast<const std::bad_alloc*>(&failure) != nullptr) {
    return Error(kOutOfMemory, "Out of memory; close other programs and try again");
  }
  return Error(kInternalFault, std::string("Internal error, a fault of the program (") + failure.what() +
                                   "); try again, and report it when it comes back");
}

}  // namespace corvix::common
