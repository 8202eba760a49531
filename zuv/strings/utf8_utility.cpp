#include "zuv/strings/utf8_utility.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "zuv/platform/text.h"
#include "zuv/strings/internal/ascii_words.h"
#include "zuv/strings/internal/search.h"
#include "zuv/strings/internal/utf16_text.h"

// Clones of a hot loop for wider vector units, chosen once when the library is loaded. Not under
// the thread sanitizer: it instruments the chooser, which runs before the sanitizer is set up.
#if defined(__x86_64__) && defined(__ELF__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_THREAD__)
#define ZUV_VECTOR_CLONES \
  __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#else
#define ZUV_VECTOR_CLONES
#endif

namespace ZuvMacStringUtility {
namespace {

using namespace zuv::strings_internal;

// --- The byte family ---

// Continuation bytes announced by a lead byte (1 to 5), 0 for ASCII, -1 for a byte that cannot
// lead: a continuation byte, 0xFE or 0xFF.
int TrailCount(char lead) {
  const int ones = std::countl_one(static_cast<unsigned char>(lead));
  if (ones == 0) return 0;
  return ones >= 2 && ones <= 6 ? ones - 1 : -1;
}

// The continuation bytes are taken as they come, but a terminator among them ends the character
// there: no byte after the end of the string is read, and the missing bytes count as 0. Returns
// how many continuation bytes the string holds, at most `trail`.
int ReadTrail(const char* lead, int trail, unsigned char (&bytes)[5]) {
  int present = 0;
  while (present < trail && lead[present + 1] != 0) {
    bytes[present] = static_cast<unsigned char>(lead[present + 1]);
    ++present;
  }
  std::fill(bytes + present, bytes + trail, 0);
  return present;
}

// The value of a 2- to 6-byte form: the payload of the lead byte above six bits of each
// continuation byte.
uint32_t DecodeForm(char lead, int trail, const unsigned char (&bytes)[5]) {
  uint32_t value = static_cast<unsigned char>(lead) & (0x3Fu >> trail);
  for (int i = 0; i < trail; ++i) value = value << 6 | (bytes[i] & 0x3Fu);
  return value;
}

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// Moves past `n` characters of `p`, where every byte not of the form 10xxxxxx starts one and the
// first byte starts one whatever it is; stops at the terminator.
const char* PassCharacters(const char* p, unsigned long n) {
  for (; n > 0 && *p != 0; --n) {
    ++p;
    while (IsContinuation(*p)) ++p;
  }
  return p;
}

// The bytes utf8_length counts: below 0x80 or in 0xC2..0xF4. As a signed byte 0xC2 is -62, so
// the first test takes ASCII and 0xC2..0xFF at once.
bool StartsCountedCharacter(char byte) {
  return static_cast<signed char>(byte) >= -62 && static_cast<unsigned char>(byte) <= 0xF4;
}

// The high bit of each byte of `word` that utf8_length counts. Of the bytes from 0x80 up, those
// are 0xC2..0xF4, whose low seven bits lie in 0x42..0x74.
uint64_t CountedBytes(uint64_t word) {
  const uint64_t low = word & ~kHighBits;
  const uint64_t from42 = low + (0x80 - 0x42) * kOnes;
  const uint64_t from75 = low + (0x80 - 0x75) * kOnes;
  return (~word | (from42 & ~from75)) & kHighBits;
}

// The sum of the eight bytes of `word`.
size_t SumOfBytes(uint64_t word) {
  constexpr uint64_t kEvenBytes = 0x00FF00FF00FF00FFull;
  const uint64_t pairs = (word & kEvenBytes) + (word >> 8 & kEvenBytes);
  return static_cast<size_t>(pairs * 0x0001000100010001ull >> 48);
}

// Adds to `count` the counted bytes of the aligned word at `word`, leaving out those before `s`
// and from the first 0 byte on. Returns the offset of that 0 byte in the word, or 8. Part of
// CountCharacterStarts, and kept out of the sanitizers' view with it: the address sanitizer would
// otherwise mark the scope of the word in a frame that it does not clean up.
[[gnu::always_inline]] __attribute__((no_sanitize("address", "thread"))) inline size_t CountInWord(
    const char* word, const char* s, size_t& count) {
  uint64_t bytes;
  LoadWithinPage(word, bytes);
  // Eight ASCII bytes, none of them 0: subtracting 1 from each borrows from none.
  if (s <= word && (((bytes - kOnes) | bytes) & kHighBits) == 0) {
    count += 8;
    return 8;
  }
  uint64_t lanes = s > word ? ~uint64_t{0} << 8 * (s - word) : ~uint64_t{0};
  const uint64_t zeros = ZeroBytes(bytes) & lanes;
  if (zeros != 0) lanes &= (zeros & (0 - zeros)) - 1;
  count += SumOfBytes((CountedBytes(bytes) & lanes) >> 7);
  return zeros != 0 ? static_cast<size_t>(std::countr_zero(zeros)) / 8 : 8;
}

struct CountedString {
  size_t bytes;       // before the terminator
  size_t characters;  // the bytes utf8_length counts among them
};

// One pass that finds the terminator and counts on the way. It reads aligned words up to the
// first 1024-byte boundary, then aligned blocks of 1 KiB until one holds the terminator, and
// that block a word at a time again. The block loops are left to the vectorizer; byte-wide
// counters, one per lane, emptied before they can overflow, keep them in vector registers.
//
// A block is read whole before it is known to hold the terminator. That is safe: an aligned block
// lies within one page (pages are multiples of 4096 bytes), and its first byte belongs to the
// string, so the page is mapped. The sanitizers check reads against the string rather than the
// page, so this function is kept out of their view.
ZUV_VECTOR_CLONES __attribute__((no_sanitize("address", "thread"))) CountedString
CountCharacterStarts(const char* s) {
  constexpr int kLanes = 64;
  constexpr size_t kBlock = 16 * kLanes;
  constexpr int kBlocksPerFlush = 255 / (kBlock / kLanes);
  size_t count = 0;
  const char* p = s - reinterpret_cast<uintptr_t>(s) % 8;
  for (; p < s || reinterpret_cast<uintptr_t>(p) % kBlock != 0; p += 8) {
    const size_t end = CountInWord(p, s, count);
    if (end < 8) return {static_cast<size_t>(p + end - s), count};
  }
  for (bool ended = false; !ended;) {
    unsigned char lanes[kLanes] = {};
    for (int blocks = 0; blocks < kBlocksPerFlush; ++blocks, p += kBlock) {
      unsigned char least = 0xFF;
      for (size_t i = 0; i < kBlock; ++i) least = std::min(least, static_cast<unsigned char>(p[i]));
      if (least == 0) {
        ended = true;
        break;
      }
#pragma GCC unroll 16
      for (size_t row = 0; row < kBlock; row += kLanes) {
        for (int lane = 0; lane < kLanes; ++lane)
          lanes[lane] += StartsCountedCharacter(p[row + lane]);
      }
    }
    for (const unsigned char laneCount : lanes) count += laneCount;
  }
  for (;; p += 8) {
    const size_t end = CountInWord(p, s, count);
    if (end < 8) return {static_cast<size_t>(p + end - s), count};
  }
}

// --- The platform family ---

// ASCII text is its own UTF-16 form, one unit per byte, and its simple case folding is A-Z to
// a-z. So where both sides are ASCII, which paths and names mostly are, the platform comparisons
// need no decoding: they compare the bytes.

// The length of the prefix on which `a` and `b` agree and are ASCII: the offset of the first byte
// that is 0, from 0x80 up, or different in the two strings (after A-Z is folded to a-z when
// `kIgnoreCase`). Compares 16 bytes at a time, reading ahead of the terminators only within a
// page.
template <bool kIgnoreCase>
size_t AgreeingAsciiPrefix(const char* a, const char* b) {
  using Block = signed char __attribute__((vector_size(16)));
  using Unsigned = unsigned char __attribute__((vector_size(16)));
  using Halves = uint64_t __attribute__((vector_size(16)));
  constexpr size_t kBlock = sizeof(Block);
  size_t i = 0;
  for (;;) {
    const size_t pageEnd = i + std::min(RoomInPage(a + i), RoomInPage(b + i));
    for (; i + kBlock <= pageEnd; i += kBlock) {
      Block x, y;
      LoadWithinPage(a + i, x);
      LoadWithinPage(b + i, y);
      Block same = x == y;
      if constexpr (kIgnoreCase) {  // or differ only in 0x20, and are a letter
        const Unsigned fromA = reinterpret_cast<Unsigned>(x | 0x20) - 'a';
        same |= ((x ^ y) == 0x20) & (fromA < 26);
      }
      // Where the strings agree, a byte that is 0 or from 0x80 up is so in both.
      const Halves stop = reinterpret_cast<Halves>(~same | (x <= 0));
      if ((stop[0] | stop[1]) != 0) {
        return i + static_cast<size_t>(stop[0] != 0 ? std::countr_zero(stop[0])
                                                    : 64 + std::countr_zero(stop[1])) /
                       8;
      }
    }
    // The bytes before the nearer page end, one at a time.
    for (; i < pageEnd; ++i) {
      const char x = kIgnoreCase ? FoldAscii(a[i]) : a[i];
      const char y = kIgnoreCase ? FoldAscii(b[i]) : b[i];
      if (x != y || x <= 0) return i;
    }
  }
}

// Whether a string whose first `prefix` bytes are ASCII, followed by `rest`, is text the platform
// reads.
bool IsPlatformTextAfterAscii(size_t prefix, const char* rest) {
  // A string agrees with itself up to its first byte that is 0 or not ASCII.
  const size_t ascii = AgreeingAsciiPrefix<false>(rest, rest);
  if (rest[ascii] == 0) return true;
  const std::string_view tail(rest + ascii);
  return prefix + ascii + tail.size() <= INT32_MAX && zuv::platform::IsWellFormedUtf8(tail);
}

// What CompareIfAscii answers when the caller must decode. Not an optional<int>: packing one
// into a register to return it costs more than the whole comparison of a short path.
constexpr int kUndecided = 2;

// The comparison of the first `limitA` units of `a` with the first `limitB` units of `b` (each
// clipped to its length), when it can be decided on the ASCII prefix on which they agree;
// kUndecided otherwise, and then the caller decodes. The strings are only checked for
// well-formedness after that prefix, and only once the answer is known there.
int CompareIfAscii(const char* a, const char* b, size_t limitA, size_t limitB, bool ignoreCase) {
  if (a == nullptr || b == nullptr) return kUndecided;
  const size_t agree =
      ignoreCase ? AgreeingAsciiPrefix<true>(a, b) : AgreeingAsciiPrefix<false>(a, b);
  const size_t at = std::min({agree, limitA, limitB});
  const bool moreA = at < limitA && a[at] != 0;
  const bool moreB = at < limitB && b[at] != 0;
  int order;
  if (!moreA || !moreB) {
    order = moreA ? 1 : moreB ? -1 : 0;
  } else {
    // Both go on at `at`, so there they differ or one is not ASCII.
    const auto x = static_cast<unsigned char>(ignoreCase ? FoldAscii(a[at]) : a[at]);
    const auto y = static_cast<unsigned char>(ignoreCase ? FoldAscii(b[at]) : b[at]);
    if (x < 0x80 && y < 0x80) {
      order = x < y ? -1 : 1;
    } else if (x < 0x80 || y < 0x80) {
      // A longer form is one unit from 0x80 up, or two, beginning with one from 0xD800 up: so it
      // comes after any ASCII unit. Folding could make it ASCII (U+212A KELVIN SIGN is k).
      if (ignoreCase) return kUndecided;
      order = x < 0x80 ? -1 : 1;
    } else {
      return kUndecided;
    }
  }
  // Text that is not well-formed counts as empty, which may change the answer.
  const bool wellFormed = (a[at] == 0 || IsPlatformTextAfterAscii(at, a + at)) &&
                          (b[at] == 0 || IsPlatformTextAfterAscii(at, b + at));
  return wellFormed ? order : kUndecided;
}

constexpr size_t kWhole = static_cast<size_t>(-1);

}  // namespace

int utf8_decode(const char* s, int index, wchar_t& out) {
  const char* lead = s + index;
  const int trail = TrailCount(*lead);
  if (trail <= 0) {
    // ASCII, or a byte that cannot lead: the byte read as signed, so 0x80 gives -128.
    out = static_cast<signed char>(*lead);
    return 1;
  }
  unsigned char bytes[5];
  ReadTrail(lead, trail, bytes);
  out = static_cast<wchar_t>(DecodeForm(*lead, trail, bytes));
  // 1 for every form, not its length in bytes.
  return 1;
}

int utf8_encode(wchar_t c, char* out) {
  const int32_t value = c;
  if (value < 0x80) {
    // Negative values too: one byte, the low 8 bits.
    out[0] = static_cast<char>(value);
    out[1] = 0;
    return 1;
  }
  static constexpr unsigned char kLeadMarker[] = {0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
  const int trail = value < 0x800        ? 1
                    : value < 0x10000    ? 2
                    : value < 0x200000   ? 3
                    : value <= 0x3FFFFFF ? 4
                                         : 5;
  out[0] = static_cast<char>(kLeadMarker[trail] | ((value >> (6 * trail)) & (0x3F >> trail)));
  for (int i = 1; i <= trail; ++i) {
    out[i] = static_cast<char>(0x80 | ((value >> (6 * (trail - i))) & 0x3F));
  }
  out[trail + 1] = 0;
  return trail + 1;
}

int utf8_length(const char* s) {
  if (s == nullptr) return 0;
  const CountedString counted = CountCharacterStarts(s);
  if (counted.bytes <= INT32_MAX) return static_cast<int>(counted.characters);
  // The byte count is taken as a signed 32-bit length: beyond 2 GiB it wraps, and only that many
  // bytes, if any, are counted.
  const auto length = static_cast<int32_t>(counted.bytes);
  return length <= 0 ? 0 : static_cast<int>(std::count_if(s, s + length, StartsCountedCharacter));
}

CZuvStringData utf8_mid(const CZuvStringData& s, unsigned long start, unsigned long count) {
  const char* first = PassCharacters(s.GetPtrUtf8(), start);
  const char* last = PassCharacters(first, count);
  CZuvStringData piece;
  if (last != first) piece.InitWithUtf8(std::string(first, last).c_str());
  return piece;
}

int utf8_cmp(const char* a, const char* b) {
  if (const int ascii = CompareIfAscii(a, b, kWhole, kWhole, false); ascii != kUndecided)
    return ascii;
  const Utf16Text unitsA(a);
  const Utf16Text unitsB(b);
  // Text that does not make a platform string is not compared at all.
  if (!unitsA.IsValid() || !unitsB.IsValid()) return 0;
  return zuv::platform::CompareUnits(unitsA.Units(), unitsB.Units(), false);
}

int utf8_cmpi(const char* a, const char* b) {
  if (const int ascii = CompareIfAscii(a, b, kWhole, kWhole, true); ascii != kUndecided)
    return ascii;
  return zuv::platform::CompareUnits(Utf16Text(a).Units(), Utf16Text(b).Units(), true);
}

int utf8_cmpn(const char* a, const char* b, unsigned long n) {
  if (const int ascii = CompareIfAscii(a, b, n, kWhole, false); ascii != kUndecided) return ascii;
  return zuv::platform::CompareUnits(Utf16Text(a).Prefix(n), Utf16Text(b).Units(), false);
}

int utf8_cmpni(const char* a, const char* b, unsigned long n) {
  if (const int ascii = CompareIfAscii(a, b, n, n, true); ascii != kUndecided) return ascii;
  return zuv::platform::CompareUnits(Utf16Text(a).Prefix(n), Utf16Text(b).Prefix(n), true);
}

uint32_t UTF8LowerCase_id(const char** p) {
  const char* lead = *p;
  const int trail = TrailCount(*lead);
  if (trail < 0)
    return static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*lead)));
  if (trail == 0) {
    const uint32_t byte = static_cast<unsigned char>(*lead);
    return byte >= 'A' && byte <= 'Z' ? byte + 0x20 : byte;
  }
  unsigned char bytes[5];
  *p += ReadTrail(lead, trail, bytes);
  if (trail == 1) {
    // Latin-1 capitals fold to lower case, except U+00DE, which is left as it is (and U+00D7,
    // which is no letter).
    const uint32_t c = DecodeForm(*lead, trail, bytes);
    const bool raise =
        (c >= 0x41 && c <= 0x5A) || (c >= 0xC0 && c <= 0xD6) || (c >= 0xD8 && c <= 0xDD);
    return raise ? c + 0x20 : c;
  }
  // Longer forms give an identifier, not a code point: the lead's payload at the bottom, then
  // five bits of each continuation byte in steps of six. Characters that differ only in the
  // dropped 0x20 bits share an identifier; callers rely on these exact values.
  int shift = 6 - trail;
  uint32_t id = static_cast<unsigned char>(*lead) & (0x3Fu >> trail);
  for (int i = 0; i < trail; ++i, shift += 6) id |= (bytes[i] & 0x1Fu) << shift;
  return id;
}

