#include "zuv/strings/utf8_utility.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <optional>
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
bool StartsCountedCharacter(unsigned char byte) {
  return static_cast<signed char>(byte) >= -62 && byte <= 0xF4;
}

// Byte-wide counters, one per lane, emptied before they can overflow, keep the loop in vector
// registers.
ZUV_VECTOR_CLONES int CountCharacterStarts(const unsigned char* bytes, int length) {
  constexpr int kLanes = 64;
  constexpr int kRowsPerFlush = 255;
  int count = 0;
  int i = 0;
  while (length - i >= kLanes) {
    unsigned char lanes[kLanes] = {};
    const int rows = std::min((length - i) / kLanes, kRowsPerFlush);
    for (int row = 0; row < rows; ++row, i += kLanes) {
      for (int lane = 0; lane < kLanes; ++lane)
        lanes[lane] += StartsCountedCharacter(bytes[i + lane]);
    }
    for (const unsigned char laneCount : lanes) count += laneCount;
  }
  // The rest, and short strings such as paths, eight bytes at a time where they are ASCII.
  for (; length - i >= 8; i += 8) {
    using zuv::strings_internal::kHighBits, zuv::strings_internal::Load8;
    if ((Load8(reinterpret_cast<const char*>(bytes + i)) & kHighBits) == 0) {
      count += 8;
    } else {
      for (int k = 0; k < 8; ++k) count += StartsCountedCharacter(bytes[i + k]);
    }
  }
  for (; i < length; ++i) count += StartsCountedCharacter(bytes[i]);
  return count;
}

// --- The platform family ---

// ASCII text is its own UTF-16 form, one unit per byte, and its simple case folding is A-Z to
// a-z. So when both sides are ASCII, which paths and names mostly are, the platform comparisons
// need no decoding: they compare the bytes.
using namespace zuv::strings_internal;

// The comparison of the first `limitA` bytes of `a` with the first `limitB` bytes of `b` (each
// clipped to its length), when both whole strings are ASCII; nothing otherwise, and then the
// caller decodes. Words are compared until the first that differs; the rest is only checked for
// ASCII.
std::optional<int> CompareIfAscii(const char* a, const char* b, size_t limitA, size_t limitB,
                                  bool ignoreCase) {
  if (a == nullptr || b == nullptr) return std::nullopt;
  const size_t lengthA = std::strlen(a), lengthB = std::strlen(b);
  const size_t sizeA = std::min(lengthA, limitA), sizeB = std::min(lengthB, limitB);
  const size_t common = std::min(sizeA, sizeB);
  uint64_t high = 0;
  size_t i = 0;
  for (; i + 8 <= common; i += 8) {
    const uint64_t wordA = Load8(a + i), wordB = Load8(b + i);
    high |= wordA | wordB;
    if (wordA != wordB && (!ignoreCase || FoldAsciiWord(wordA) != FoldAsciiWord(wordB))) break;
  }
  if (((high & kHighBits) | HighBits({a + i, lengthA - i}) | HighBits({b + i, lengthB - i})) != 0) {
    return std::nullopt;
  }
  for (; i < common; ++i) {
    const char x = ignoreCase ? FoldAscii(a[i]) : a[i];
    const char y = ignoreCase ? FoldAscii(b[i]) : b[i];
    if (x != y) return x < y ? -1 : 1;
  }
  return sizeA < sizeB ? -1 : sizeA > sizeB ? 1 : 0;
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
  // The byte count is taken as a signed 32-bit length.
  return CountCharacterStarts(reinterpret_cast<const unsigned char*>(s),
                              static_cast<int>(std::strlen(s)));
}

CZuvStringData utf8_mid(const CZuvStringData& s, unsigned long start, unsigned long count) {
  const char* first = PassCharacters(s.GetPtrUtf8(), start);
  const char* last = PassCharacters(first, count);
  CZuvStringData piece;
  if (last != first) piece.InitWithUtf8(std::string(first, last).c_str());
  return piece;
}

int utf8_cmp(const char* a, const char* b) {
  if (const auto ascii = CompareIfAscii(a, b, kWhole, kWhole, false)) return *ascii;
  const Utf16Text unitsA(a);
  const Utf16Text unitsB(b);
  // Text that does not make a platform string is not compared at all.
  if (!unitsA.IsValid() || !unitsB.IsValid()) return 0;
  return zuv::platform::CompareUnits(unitsA.Units(), unitsB.Units(), false);
}

int utf8_cmpi(const char* a, const char* b) {
  if (const auto ascii = CompareIfAscii(a, b, kWhole, kWhole, true)) return *ascii;
  return zuv::platform::CompareUnits(Utf16Text(a).Units(), Utf16Text(b).Units(), true);
}

int utf8_cmpn(const char* a, const char* b, unsigned long n) {
  if (const auto ascii = CompareIfAscii(a, b, n, kWhole, false)) return *ascii;
  return zuv::platform::CompareUnits(Utf16Text(a).Prefix(n), Utf16Text(b).Units(), false);
}

int utf8_cmpni(const char* a, const char* b, unsigned long n) {
  if (const auto ascii = CompareIfAscii(a, b, n, n, true)) return *ascii;
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
