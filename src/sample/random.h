// A small deterministic generator: the same numbers on every platform, which the standard distributions do
// not promise.
#pragma once

#include <cstdint>
#include <span>

namespace corvix::sample {

/// SplitMix64.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  /// A number from `low` to `high`, both included.
  std::int64_t Between(std::int64_t low, std::int64_t high) {
    return low + static_cast<std::int64_t>(Next() % static_cast<std::uint64_t>(high - low + 1));
  }
  bool Percent(int percent) { return Between(1, 100) <= percent; }
  template <typename T>
  const T& Pick(std::span<const T> items) {
    return items[static_cast<std::size_t>(Between(0, static_cast<std::int64_t>(items.size()) - 1))];
  }

 private:
  std::uint64_t state_;
};

}  // namespace corvix::sample
