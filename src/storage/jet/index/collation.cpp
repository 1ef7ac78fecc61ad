#include "storage/jet/index/collation.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "common/text.h"
#include "storage/jet/index/collation_table.h"

namespace corvix::jet {
namespace {

constexpr std::size_t kMaxUnits = 255;        // code units that enter a key
constexpr std::size_t kMaxUtf8 = 768;         // bytes that hold the first 255 units of any text
constexpr std::size_t kMaxUnitElements = 3;   // of one code unit
constexpr std::size_t kUnprintableEntry = 4;  // bytes
constexpr std::byte kEndOfText{0x00};
constexpr std::byte kEndOfSection{0x01};
constexpr std::byte kNoExtra{0x02};
constexpr std::byte kSurrogateExtra{0x3F};

std::byte ByteOf(std::size_t value) { return static_cast<std::byte>(value & 0xFF); }

/// Weights of one code unit: its run with `weight` already advanced to the unit.
struct UnitWeights {
  CollationRun run{};
  bool ignored = true;
};

/// The formula for surrogates; see the header on its standing.
CollationRun SurrogateWeights(char16_t unit) {
  constexpr std::uint16_t kShape =
      static_cast<std::uint16_t>(CollationKind::International) | 2 << 3 | 1 << 6 | 1 << 8;
  std::uint32_t weight = unit;
  if (unit < 0xDC00) {
    weight -= 10238;
  } else {
    const int offset = unit - 0xDC00;
    weight -= offset < 8 ? 9992 : offset < 262 ? 9990 : offset < 516 ? 9988 : offset < 770 ? 9986 : 9984;
  }
  return {unit, unit, weight, 0, std::to_integer<std::uint16_t>(kSurrogateExtra), kShape};
}

UnitWeights Lookup(char16_t unit) {
  if (unit >= 0xD800 && unit <= 0xDFFF) return {SurrogateWeights(unit), false};
  const auto runs = CollationRuns();
  const auto after = std::ranges::upper_bound(runs, unit, {}, &CollationRun::first);
  if (after == runs.begin()) return {};
  CollationRun run = *std::prev(after);
  if (unit > run.last) return {};
  run.weight += std::uint32_t{run.step} * (unit - run.first);
  return {run, false};
}

/// Weights of the ASCII characters: almost all text of real tables.
struct AsciiWeights {
  std::array<UnitWeights, 128> units;
  AsciiWeights() {
    for (std::size_t c = 0; c < units.size(); ++c) units[c] = Lookup(static_cast<char16_t>(c));
  }
};

/// Builds the sections of one text. Buffers have the size of the worst text.
class TextKeyBuilder {
 public:
  explicit TextKeyBuilder(Key& key) : key_(key), start_(key.size()) {}

  void Reserve(std::size_t units) { key_.reserve(start_ + 2 * units + 3); }

  void Add(const UnitWeights& weights) {
    if (weights.ignored) return;
    const CollationRun& run = weights.run;
    switch (run.kind()) {
      case CollationKind::Simple:
        break;
      case CollationKind::International:
      case CollationKind::Kana:
        if (run.extra_length() > 0) AddExtra(run);
        if (run.kind() == CollationKind::Kana) kana_[kana_count_++] = run.kana();
        break;
      case CollationKind::Modifier:
        AddModifier(run);
        return;
      case CollationKind::Unprintable:
        AddUnprintable(run);
        return;
    }
    for (std::size_t i = run.weight_length(); i-- > 0;) key_.push_back(ByteOf(run.weight >> (8 * i)));
    elements_ += run.elements();
  }

