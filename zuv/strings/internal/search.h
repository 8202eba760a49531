// Linear-time substring search (the two-way algorithm of Crochemore and Perrin): at most about 2n
// comparisons on a text of n units whatever the needle, in constant space. Text and needle are read
// through views that say how a unit compares (literally or folded) and in which direction the
// text is read, so that one algorithm serves forward and backward, literal and case-insensitive
// searches.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "zuv/platform/text.h"
#include "zuv/strings/internal/ascii_words.h"

namespace zuv::strings_internal {

constexpr size_t kNotFound = static_cast<size_t>(-1);

/// Simple case folding of one UTF-16 unit, with ASCII inline.
inline char16_t FoldUnit(char16_t unit) {
  if (unit < 0x80) return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 0x20) : unit;
  return zuv::platform::FoldCase(unit);
}

// Moves from index `from` over whole 32-unit blocks up to `to` in which `hitsAt` (the hits of the
// eight units at an index, as ZeroBytes gives them) finds nothing; returns where it stopped.
template <typename HitsAt>
size_t SkipBlocks(size_t from, size_t to, HitsAt hitsAt) {
  size_t i = from;
  for (; i + 32 <= to + 1; i += 32) {
    if ((hitsAt(i) | hitsAt(i + 8) | hitsAt(i + 16) | hitsAt(i + 24)) != 0) break;
  }
  return i;
}

// --- Views. Each has size(), operator[] giving the unit as compared, and Next(from, to, unit):
// the first index in [from, to] whose unit compares equal to `unit`, or kNotFound.

/// Bytes as they are, front to back.
class BytesForward {
 public:
  explicit BytesForward(std::string_view bytes) : m_bytes(bytes) {}
  size_t size() const { return m_bytes.size(); }
  const char* Data() const { return m_bytes.data(); }
  unsigned char operator[](size_t i) const { return static_cast<unsigned char>(m_bytes[i]); }
  size_t Next(size_t from, size_t to, unsigned char unit) const {
    const size_t at = m_bytes.substr(0, to + 1).find(static_cast<char>(unit), from);
    return at == std::string_view::npos ? kNotFound : at;
  }

 private:
  std::string_view m_bytes;
};

/// Bytes as they are, back to front: index 0 is the last byte.
class BytesBackward {
 public:
  explicit BytesBackward(std::string_view bytes) : m_bytes(bytes) {}
  size_t size() const { return m_bytes.size(); }
  const char* Data() const { return m_bytes.data(); }
  unsigned char operator[](size_t i) const {
    return static_cast<unsigned char>(m_bytes[m_bytes.size() - 1 - i]);
  }
  size_t Next(size_t from, size_t to, unsigned char unit) const {
    const uint64_t pattern = unit * kOnes;
    // The word that holds indexes i .. i + 7, that is bytes end - i - 8 .. end - i - 1.
    const auto hitsAt = [&](size_t i) {
      return ZeroBytes(Load8(m_bytes.data() + m_bytes.size() - i - 8) ^ pattern);
    };
    size_t i = SkipBlocks(from, to, hitsAt);
    for (; i + 8 <= to + 1; i += 8) {
      const uint64_t hits = hitsAt(i);
      if (hits != 0) return i + static_cast<size_t>(std::countl_zero(hits)) / 8;
    }
    for (; i <= to; ++i) {
      if ((*this)[i] == unit) return i;
    }
    return kNotFound;
  }

 private:
  std::string_view m_bytes;
};

/// ASCII bytes after case folding (A-Z read as a-z), front to back.
class AsciiFolded {
 public:
  explicit AsciiFolded(std::string_view ascii) : m_ascii(ascii) {}
  size_t size() const { return m_ascii.size(); }
  char16_t operator[](size_t i) const { return static_cast<unsigned char>(FoldAscii(m_ascii[i])); }
  size_t Next(size_t from, size_t to, char16_t unit) const {
    if (unit >= 0x80) return kNotFound;
    const uint64_t pattern = unit * kOnes;
    const auto hitsAt = [&](size_t i) {
      return ZeroBytes(FoldAsciiWord(Load8(m_ascii.data() + i)) ^ pattern);
    };
    size_t i = SkipBlocks(from, to, hitsAt);
    for (; i + 8 <= to + 1; i += 8) {
      const uint64_t hits = hitsAt(i);
      if (hits != 0) return i + static_cast<size_t>(std::countr_zero(hits)) / 8;
    }
    for (; i <= to; ++i) {
      if ((*this)[i] == unit) return i;
    }
    return kNotFound;
  }

 private:
  std::string_view m_ascii;
};

/// UTF-16 units after simple case folding, front to back.
class UnitsFolded {
 public:
  explicit UnitsFolded(std::u16string_view units) : m_units(units) {}
  size_t size() const { return m_units.size(); }
  char16_t operator[](size_t i) const { return FoldUnit(m_units[i]); }
  size_t Next(size_t from, size_t to, char16_t unit) const {
    for (size_t i = from; i <= to; ++i) {
      if ((*this)[i] == unit) return i;
    }
    return kNotFound;
  }

 private:
  std::u16string_view m_units;
};

