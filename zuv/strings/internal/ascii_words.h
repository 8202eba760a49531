// Eight bytes at a time: loading, finding a byte, and folding A-Z to a-z in one 64-bit word. Byte
// k of a loaded word is the byte at offset k (little-endian order).
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace zuv::strings_internal {

static_assert(std::endian::native == std::endian::little);

constexpr uint64_t kOnes = 0x0101010101010101ull;
constexpr uint64_t kHighBits = 0x80 * kOnes;

inline uint64_t Load8(const char* p) {
  uint64_t word;
  std::memcpy(&word, p, 8);
  return word;
}

/// The high bit of each byte of `word` that is 0, and of no other byte.
inline uint64_t ZeroBytes(uint64_t word) {
  return ~(((word & ~kHighBits) + ~kHighBits) | word | ~kHighBits);
}

inline char FoldAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; }

/// Eight ASCII bytes with A-Z raised to a-z. Bytes from 0x80 up come out unspecified.
inline uint64_t FoldAsciiWord(uint64_t word) {
  const uint64_t atLeastA = word + (0x80 - 'A') * kOnes;
  const uint64_t aboveZ = word + (0x80 - 'Z' - 1) * kOnes;
  return word | ((atLeastA & ~aboveZ & kHighBits) >> 2);
}

/// The high bits of all bytes of `text` together: zero when it is ASCII.
inline uint64_t HighBits(std::string_view text) {
  uint64_t high = 0;
  size_t i = 0;
  for (; i + 8 <= text.size(); i += 8) high |= Load8(text.data() + i);
  for (; i < text.size(); ++i) high |= static_cast<unsigned char>(text[i]);
  return high & kHighBits;
}

inline bool IsAscii(std::string_view text) { return HighBits(text) == 0; }

}  // namespace zuv::strings_internal