  void Finish(bool ascending) {
    key_.push_back(kEndOfSection);
    while (extra_count_ > 0 && extra_[extra_count_ - 1] <= kNoExtra) --extra_count_;
    key_.insert(key_.end(), extra_.begin(), extra_.begin() + static_cast<std::ptrdiff_t>(extra_count_));
    if (kana_count_ > 0 || unprintable_count_ > 0) {
      key_.insert(key_.end(), 2, kEndOfSection);
      if (kana_count_ > 0) AppendKana();
      if (unprintable_count_ > 0) {
        key_.push_back(kEndOfSection);
        key_.insert(key_.end(), unprintable_.begin(),
                    unprintable_.begin() + static_cast<std::ptrdiff_t>(unprintable_count_));
      }
    }
    key_.push_back(kEndOfText);
    if (ascending) return;
    for (std::size_t i = start_; i < key_.size(); ++i) key_[i] = ~key_[i];
    key_.push_back(kEndOfText);
  }

 private:
  void PadExtra() {
    while (covered_ < elements_) {
      extra_[extra_count_++] = kNoExtra;
      ++covered_;
    }
  }

  void AddExtra(const CollationRun& run) {
    PadExtra();
    for (std::size_t i = run.extra_length(); i-- > 0;) {
      extra_[extra_count_++] = ByteOf(static_cast<std::size_t>(run.extra) >> (8 * i));
    }
    covered_ += run.elements();
  }

  void AddModifier(const CollationRun& run) {
    PadExtra();
    // A modifier before any letter stands alone and counts as no element.
    if (extra_count_ == 0) extra_[extra_count_++] = std::byte{0};
    std::byte& last = extra_[extra_count_ - 1];
    last = ByteOf(std::to_integer<std::size_t>(last) + run.extra);
  }

  void AddUnprintable(const CollationRun& run) {
    const std::size_t position = 0x8000 | (7 + 4 * elements_);
    for (const std::size_t part : {position >> 8, position, std::size_t{6}, std::size_t{run.extra}}) {
      unprintable_[unprintable_count_++] = ByteOf(part);
    }
  }

  /// Three 2-bit flags to a byte, the first one highest; flags 3 at the end are dropped.
  void AppendKana() {
    while (kana_count_ > 0 && kana_[kana_count_ - 1] == 3) --kana_count_;
    for (std::size_t i = 0; i < kana_count_; i += 3) {
      unsigned packed = 0x80;
      for (std::size_t k = i; k < std::min(i + 3, kana_count_); ++k) {
        packed |= unsigned{kana_[k]} << (2 * (2 - (k - i)));
      }
      key_.push_back(ByteOf(packed));
    }
    for (const unsigned mark : {0xFF, 0x02, 0x80, 0xFF, 0x80}) key_.push_back(ByteOf(mark));
    if (unprintable_count_ > 0) key_.push_back(std::byte{0xFF});
  }

  Key& key_;
  std::size_t start_;
  std::size_t elements_ = 0;
  std::size_t covered_ = 0;  // elements that the extra section accounts for
  std::size_t extra_count_ = 0;
  std::size_t unprintable_count_ = 0;
  std::size_t kana_count_ = 0;
  // Not initialized: only the counted parts are read.
  std::array<std::byte, kMaxUnits * kMaxUnitElements + 1> extra_;
  std::array<std::byte, kMaxUnits * kUnprintableEntry> unprintable_;
  std::array<std::uint8_t, kMaxUnits> kana_;
};

}  // namespace

void AppendTextKey(Key& key, std::string_view utf8, bool ascending) {
  static const AsciiWeights ascii;
  utf8 = utf8.substr(0, kMaxUtf8);
  TextKeyBuilder builder(key);
  if (common::IsAscii(utf8)) {
    utf8 = common::TrimRight(utf8.substr(0, kMaxUnits));
    builder.Reserve(utf8.size());
    for (const char c : utf8) builder.Add(ascii.units[static_cast<unsigned char>(c)]);
  } else {
    std::u16string units = common::ToUtf16(utf8);
    units.resize(std::min(units.size(), kMaxUnits));
    units.resize(units.find_last_not_of(u' ') + 1);
    for (const char16_t unit : units) builder.Add(unit < 128 ? ascii.units[unit] : Lookup(unit));
  }
  builder.Finish(ascending);
}

}  // namespace corvix::jet
