#include "zuv/strings/utf8_utility.h"

#include <climits>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/text.h"

namespace ZuvMacStringUtility {
namespace {

// The UTF-8 text of a result, or nullopt for a string without value.
std::optional<std::string> TextOf(const CZuvStringData& s) {
  if (!s.HasValueUtf8()) return std::nullopt;
  return std::string(s.GetPtrUtf8());
}

std::optional<std::string> Expected(const char* text) {
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

// Well-formed forms are read back in the utf8_encode test. Overlong forms and bad continuation
// bytes are taken as they come; a byte that cannot lead gives its sign-extended value; a form cut
// short by the terminator ends there.
TEST(Utf8Utility, DecodeReadsEachFormFromItsSignedLeadByte) {
  // clang-format off
  const std::tuple<const char*, int, wchar_t> cases[] = {
      {"\xC0\x81", 0, 0x01}, {"\xC3\x41", 0, 0xC1},
      {"\x80", 0, -128}, {"\xFE", 0, -2}, {"\xFF", 0, -1}, {"a\xC3\xA9", 1, 0xE9},
      {"a\xC3\xA9", 2, -87}, {"\xE2\x82", 0, 0x2080}};
  // clang-format on
  for (const auto& [bytes, index, expected] : cases) {
    wchar_t value = 0;
    EXPECT_EQ(utf8_decode(bytes, index, value), 1) << bytes;
    EXPECT_EQ(value, expected) << bytes << " at " << index;
  }
}

// Negative values are one byte, their low 8 bits.
TEST(Utf8Utility, EncodeWritesFormBySignedValueAndDecodeReadsItBack) {
  // clang-format off
  const std::pair<wchar_t, std::string> cases[] = {
      {0x41, "A"}, {0x7F, "\x7F"}, {0x80, "\xC2\x80"}, {0x7FF, "\xDF\xBF"}, {0x800, "\xE0\xA0\x80"},
      {0x20AC, "\xE2\x82\xAC"}, {0xFFFF, "\xEF\xBF\xBF"}, {0x10000, "\xF0\x90\x80\x80"},
      {0x1FFFFF, "\xF7\xBF\xBF\xBF"}, {0x200000, "\xF8\x88\x80\x80\x80"},
      {0x3FFFFFF, "\xFB\xBF\xBF\xBF\xBF"}, {0x4000000, "\xFC\x84\x80\x80\x80\x80"},
      {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF"}, {-1, "\xFF"}, {-128, "\x80"}, {-200, "\x38"}};
  // clang-format on
  for (const auto& [value, bytes] : cases) {
    char out[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    const int written = utf8_encode(value, out);
    EXPECT_EQ(std::string(out, written + 1), bytes + '\0') << std::hex << static_cast<long>(value);
    if (value < 0) continue;
    wchar_t decoded = 0;
    utf8_decode(out, 0, decoded);
    EXPECT_EQ(decoded, value);
  }
}

TEST(Utf8Utility, LengthCountsAsciiAndLeadBytesC2ToF4) {
  // clang-format off
  const std::pair<const char*, int> cases[] = {
      {nullptr, 0}, {"", 0}, {"a\xC3\xA9\x80", 2}, {"\xC0", 0}, {"\xC1\x80", 0}, {"\xC2", 1},
      {"\xF4", 1}, {"\xF5", 0}, {"\xFF\xBF", 0}};
  // clang-format on
  for (const auto& [bytes, length] : cases) EXPECT_EQ(utf8_length(bytes), length) << bytes;

  // Lengths around the 64-byte rows and the 255-row flush of the per-lane counters.
  for (const int size : {63, 64, 65, 255 * 64, 256 * 64 + 1, 100000}) {
    std::string text(size, 0);
    int expected = 0;
    for (int i = 0; i < size; ++i) {
      const auto byte = static_cast<unsigned char>(i % 255 + 1);
      text[i] = static_cast<char>(byte);
      expected += byte < 0x80 || (byte >= 0xC2 && byte <= 0xF4);
    }
    EXPECT_EQ(utf8_length(text.c_str()), expected) << size;
    EXPECT_EQ(utf8_length(std::string(size, 'a').c_str()), size) << size;
  }
}

// The count is made in one pass of aligned words and blocks: every start alignment, and ends on
// each side of word and block boundaries, must count the same as byte by byte.
TEST(Utf8Utility, LengthIsTheSameAtEveryAlignmentAndEnd) {
  std::vector<char> buffer(3 * 4096);
  char* const page = buffer.data() + 4096 - reinterpret_cast<uintptr_t>(buffer.data()) % 4096;
  for (size_t i = 0; i < 2 * 4096; ++i) page[i] = static_cast<char>(i * 7 % 255 + 1);
  for (const size_t start : {0, 1, 7, 8, 9, 63, 64, 65, 255, 256, 257, 511, 512, 513, 4090}) {
    for (const size_t length : {0, 1, 7, 8, 9, 60, 63, 64, 65, 511, 512, 513, 1500, 3000}) {
      char* const text = page + start;
      const char kept = text[length];
      text[length] = 0;
      int expected = 0;
      for (size_t i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        expected += byte < 0x80 || (byte >= 0xC2 && byte <= 0xF4);
      }
      EXPECT_EQ(utf8_length(text), expected) << start << " " << length;
      text[length] = kept;
    }
  }
}

// Unlike utf8_length, 0xC0 and 0xFF start characters, and byte 0 starts one whatever it is.
TEST(Utf8Utility, MidCutsWhereEveryNonContinuationByteStartsACharacter) {
  // The piece, or null for an empty string without value.
  // clang-format off
  const std::tuple<const char*, unsigned long, unsigned long, const char*> cases[] = {
      {"h\xC3\xA9llo", 1, 2, "\xC3\xA9l"}, {"abc", 1, 100, "bc"}, {"abc", 0, 0, nullptr},
      {"abc", 3, 1, nullptr}, {"abc", ULONG_MAX, 1, nullptr}, {"", 0, 5, nullptr},
      {"\xC0\x80z", 1, 1, "z"}, {"\xFFz", 0, 1, "\xFF"}, {"\x80\x80z", 0, 1, "\x80\x80"}};
  // clang-format on
  for (const auto& [text, start, count, piece] : cases) {
    EXPECT_EQ(TextOf(utf8_mid(CZuvStringData(ZuvCharUtf8(text)), start, count)), Expected(piece))
        << text << " " << start << " " << count;
  }
}

// Latin-1 capitals fold except U+00DE (and U+00D7); other 2-byte forms and invalid bytes stay.
TEST(Utf8Utility, LowerCaseIdFoldsLatin1AndPacksLongerFormsFiveBitsAtATime) {
  // clang-format off
  const std::tuple<const char*, uint32_t, int> cases[] = {
      {"A", 0x61, 0}, {"\xC3\x89", 0xE9, 1}, {"\xC3\x97", 0xD7, 1}, {"\xC3\x9E", 0xDE, 1},
      {"\xD0\x90", 0x410, 1}, {"\xE2\x82\xAC", 0x3022, 2}, {"\xF0\x9F\x98\x80", 0x30F8, 3},
      {"\xF8\x88\x80\x80\x80", 0x20, 4}, {"\xFD\xBF\xBF\xBF\xBF\xBF", 0x3EFBEFBF, 5},
      {"\x80", 0xFFFFFF80, 0}, {"\xE2\x82", 0x22, 1}};
  // clang-format on
  for (const auto& [bytes, id, advance] : cases) {
    const char* p = bytes;
    EXPECT_EQ(UTF8LowerCase_id(&p), id) << bytes;
    EXPECT_EQ(p - bytes, advance) << bytes;
  }
}

// Identifiers compare without sign, so an invalid byte sorts after every character; forms that
// differ only in a dropped bit are equal.
TEST(Utf8Utility, CmpiIdComparesIdentifiers) {
  // clang-format off
  const std::tuple<const char*, const char*, int> cases[] = {
      {"ABC", "abc", 0}, {"\xC3\x89", "\xC3\xA9", 0}, {"\xC3\x9E", "\xC3\xBE", -1},
      {"\xD0\x90", "\xD0\xB0", -1}, {"", "a", -1}, {"a", "", 1}, {nullptr, "", 0}, {"a", "B", -1},
      {"ab", "abc", -1}, {"\x80", "a", 1}, {"\xE2\x82\xAC", "\xE2\xA2\xAC", 0},
      {"\xE2", "\xE2", 0}};
  // clang-format on
  for (const auto& [a, b, result] : cases) EXPECT_EQ(utf8_cmpi_id(a, b), result) << a << "?" << b;
}

// Mixed text at random is left to ComparisonsAgreeWithDecodedOnes. Code-unit order puts U+FFFD
// after U+1F600. Malformed text: utf8_cmp answers 0, utf8_cmpi takes it as empty.
TEST(Utf8Utility, CmpComparesUtf16Units) {
  // clang-format off
  const std::tuple<const char*, const char*, int, int> cases[] = {
      {"\xC3\xA9", "\xC3\x89", 1, 0}, {"\xC3\x9F", "SS", 1, 1},
      {"\xEF\xBF\xBD", "\xF0\x9F\x98\x80", 1, 1}, {"\xC0\x80", "a", 0, -1}, {"a", "\xFF", 0, 1},
      {nullptr, "a", 0, -1}};
  // clang-format on
  for (const auto& [a, b, cmp, cmpi] : cases) {
    EXPECT_EQ(utf8_cmp(a, b), cmp) << a << " ? " << b;
    EXPECT_EQ(utf8_cmpi(a, b), cmpi) << a << " ? " << b;
  }
}

// n counts UTF-16 units, so 1 is half of U+1F600; utf8_cmpn bounds only the first string.
TEST(Utf8Utility, CmpnBoundsOnlyTheFirstStringAndCmpniBoth) {
  // clang-format off
  const std::tuple<const char*, const char*, unsigned long, int, int> cases[] = {
      {"\xC0\x80", "", 5, 0, 0}, {"\xF0\x9F\x98\x80z", "\xF0\x9F\x98\x80", 2, 0, 0},
      {"\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80", 1, -1, 0}};
  // clang-format on
  for (const auto& [a, b, n, cmpn, cmpni] : cases) {
    EXPECT_EQ(utf8_cmpn(a, b, n), cmpn) << a << " ? " << b << " " << n;
    EXPECT_EQ(utf8_cmpni(a, b, n), cmpni) << a << " ? " << b << " " << n;
  }
}

TEST(Utf8Utility, ComparisonsOfTextLongerThanTheStackBuffersGiveTheSameAnswers) {
  const std::string lower = std::string(300, 'x') + "\xC3\xA9";
  const std::string upper = std::string(300, 'X') + "\xC3\x89";
  EXPECT_EQ(utf8_cmp(lower.c_str(), upper.c_str()), 1);
  EXPECT_EQ(utf8_cmpi(lower.c_str(), upper.c_str()), 0);
  EXPECT_EQ(utf8_cmpn(lower.c_str(), lower.c_str(), 300), -1);
  EXPECT_EQ(TextOf(utf8_strreverse(lower.c_str(), "x\xC3\xA9")), "x\xC3\xA9");
}

// The comparisons decide on the ASCII prefix the two strings share, and look at the rest only
// for well-formedness; the answers must be those of the comparison of the decoded units, where
// malformed text is not compared (utf8_cmp) or counts as empty. Differences and non-ASCII or
// malformed bytes fall at every offset, around the edges of A-Z, and across a page boundary.
TEST(Utf8Utility, ComparisonsAgreeWithDecodedOnes) {
  std::mt19937 random(7);
  const std::vector<std::string> pieces = {"@",
                                           "A",
                                           "Z",
                                           "[",
                                           "`",
                                           "a",
                                           "z",
                                           "{",
                                           "0",
                                           "/",
                                           ".",
                                           "_",
                                           "\xC3\xA9",
                                           "\xC3\x89",
                                           "\xE2\x84\xAA",
                                           "k",
                                           "\xF0\x9F\x98\x80",
                                           "\xEF\xBF\xBD",
                                           "\xC3",
                                           "\xFF"};
  auto make = [&](size_t length, bool ascii) {
    std::string text;
    while (text.size() < length) text += pieces[random() % (ascii ? 12 : pieces.size())];
    return text;
  };
  // Each side a few bytes short of the end of a page of its own, so that the comparisons step
  // over the edge.
  std::vector<char> pages(4 * 4096);
  char* const base = pages.data() + 4096 - reinterpret_cast<uintptr_t>(pages.data()) % 4096;
  auto nearEdge = [&](const std::string& text, size_t side) {
    char* const at = base + (side + 1) * 4096 - 1 - random() % 20;
    std::memcpy(at, text.c_str(), text.size() + 1);
    return at;
  };
  auto decoded = [](const std::string& text) {
    std::u16string units;
    const bool wellFormed = zuv::platform::DecodeUtf8(text, &units);
    return std::pair(wellFormed, units);
  };
  for (int round = 0; round < 6000; ++round) {
    const std::string a = make(random() % 40, round % 2 == 0);
    std::string b = a.substr(0, random() % (a.size() + 1)) + make(random() % 6, round % 4 == 1);
    if (round % 3 == 0 && !b.empty()) b[random() % b.size()] ^= 0x20;  // flip case or punctuation
    const unsigned long n = random() % 44;
    SCOPED_TRACE(testing::Message()
                 << testing::PrintToString(a) << " ? " << testing::PrintToString(b) << " n=" << n);
    const auto [validA, ua] = decoded(a);
    const auto [validB, ub] = decoded(b);
    const std::u16string_view va = validA ? ua : std::u16string_view();
    const std::u16string_view vb = validB ? ub : std::u16string_view();
    const bool atEdge = round % 5 == 0;
    const char* pa = atEdge ? nearEdge(a, 0) : a.c_str();
    const char* pb = atEdge ? nearEdge(b, 1) : b.c_str();
    EXPECT_EQ(validA && validB ? zuv::platform::CompareUnits(ua, ub, false) : 0, utf8_cmp(pa, pb));
    EXPECT_EQ(zuv::platform::CompareUnits(va, vb, true), utf8_cmpi(pa, pb));
    EXPECT_EQ(zuv::platform::CompareUnits(va.substr(0, n), vb, false), utf8_cmpn(pa, pb, n));
    EXPECT_EQ(zuv::platform::CompareUnits(va.substr(0, n), vb.substr(0, n), true),
              utf8_cmpni(pa, pb, n));
  }
}

// Only the search in units finds a string equal to `f`; only the search in bytes finds an empty
// `f` (at the terminator) and searches malformed text.
TEST(Utf8Utility, StrreverseReturnsTheTailFromTheLastOccurrence) {
  // s, f, then the tails by utf8_strreverse and utf8_strreverse_id; null: empty without value.
  // clang-format off
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"a/b/c", "/", "/c", "/c"}, {"abab", "ab", "ab", "ab"}, {"a/xa/y", "a/y", "a/y", "a/y"},
      {"a/xa/z", "a/y", nullptr, nullptr},
      {"\xC3\xA9/\xC3\xA9", "\xC3\xA9", "\xC3\xA9", "\xC3\xA9"}, {"a/B", "b", nullptr, nullptr},
      {"/", "/", "/", nullptr}, {"ab", "abc", nullptr, nullptr}, {"abc", "", nullptr, ""},
      {"", "", nullptr, nullptr}, {"\xFF/a", "/", nullptr, "/a"}};
  // clang-format on
  for (const auto& [s, f, byUnits, byBytes] : cases) {
    EXPECT_EQ(TextOf(utf8_strreverse(s, f)), Expected(byUnits)) << s << " / " << f;
    EXPECT_EQ(TextOf(utf8_strreverse_id(s, f)), Expected(byBytes)) << s << " / " << f;
  }
}

// Every folding is counted, so a changed row shows; a few of each rule, and neighbours that stay.
TEST(Wgl4Tables, SevenPagesHold309Foldings) {
  int present = 0;
  int folded = 0;
  for (unsigned high = 0; high < 256; ++high) {
    const uint32_t* page = WGL4NormalizationTables[high];
    if (page == nullptr) continue;
    ++present;
    for (unsigned low = 0; low < 256; ++low) folded += page[low] != (high << 8 | low);
  }
  EXPECT_EQ(present, 7);
  EXPECT_EQ(folded, 309);
  // clang-format off
  const std::pair<uint32_t, uint32_t> cases[] = {
      {0x41, 0x61}, {0x0391, 0x03B1}, {0x03A0, 0x03A0}, {0x03A9, 0x03A9}, {0x042F, 0x044F},
      {0x0419, 0x0438}, {0x0490, 0x0491}, {0xC9, 'e'}, {0x0130, 'i'}, {0x0131, 0x0131},
      {0x017F, 's'}, {0x2113, 'l'}, {0x1EF3, 'y'}, {0x0110, 0x0111}, {0x01FC, 0x00E6},
      {0xC6, 0xC6}, {0xDE, 0xDE}, {0xD7, 0xD7}, {0x0390, 0x03CA}, {0x0385, 0x00A8},
      {0x2126, 0x03C9}, {0x0401, 0x0435}, {0x0407, 0x0456}, {0xA0, ' '}, {0x02DC, 0x02DC},
      {0xB9, '1'}, {0x2122, 0x2122}, {0x1F600, 0x1F600}};
  // clang-format on
  for (const auto& [codePoint, expected] : cases) {
    EXPECT_EQ(WGL4Normalize(codePoint), expected) << std::hex << codePoint;
  }
}

}  // namespace
}  // namespace ZuvMacStringUtility
