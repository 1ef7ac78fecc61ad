// Bounds-checked access to the bytes of files. Every number that a file holds is read through these: an
// offset outside the bytes at hand is damage (error 3049), never undefined behaviour.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/error.h"

namespace corvix::storage {

using ByteView = std::span<const std::byte>;
using ByteSpan = std::span<std::byte>;

/// Throws error 3049 with a text that tells how far the access reached.
[[noreturn]] void ThrowOutOfBounds(std::size_t offset, std::size_t length, std::size_t size);

/// The `length` bytes at `offset`; throws when they are not all there.
inline ByteView Slice(ByteView bytes, std::size_t offset, std::size_t length) {
  if (offset > bytes.size() || length > bytes.size() - offset) ThrowOutOfBounds(offset, length, bytes.size());
  return bytes.subspan(offset, length);
}
inline ByteSpan Slice(ByteSpan bytes, std::size_t offset, std::size_t length) {
  if (offset > bytes.size() || length > bytes.size() - offset) ThrowOutOfBounds(offset, length, bytes.size());
  return bytes.subspan(offset, length);
}

template <std::unsigned_integral T>
constexpr T SwapBytes(T value) {
  if constexpr (sizeof(T) == 8) return __builtin_bswap64(value);
  if constexpr (sizeof(T) == 4) return __builtin_bswap32(value);
  if constexpr (sizeof(T) == 2) return __builtin_bswap16(value);
  return value;
}

template <std::unsigned_integral T>
T ReadLittle(ByteView bytes, std::size_t offset) {
  T value;
  std::memcpy(&value, Slice(bytes, offset, sizeof(T)).data(), sizeof(T));
  if constexpr (std::endian::native == std::endian::big) value = SwapBytes(value);
  return value;
}

template <std::unsigned_integral T>
T ReadBig(ByteView bytes, std::size_t offset) {
  T value;
  std::memcpy(&value, Slice(bytes, offset, sizeof(T)).data(), sizeof(T));
  if constexpr (std::endian::native == std::endian::little) value = SwapBytes(value);
  return value;
}

template <std::unsigned_integral T>
void WriteLittle(ByteSpan bytes, std::size_t offset, T value) {
  if constexpr (std::endian::native == std::endian::big) value = SwapBytes(value);
  std::memcpy(Slice(bytes, offset, sizeof(T)).data(), &value, sizeof(T));
}

template <std::unsigned_integral T>
void WriteBig(ByteSpan bytes, std::size_t offset, T value) {
  if constexpr (std::endian::native == std::endian::little) value = SwapBytes(value);
  std::memcpy(Slice(bytes, offset, sizeof(T)).data(), &value, sizeof(T));
}

inline std::uint8_t ReadByte(ByteView bytes, std::size_t offset) {
  return std::to_integer<std::uint8_t>(Slice(bytes, offset, 1)[0]);
}
inline void WriteByte(ByteSpan bytes, std::size_t offset, std::uint8_t value) {
  Slice(bytes, offset, 1)[0] = std::byte{value};
}

template <std::unsigned_integral T>
void AppendLittle(std::vector<std::byte>& out, T value) {
  out.resize(out.size() + sizeof(T));
  WriteLittle(ByteSpan(out), out.size() - sizeof(T), value);
}

template <std::unsigned_integral T>
void AppendBig(std::vector<std::byte>& out, T value) {
  out.resize(out.size() + sizeof(T));
  WriteBig(ByteSpan(out), out.size() - sizeof(T), value);
}

/// Bitmaps: the low bit of each byte is the first. `bit` must lie within the bytes.
inline bool TestBit(ByteView bits, std::size_t bit) {
  return (std::to_integer<unsigned>(bits[bit / 8]) >> (bit % 8) & 1) != 0;
}
inline void AssignBit(ByteSpan bits, std::size_t bit, bool value) {
  const auto mask = std::byte{1} << (bit % 8);
  std::byte& byte = bits[bit / 8];
  byte = value ? byte | mask : byte & ~mask;
}

/// The bytes as characters, and the other way round; both share the memory.
inline std::string_view AsText(ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
inline ByteView AsBytes(std::string_view text) {
  return {reinterpret_cast<const std::byte*>(text.data()), text.size()};
}

}  // namespace corvix::storage
