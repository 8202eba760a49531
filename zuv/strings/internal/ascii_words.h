// Eight bytes at a time: loading, finding a byte, and folding A-Z to a-z in one 64-bit word. Byte
// k of a loaded word is the byte at offset k (little-endian order). Also the reads that run ahead
// of a terminator not yet found.
#pragma once

#include <bit>
#include <cstddef>
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

// --- Reading a 0-terminated string ahead of its terminator.
//
// Memory is mapped a page at a time, and pages are 4096 bytes or a multiple of that. So a read
// that stays within one 4096-byte page, and takes at least one byte of the string, cannot fault,
// whatever it takes after the terminator. The bytes after the terminator are never used. The
// sanitizers check reads against the object rather than the page, so such reads are made here
// alone, out of their view.

constexpr size_t kPageSize = 4096;

/// The bytes from `p` to the end of its page.
inline size_t RoomInPage(const void* p) {
  return kPageSize - reinterpret_cast<uintptr_t>(p) % kPageSize;
}

/// Reads `sizeof(Block)` bytes at `p` into `block`, a word or a vector of bytes. The caller makes
/// sure that they lie within one page and that the first of them belongs to the string.
template <typename Block>
__attribute__((no_sanitize("address", "thread"))) inline void LoadWithinPage(const char* p,
                                                                             Block& block) {
  typedef Block Unaligned __attribute__((aligned(1), may_alias));
  block = *reinterpret_cast<const Unaligned*>(p);
}

}  // namespace zuv::strings_internal
