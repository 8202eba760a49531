#include "zuv/platform/text.h"

#include <limits>
#include <random>
#include <string>
#include <unicode/ustring.h>

#include <gtest/gtest.h>

namespace zuv::platform {
namespace {

using namespace std::string_literals;

// ICU's own strict decoder is the reference: both must accept and refuse the same byte strings
// and agree on the units; what is accepted must encode back to the same bytes, and what is
// refused must leave the output alone and give no platform string.
bool DecodesAsIcuDoes(const std::string& bytes) {
  SCOPED_TRACE(testing::PrintToString(bytes));
  std::u16string icu(bytes.size() + 1, u'\0');
  int32_t icuLength = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(icu.data(), static_cast<int32_t>(icu.size()), &icuLength, bytes.data(),
                static_cast<int32_t>(bytes.size()), &status);
  std::u16string ours = u"kept";
  const bool ok = DecodeUtf8(bytes, &ours);
  EXPECT_EQ(ok, U_SUCCESS(status));
  const int32_t expected = ok ? icuLength : -1;
  EXPECT_EQ(DecodeUtf8(bytes, nullptr, 0), expected);
  std::u16string room(icu.size(), u'x');  // with room for every unit, another path is taken
  EXPECT_EQ(DecodeUtf8(bytes, room.data(), static_cast<int32_t>(room.size())), expected);
  if (bytes.find('\0') == std::string::npos) {
    EXPECT_EQ(CZuvPlatformString::CreateWithUtf8(bytes.c_str()) != nullptr, ok);
  }
  if (!ok) {
    EXPECT_EQ(ours, u"kept");
  } else {
    EXPECT_EQ(ours, std::u16string_view(icu.data(), static_cast<size_t>(icuLength)));
    EXPECT_EQ(room.substr(0, ours.size()), ours);
    EXPECT_EQ(EncodeUtf8(ours), bytes);
  }
  return ok;
}

TEST(Utf8Decoding, RefusesMalformedBytes) {
  // clang-format off
  const char* const kMalformed[] = {
      "\xC0\x80",          "\xC1\xBF",          // overlong two-byte forms
      "\xE0\x80\x80",      "\xE0\x9F\xBF",      // overlong three-byte forms
      "\xF0\x80\x80\x80",  "\xF0\x8F\xBF\xBF",  // overlong four-byte forms
      "\xED\xA0\x80",      "\xED\xBF\xBF",      // encoded surrogates U+D800, U+DFFF
      "\xF4\x90\x80\x80",  "\xF5\x80\x80\x80",  // above U+10FFFF
      "\xF8\x88\x80\x80\x80", "\xFE", "\xFF",   // never well-formed
      "\x80", "a\xBF",                          // continuation without lead
      "\xC3", "\xE2\x82", "\xF0\x9F\x98", "a\xC3",  // truncated at the end
      "\xC3\x28", "\xE2\x28\xA1", "\xF0\x9F\x28\x80",  // truncated inside
  };
  // clang-format on
  for (const char* bytes : kMalformed) EXPECT_FALSE(DecodesAsIcuDoes(bytes));
}

// Every boundary between encoding lengths and around the surrogates in one string, then random
// bytes drawn mostly from the edges of the valid ranges.
TEST(Utf8Decoding, AgreesWithIcuAndRoundTrips) {
  EXPECT_TRUE(DecodesAsIcuDoes(
      "a\0b\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
      "\xF4\x8F\xBF\xBF"s));
  const unsigned char kEdges[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                  0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xED, 0xEE, 0xEF,
                                  0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFF};
  std::mt19937 random(20240611);
  std::uniform_int_distribution<size_t> pick(0, std::size(kEdges) - 1);
  std::uniform_int_distribution<size_t> length(1, 8);
  int accepted = 0;
  for (int round = 0; round < 100000 && !HasFailure(); ++round) {
    std::string bytes(length(random), '\0');
    for (char& b : bytes) b = static_cast<char>(kEdges[pick(random)]);
    accepted += DecodesAsIcuDoes(bytes);
  }
  EXPECT_GT(accepted, 1000);  // the draw reaches the valid side too
}

TEST(Utf8Decoding, WritesOnlyTheRoomGiven) {
  const std::string_view text = "h\xE2\x82\xAC\xF0\x9D\x84\x9E";  // h, euro sign, a pair
  EXPECT_EQ(DecodeUtf8(text, nullptr, 0), 4);
  char16_t dest[4] = {u'x', u'x', u'x', u'x'};
  EXPECT_EQ(DecodeUtf8(text, dest, 2), 4);
  EXPECT_EQ(std::u16string_view(dest, 4), u"h\u20ACxx");
  EXPECT_EQ(DecodeUtf8(text, dest, -5), 4);
}

TEST(Utf8Encoding, LoneSurrogatesBecomeReplacementCharacters) {
  EXPECT_EQ(EncodeUtf8(u"a\xDC00z"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(EncodeUtf8(u"a\xD83D"), "a\xEF\xBF\xBD");  // lead at the end
  EXPECT_EQ(CZuvPlatformString(u"\xDE00\xD83D").GetUtf8(), "\xEF\xBF\xBD\xEF\xBF\xBD");  // reversed
}

TEST(Utf8Encoding, MaxBytesRefusesOverflow) {
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  EXPECT_EQ(MaxUtf8Bytes(5), 15);
  EXPECT_EQ(MaxUtf8Bytes(kMax / 3), kMax / 3 * 3);
  EXPECT_EQ(MaxUtf8Bytes(kMax / 3 + 1), -1);
  EXPECT_EQ(MaxUtf8Bytes(-1), -1);
}

TEST(PlatformString, SubstringIsClippedToTheString) {
  const CZuvPlatformString text(u"abcdef");
  const struct {
    int32_t start, length;
    std::u16string_view expected;
  } kCases[] = {{1, 2, u"bc"}, {4, 10, u"ef"}, {-2, 4, u"ab"},
                {9, 1, u""},   {2, -1, u""},   {1, std::numeric_limits<int32_t>::max(), u"bcdef"}};
  for (const auto& c : kCases) {
    EXPECT_EQ(text.CreateSubstring(c.start, c.length)->Units(), c.expected)
        << c.start << ", " << c.length;
  }
}

TEST(UnitComparison, OrdersByFoldedCodeUnits) {
  const struct {
    std::u16string_view a, b;
    bool ignoreCase;
    int expected;
  } kCases[] = {
      {u"ABC", u"abc", true, 0},
      {u"ABC", u"abc", false, -1},
      {u"\u00C9t\u00C9", u"\u00E9t\u00E9", true, 0},
      {u"\u212A", u"k", true, 0},             // Kelvin sign folds to k
      {u"stra\u00DFe", u"strasse", true, 1},  // simple folding keeps ß
      {u"ab", u"abc", true, -1},
      {u"", u"", false, 0},
      {u"\xFFFF", u"\U00010000", false, 1},  // code units, not code points
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(c.a)));
    EXPECT_EQ(CompareUnits(c.a, c.b, c.ignoreCase), c.expected);
    EXPECT_EQ(CompareUnits(c.b, c.a, c.ignoreCase), -c.expected);
  }
}

TEST(UnitSearch, FindsFirstAndLastOccurrence) {
  const struct {
    std::u16string_view text, find;
    bool ignoreCase;
    int32_t forwards, backwards;
  } kCases[] = {
      {u"xABcabcAb", u"abc", false, 4, 4}, {u"xABcabcAb", u"abc", true, 1, 4},
      {u"xABcabcAb", u"AB", true, 1, 7},   {u"caf\u00C9 CAF\u00E9", u"caf\u00E9", true, 0, 5},
      {u"aaa", u"aa", false, 0, 1},        {u"abc", u"abc", false, 0, 0},
      {u"abc", u"abcd", false, -1, -1},    {u"abc", u"", false, -1, -1},
      {u"", u"a", true, -1, -1},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(c.find)));
    EXPECT_EQ(FindUnits(c.text, c.find, c.ignoreCase, false), c.forwards);
    EXPECT_EQ(FindUnits(c.text, c.find, c.ignoreCase, true), c.backwards);
  }
}

}  // namespace
}  // namespace zuv::platform