namespace search_detail {

// The first i from `i` on, below `m`, at which the needle and the text window at `j` differ; `m`
// when they agree up to there. Bytes are compared eight at a time.
template <typename Text, typename Find>
size_t MatchUpTo(const Text& text, const Find& find, size_t j, size_t i, size_t m) {
  if constexpr (std::is_same_v<Text, Find> &&
                (std::is_same_v<Text, BytesForward> || std::is_same_v<Text, BytesBackward>)) {
    constexpr bool kForward = std::is_same_v<Text, BytesForward>;
    for (; i + 8 <= m; i += 8) {
      // Indexes i .. i + 7 of both, as one word each.
      const uint64_t differ = kForward ? Load8(text.Data() + j + i) ^ Load8(find.Data() + i)
                                       : Load8(text.Data() + text.size() - j - i - 8) ^
                                             Load8(find.Data() + find.size() - i - 8);
      if (differ != 0) {
        return i +
               static_cast<size_t>(kForward ? std::countr_zero(differ) : std::countl_zero(differ)) /
                   8;
      }
    }
  }
  while (i < m && find[i] == text[i + j]) ++i;
  return i;
}

// The critical factorization of the needle: the start of its right half, found as the later of
// the two maximal suffixes (by the order of the units and by the reverse order), and the period
// of that suffix in *period.
template <typename Find>
size_t CriticalFactorization(const Find& find, size_t* period) {
  const size_t m = find.size();
  if (m < 3) {
    *period = 1;
    return m - 1;
  }
  size_t start[2];
  size_t periods[2];
  for (int reversed = 0; reversed < 2; ++reversed) {
    size_t maxSuffix = static_cast<size_t>(-1);  // one before the suffix; wraps to 0 when added to
    size_t j = 0;
    size_t k = 1;
    size_t p = 1;
    while (j + k < m) {
      const auto a = find[j + k];
      const auto b = find[maxSuffix + k];
      if (a == b) {
        if (k != p) {
          ++k;
        } else {
          j += p;
          k = 1;
        }
      } else if ((a < b) != (reversed != 0)) {
        j += k;
        k = 1;
        p = j - maxSuffix;
      } else {
        maxSuffix = j++;
        k = p = 1;
      }
    }
    start[reversed] = maxSuffix + 1;
    periods[reversed] = p;
  }
  const int later = start[1] >= start[0] ? 1 : 0;
  *period = periods[later];
  return start[later];
}

}  // namespace search_detail

/// The first index of `text` at which `find` occurs, comparing units as the views give them;
/// kNotFound when there is none. An empty needle occurs at 0.
template <typename Text, typename Find>
size_t TwoWayFind(const Text& text, const Find& find) {
  const size_t n = text.size();
  const size_t m = find.size();
  if (m == 0) return 0;
  if (m > n) return kNotFound;
  size_t period = 0;
  const size_t suffix = search_detail::CriticalFactorization(find, &period);
  // A needle whose left half repeats within the period shifts by the period after a full match
  // of its right half, and remembers how much of the next window is already known to match.
  bool periodic = true;
  for (size_t i = 0; i < suffix && periodic; ++i) periodic = find[i] == find[i + period];
  if (!periodic) period = std::max(suffix, m - suffix) + 1;

  const size_t last = n - m;
  const auto anchor = find[suffix];
  size_t memory = 0;
  size_t j = 0;
  while (j <= last) {
    if (memory == 0) {
      // Nothing is known of this window: jump to the next one whose first unit of the right half
      // matches.
      const size_t at = text.Next(j + suffix, last + suffix, anchor);
      if (at == kNotFound) return kNotFound;
      j = at - suffix;
    }
    size_t i = search_detail::MatchUpTo(text, find, j, std::max(suffix, memory), m);
    if (i < m) {
      j += i - suffix + 1;
      memory = 0;
      continue;
    }
    i = suffix;
    while (i > memory && find[i - 1] == text[i - 1 + j]) --i;
    if (i <= memory) return j;
    j += period;
    memory = periodic ? m - period : 0;
  }
  return kNotFound;
}

/// The first occurrence of `find` in `text` at or after `from`, as std::string_view::find.
inline size_t FindBytes(std::string_view text, std::string_view find, size_t from = 0) {
  if (from > text.size()) return kNotFound;
  const size_t at = TwoWayFind(BytesForward(text.substr(from)), BytesForward(find));
  return at == kNotFound ? kNotFound : from + at;
}

/// The last occurrence of `find` in `text`, as std::string_view::rfind.
inline size_t FindLastBytes(std::string_view text, std::string_view find) {
  const size_t at = TwoWayFind(BytesBackward(text), BytesBackward(find));
  return at == kNotFound ? kNotFound : text.size() - find.size() - at;
}

/// The first (or with `last` the last) occurrence of `find` in `text` as the platform's literal
/// search in UTF-16 units finds it, as a byte offset into `text`: kNotFound when there is none,
/// `find` is empty or either side is not well-formed UTF-8 (the platform reads such text as
/// empty). In well-formed UTF-8 a byte search finds exactly the occurrences that a search in
/// UTF-16 units finds, and at the same characters.
inline size_t FindUtf8(std::string_view text, std::string_view find, bool last) {
  const auto wellFormed = [](std::string_view utf8) {
    return (utf8.size() <= INT32_MAX && IsAscii(utf8)) || zuv::platform::IsWellFormedUtf8(utf8);
  };
  if (find.empty() || !wellFormed(text) || !wellFormed(find)) return kNotFound;
  return last ? FindLastBytes(text, find) : FindBytes(text, find);
}

}  // namespace zuv::strings_internal
