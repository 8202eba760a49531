#include "zuv/platform/text.h"

#include <limits>
#include <random>
#include <string>
#include <unicode/ustring.h>

#include <gtest/gtest.h>

namespace zuv::platform {
namespace {

using namespace std::string_literals;

// ICU's strict decoder is the reference, with or without room for every unit.
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
  std::u16string room(icu.size(), u'x');
  EXPECT_EQ(DecodeUtf8(bytes, room.data(), static_cast<int32_t>(room.size())), expected);
  if (bytes.find('\0') == std::string::npos) {
    EXPECT_EQ(CZuvPlatformString::CreateWithUtf8(bytes.c_str()) != nullptr, ok);
  }
  EXPECT_EQ(ours, ok ? icu.substr(0, static_cast<size_t>(icuLength)) : std::u16string(u"kept"));
  EXPECT_TRUE(!ok || (room.substr(0, ours.size()) == ours && EncodeUtf8(ours) == bytes));
  return ok;
}

// Every boundary of the encoding lengths, each malformed form, then bytes from the range edges.
TEST(Utf8Decoding, AgreesWithIcuAndRoundTrips) {
  EXPECT_TRUE(DecodesAsIcuDoes(
      "a\0b\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
      "\xF4\x8F\xBF\xBF"s));
  // Overlong, encoded surrogates, above U+10FFFF, never well-formed, no lead, truncated.
  for (const char* bytes : {"\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
                            "\xF4\x90\x80\x80", "\xFE", "a\xBF", "a\xC3", "\xE2\x28\xA1"}) {
    EXPECT_FALSE(DecodesAsIcuDoes(bytes));
  }
  const unsigned char kEdges[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                  0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xED, 0xEE, 0xEF,
                                  0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFF};
  std::mt19937 random(20240611);
  int accepted = 0;
  for (int round = 0; round < 100000 && !HasFailure(); ++round) {
    std::string bytes(random() % 8 + 1, '\0');
    for (char& b : bytes) b = static_cast<char>(kEdges[random() % std::size(kEdges)]);
    accepted += DecodesAsIcuDoes(bytes);
  }
  EXPECT_GT(accepted, 1000);  // the draw reaches the valid side too
}

// Sizes and substrings are clipped rather than overflowing; lone surrogates encode as U+FFFD.
TEST(Utf16Units, StayWithinBoundsAndFoldSimply) {
  char16_t dest[4] = {u'x', u'x', u'x', u'x'};
  EXPECT_EQ(DecodeUtf8("h\xE2\x82\xAC\xF0\x9D\x84\x9E", dest, 2), 4);  // h, euro sign, a pair
  EXPECT_EQ(std::u16string_view(dest, 4), u"h\u20ACxx");
  EXPECT_EQ(EncodeUtf8(u"a\xDC00z"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(CZuvPlatformString(u"\xDE00\xD83D").GetUtf8(), "\xEF\xBF\xBD\xEF\xBF\xBD");
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  EXPECT_EQ(MaxUtf8Bytes(kMax / 3), kMax / 3 * 3);
  EXPECT_EQ(MaxUtf8Bytes(kMax / 3 + 1), -1);
  const CZuvPlatformString text(u"abcdef");
  EXPECT_EQ(text.CreateSubstring(4, 10)->Units(), u"ef");
  EXPECT_EQ(text.CreateSubstring(-2, 4)->Units(), u"ab");
  EXPECT_EQ(text.CreateSubstring(9, 1)->Units(), u"");
  EXPECT_EQ(text.CreateSubstring(1, kMax)->Units(), u"bcdef");
  EXPECT_EQ(CompareUnits(u"ABC", u"abc", false), -1);
  EXPECT_EQ(CompareUnits(u"\u212A", u"k", true), 0);             // the Kelvin sign folds to k
  EXPECT_EQ(CompareUnits(u"stra\u00DFe", u"strasse", true), 1);  // simple folding keeps ß
  EXPECT_EQ(CompareUnits(u"abc", u"AB", true), 1);
  EXPECT_EQ(CompareUnits(u"\xFFFF", u"\U00010000", false), 1);  // units, not code points
  EXPECT_EQ(FindUnits(u"xABcabcAb", u"abc", false, false), 4);
  EXPECT_EQ(FindUnits(u"xABcabcAb", u"AB", true, false), 1);
  EXPECT_EQ(FindUnits(u"xABcabcAb", u"AB", true, true), 7);
  EXPECT_EQ(FindUnits(u"caf\u00C9 CAF\u00E9", u"caf\u00E9", true, true), 5);
  EXPECT_EQ(FindUnits(u"aaa", u"aa", false, true), 1);
  EXPECT_EQ(FindUnits(u"abc", u"abcd", false, true), -1);
  EXPECT_EQ(FindUnits(u"abc", u"", false, false), -1);
}

}  // namespace
}  // namespace zuv::platform
