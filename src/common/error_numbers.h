// The error numbers of the system: one table, so that a number means the same thing wherever it is raised,
// settled or shown. A number stands here only if some procedure reacts to it or a user may see it.
#pragma once

#include <cstdint>
#include <string_view>

namespace corvix::common {

using ErrorNumber = std::int32_t;

// Language and device errors.
inline constexpr ErrorNumber kInvalidCall = 5;
inline constexpr ErrorNumber kOverflow = 6;
inline constexpr ErrorNumber kOutOfMemory = 7;
inline constexpr ErrorNumber kDivisionByZero = 11;
inline constexpr ErrorNumber kTypeMismatch = 13;
inline constexpr ErrorNumber kInternalFault = 51;
inline constexpr ErrorNumber kBadFileName = 52;
inline constexpr ErrorNumber kFileNotFound = 53;
inline constexpr ErrorNumber kDeviceIo = 57;
inline constexpr ErrorNumber kFileExists = 58;
inline constexpr ErrorNumber kDiskFull = 61;
inline constexpr ErrorNumber kDeviceUnavailable = 68;
inline constexpr ErrorNumber kPermissionDenied = 70;
inline constexpr ErrorNumber kDiskNotReady = 71;
inline constexpr ErrorNumber kPathNotFound = 76;
inline constexpr ErrorNumber kObjectNotSet = 91;
inline constexpr ErrorNumber kInvalidPropertyValue = 380;

// Errors of the table operations.
inline constexpr ErrorNumber kObjectNotFound = 3011;  // no such table
inline constexpr ErrorNumber kNotAnIndex = 3015;      // no such index
inline constexpr ErrorNumber kNoCurrentIndex = 3019;  // seek before an index was selected
inline constexpr ErrorNumber kNoPendingEdit = 3020;   // store or assignment without begin add or begin edit
inline constexpr ErrorNumber kNoCurrentRecord = 3021;
inline constexpr ErrorNumber kDuplicateKey = 3022;
inline constexpr ErrorNumber kReadOnly = 3027;
inline constexpr ErrorNumber kNotAPassword = 3031;
inline constexpr ErrorNumber kRecordTooLarge = 3047;
inline constexpr ErrorNumber kDamagedDatabase = 3049;  // structure of the file is not what its format demands
inline constexpr ErrorNumber kFileInUse = 3051;        // held by another program, or access denied
inline constexpr ErrorNumber kNullKey = 3058;
inline constexpr ErrorNumber kBadBookmark = 3159;
inline constexpr ErrorNumber kFieldTooSmall = 3163;
inline constexpr ErrorNumber kNotAssignable = 3164;  // autonumber columns
inline constexpr ErrorNumber kRecordDeleted = 3167;
inline constexpr ErrorNumber kCompanionFileMissing = 3176;  // a file that belongs to a table, its memos say
inline constexpr ErrorNumber kRelatedRecordsExist = 3200;
inline constexpr ErrorNumber kRelatedRecordRequired = 3201;
inline constexpr ErrorNumber kRecordLocked = 3218;  // ReportError shows the rebuild message, the program ends
inline constexpr ErrorNumber kUnsupported = 3251;   // operation not possible for this object
inline constexpr ErrorNumber kCannotBuildKey = 3250;
inline constexpr ErrorNumber kItemNotFound = 3265;  // no field of that name
inline constexpr ErrorNumber kFieldRequired = 3314;
inline constexpr ErrorNumber kZeroLengthRefused = 3315;
inline constexpr ErrorNumber kUnrecognizedFormat = 3343;
inline constexpr ErrorNumber kObjectInvalid = 3420;  // a record set whose database was closed
inline constexpr ErrorNumber kConversion = 3421;

/// Errors of a device, which a person may mend while the program waits: ReportError asks about them.
constexpr bool IsDeviceError(ErrorNumber number) {
  return number == kDeviceIo || number == kDiskFull || number == kDeviceUnavailable ||
         number == kDiskNotReady;
}

/// The standard text of an error number, without a closing period; a general text for an unknown number.
std::string_view ErrorText(ErrorNumber number);

}  // namespace corvix::common
