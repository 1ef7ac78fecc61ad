// A cache of a fixed number of values by number. When it is full, a new value replaces one that has not been
// asked for since the clock hand passed it last (second chance); finding and replacing cost constant time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

namespace corvix::foxpro {

template <typename Value>
class ClockCache {
 public:
  /// `limit` is at least 1.
  explicit ClockCache(std::size_t limit) : limit_(limit) {}

  /// The value kept under `key`, or null. Valid until the next call of Insert or Recycle.
  const Value* Find(std::uint64_t key) {
    if (!slots_.empty() && slots_[last_].used && slots_[last_].key == key) return &slots_[last_].value;
    const auto found = places_.find(key);
    if (found == places_.end()) return nullptr;
    last_ = found->second;
    slots_[last_].recent = true;
    return &slots_[last_].value;
  }

  /// A value whose memory the next Insert may reuse: the one to be replaced, or a new one while there is
  /// room.
  Value Recycle() {
    if (slots_.size() < limit_) {
      last_ = slots_.size();
      slots_.emplace_back();
      return Value{};
    }
    while (slots_[hand_].recent) {
      slots_[hand_].recent = false;
      hand_ = (hand_ + 1) % slots_.size();
    }
    last_ = hand_;
    hand_ = (hand_ + 1) % slots_.size();
    Slot& slot = slots_[last_];
    if (slot.used) places_.erase(slot.key);
    slot.used = false;
    return std::move(slot.value);
  }

  /// Puts a value in the place that the last Recycle made free.
  const Value& Insert(std::uint64_t key, Value value) {
    Slot& slot = slots_[last_];
    slot = Slot{std::move(value), key, true, true};
    places_[key] = last_;
    return slot.value;
  }

 private:
  struct Slot {
    Value value{};
    std::uint64_t key = 0;
    bool used = false;
    bool recent = false;
  };

  std::size_t limit_;
  std::vector<Slot> slots_;
  std::unordered_map<std::uint64_t, std::size_t> places_;
  std::size_t hand_ = 0;
  std::size_t last_ = 0;
};

}  // namespace corvix::foxpro
