// The values that a conversion run shares with the dialogs that talk to it. They belong to the host, which
// passes them down; they start at 0, the key empty.
#pragma once

#include <cstdint>
#include <string>

namespace corvix::run {

/// DupMode: what happens to a duplicate.
inline constexpr std::int16_t kUseSource = 0;
inline constexpr std::int16_t kKeepTarget = 1;
inline constexpr std::int16_t kAskEachTime = 2;

/// AskResult: the answer of the duplicate prompt.
inline constexpr std::int16_t kAskYes = -1;
inline constexpr std::int16_t kAskNo = 0;
inline constexpr std::int16_t kAskOverwriteAll = 1;
inline constexpr std::int16_t kAskStop = 2;

/// EscapeState: an interrupt request.
inline constexpr std::int16_t kEscapeContinue = 0;
inline constexpr std::int16_t kEscapeStop = 1;
inline constexpr std::int16_t kEscapeNone = 3;

struct RunValues {
  std::int16_t DupMode = 0;
  std::int16_t ConvertPhotosFlag = 0;  ///< not 0: photos are converted
  std::int16_t AskResult = 0;
  std::int16_t EscapeState = 0;
  std::string CurrentKey;          ///< key of the source record in hand, trimmed and upper-cased
  std::int64_t CurrentRecord = 0;  ///< its number in CENTRAL.DBF; 0 where no record is in hand
};

}  // namespace corvix::run
