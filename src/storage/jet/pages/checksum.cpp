#include "storage/jet/pages/checksum.h"

#include <array>
#include <bit>

namespace corvix::jet {

namespace {

// Odd numbers without structure: the fractions of the square roots of 2 and 3.
constexpr std::uint64_t kFirst = 0x6A09E667F3BCC909;
constexpr std::uint64_t kSecond = 0xBB67AE8584CAA73B;

std::uint64_t Mix(std::uint64_t state, std::uint64_t word) {
  return std::rotl((state ^ word) * kFirst, 29) * kSecond;
}

}  // namespace

std::uint64_t Checksum(storage::ByteView bytes, std::uint64_t seed) {
  // Four chains run side by side, so that the multiplications overlap.
  std::array<std::uint64_t, 4> lanes{seed, seed ^ kFirst, seed ^ kSecond, ~seed};
  std::size_t at = 0;
  for (; at + 32 <= bytes.size(); at += 32) {
    for (std::size_t lane = 0; lane < 4; ++lane) {
      std::uint64_t word;
      std::memcpy(&word, bytes.data() + at + 8 * lane, sizeof word);
      lanes[lane] = Mix(lanes[lane], word);
    }
  }
  std::uint64_t sum = Mix(kFirst, bytes.size());
  for (; at < bytes.size(); ++at) sum = Mix(sum, std::to_integer<std::uint64_t>(bytes[at]));
  for (const std::uint64_t lane : lanes) sum = Mix(sum, lane);
  sum ^= sum >> 32;
  sum *= kFirst;
  return sum ^ sum >> 29;
}

}  // namespace corvix::jet