int utf8_cmpi_id(const char* a, const char* b) {
  if (a == nullptr) a = "";
  if (b == nullptr) b = "";
  for (;; ++a, ++b) {
    if (*a == 0) return *b == 0 ? 0 : -1;
    if (*b == 0) return 1;
    const uint32_t idA = UTF8LowerCase_id(&a);
    const uint32_t idB = UTF8LowerCase_id(&b);
    if (idA != idB) return idA < idB ? -1 : 1;
  }
}

CZuvStringData utf8_strreverse(const char* s, const char* f) {
  CZuvStringData tail;
  if (s == nullptr || f == nullptr) return tail;
  const size_t found = FindUtf8(s, f, /*last=*/true);
  if (found != kNotFound) tail.InitWithUtf8(s + found);
  return tail;
}

CZuvStringData utf8_strreverse_id(const char* s, const char* f) {
  const std::string_view text(s != nullptr ? s : "");
  const std::string_view find(f != nullptr ? f : "");
  CZuvStringData tail;
  // `s` must be longer than `f`: a string equal to `f` does not contain it here. An empty `f`
  // matches at the terminator and gives an empty string that has a value.
  if (text.size() <= find.size()) return tail;
  const size_t found = FindLastBytes(text, find);
  if (found != kNotFound) tail.InitWithUtf8(text.data() + found);
  return tail;
}

uint32_t WGL4Normalize(uint32_t codePoint) {
  if (codePoint > 0xFFFF) return codePoint;
  const uint32_t* page = WGL4NormalizationTables[codePoint >> 8];
  return page != nullptr ? page[codePoint & 0xFF] : codePoint;
}

}  // namespace ZuvMacStringUtility
