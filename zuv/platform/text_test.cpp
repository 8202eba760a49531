#include "zuv/platform/text.h"

#include <array>
#include <cstdlib>
#include <limits>
#include <locale.h>
#include <optional>
#include <random>
#include <string>
#include <unicode/uloc.h>
#include <unicode/ustring.h>

#include <gtest/gtest.h>

#include "zuv/platform/linux/system_encoding.h"

namespace zuv::platform {
namespace {

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
  for (const char* bytes : kMalformed) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    EXPECT_EQ(DecodeUtf8(bytes, nullptr, 0), -1);
    char16_t room[16];  // room for any outcome takes another way through the decoder
    EXPECT_EQ(DecodeUtf8(bytes, room, 16), -1);
    std::u16string out = u"kept";
    EXPECT_FALSE(DecodeUtf8(bytes, &out));
    EXPECT_EQ(out, u"kept");
    EXPECT_EQ(CZuvPlatformString::CreateWithUtf8(bytes), nullptr);
  }
}

TEST(Utf8Decoding, RoundTripsAtEveryLengthBoundary) {
  const struct {
    std::string_view utf8;
    std::u16string_view units;
  } kCases[] = {
      {std::string_view("a\0b", 3), std::u16string_view(u"a\0b", 3)},
      {"\x7F", u"\x7F"},
      {"\xC2\x80", u"\x80"},
      {"\xDF\xBF", u"\x7FF"},
      {"\xE0\xA0\x80", u"\x800"},
      {"\xED\x9F\xBF", u"\xD7FF"},
      {"\xEE\x80\x80", u"\xE000"},
      {"\xEF\xBF\xBF", u"\xFFFF"},
      {"\xF0\x90\x80\x80", u"\U00010000"},
      {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
      {"h\xC3\xA9 \xE2\x82\xAC\xF0\x9D\x84\x9E", u"h\u00E9 \u20AC\U0001D11E"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.utf8));
    std::u16string units;
    ASSERT_TRUE(DecodeUtf8(c.utf8, &units));
    EXPECT_EQ(units, c.units);
    EXPECT_EQ(EncodeUtf8(units), c.utf8);
  }
}

// ICU's own strict decoder is the reference: both must accept and refuse the same byte strings
// and agree on the units. The bytes are drawn mostly from the edges of the valid ranges.
TEST(Utf8Decoding, AgreesWithIcuOnRandomBytes) {
  const unsigned char kEdges[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                  0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xED, 0xEE, 0xEF,
                                  0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFF};
  std::mt19937 random(20240611);
  std::uniform_int_distribution<size_t> pick(0, std::size(kEdges) - 1);
  std::uniform_int_distribution<size_t> length(1, 8);
  int accepted = 0;
  for (int round = 0; round < 100000; ++round) {
    std::string bytes(length(random), '\0');
    for (char& b : bytes) b = static_cast<char>(kEdges[pick(random)]);

    char16_t icu[16];
    int32_t icuLength = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8(icu, 16, &icuLength, bytes.data(), static_cast<int32_t>(bytes.size()), &status);
    std::u16string ours;
    const bool ok = DecodeUtf8(bytes, &ours);
    ASSERT_EQ(ok, U_SUCCESS(status)) << testing::PrintToString(bytes);
    char16_t room[16];
    ASSERT_EQ(DecodeUtf8(bytes, room, 16), ok ? icuLength : -1) << testing::PrintToString(bytes);
    if (ok) {
      ++accepted;
      ASSERT_EQ(ours, std::u16string_view(icu, static_cast<size_t>(icuLength)));
    }
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
  const struct {
    std::u16string_view units;
    std::string_view utf8;
  } kCases[] = {
      {u"\xD800", "\xEF\xBF\xBD"},
      {u"a\xDC00z", "a\xEF\xBF\xBDz"},
      {u"a\xD83D", "a\xEF\xBF\xBD"},                  // lead at the end
      {u"\xDE00\xD83D", "\xEF\xBF\xBD\xEF\xBF\xBD"},  // a pair in the wrong order
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(EncodeUtf8(c.units), c.utf8) << testing::PrintToString(c.utf8);
    EXPECT_EQ(CZuvPlatformString(std::u16string(c.units)).GetUtf8(), c.utf8);
  }
}

TEST(Utf8Encoding, MaxBytesRefusesOverflow) {
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  EXPECT_EQ(MaxUtf8Bytes(0), 0);
  EXPECT_EQ(MaxUtf8Bytes(5), 15);
  EXPECT_EQ(MaxUtf8Bytes(kMax / 3), kMax / 3 * 3);
  EXPECT_EQ(MaxUtf8Bytes(kMax / 3 + 1), -1);
  EXPECT_EQ(MaxUtf8Bytes(-1), -1);
}

TEST(PlatformString, SubstringIsClippedToTheString) {
  const CZuvPlatformString text(u"abcdef");
  const struct {
    int32_t start;
    int32_t length;
    std::u16string_view expected;
  } kCases[] = {{1, 2, u"bc"},
                {4, 10, u"ef"},
                {-2, 4, u"ab"},
                {6, 1, u""},
                {9, 1, u""},
                {2, -1, u""},
                {1, std::numeric_limits<int32_t>::max(), u"bcdef"}};
  for (const auto& c : kCases) {
    EXPECT_EQ(text.CreateSubstring(c.start, c.length)->Units(), c.expected)
        << c.start << ", " << c.length;
  }
}

TEST(UnitComparison, OrdersByFoldedCodeUnits) {
  const struct {
    std::u16string_view a;
    std::u16string_view b;
    bool ignoreCase;
    int expected;
  } kCases[] = {
      {u"ABC", u"abc", true, 0},
      {u"ABC", u"abc", false, -1},
      {u"\u00C9t\u00C9", u"\u00E9t\u00E9", true, 0},
      {u"\u212A", u"k", true, 0},             // Kelvin sign folds to k
      {u"stra\u00DFe", u"strasse", true, 1},  // simple folding keeps ß
      {u"ab", u"abc", true, -1},
      {u"abd", u"abc", false, 1},
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
    std::u16string_view text;
    std::u16string_view find;
    bool ignoreCase;
    int32_t forwards;
    int32_t backwards;
  } kCases[] = {
      {u"a/b/c", u"/", false, 1, 3},
      {u"xABcabcAb", u"abc", false, 4, 4},
      {u"xABcabcAb", u"abc", true, 1, 4},
      {u"xABcabcAb", u"AB", true, 1, 7},
      {u"caf\u00C9 CAF\u00E9", u"caf\u00E9", true, 0, 5},
      {u"aaa", u"aa", false, 0, 1},
      {u"abc", u"abc", false, 0, 0},
      {u"abc", u"abcd", false, -1, -1},
      {u"abc", u"", false, -1, -1},
      {u"abc", u"x", true, -1, -1},
      {u"", u"a", true, -1, -1},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(c.find)));
    EXPECT_EQ(FindUnits(c.text, c.find, c.ignoreCase, false), c.forwards);
    EXPECT_EQ(FindUnits(c.text, c.find, c.ignoreCase, true), c.backwards);
  }
}

// The mapping must not follow ICU's default locale, which comes from the user's environment.
TEST(CaseMapping, UsesRootLocaleWhateverTheDefault) {
  const std::string saved = uloc_getDefault();
  UErrorCode status = U_ZERO_ERROR;
  uloc_setDefault("tr_TR", &status);
  const struct {
    std::u16string (*map)(std::u16string_view);
    std::u16string_view text;
    std::u16string_view expected;
  } kCases[] = {
      {ToUpperCase, u"stra\u00DFe", u"STRASSE"},
      {ToUpperCase, u"\uFB01le", u"FILE"},
      {ToUpperCase, u"i", u"I"},
      {ToLowerCase, u"I", u"i"},
      {ToLowerCase, u"\u0130", u"i\u0307"},
      {ToLowerCase, u"\u03A3\u0391\u03A3", u"\u03C3\u03B1\u03C2"},  // final sigma
      {ToLowerCase, u"A\xD800", u"a\xD800"},
      {ToUpperCase, u"", u""},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(c.map(c.text), c.expected) << testing::PrintToString(std::u16string(c.text));
  }
  uloc_setDefault(saved.c_str(), &status);
}

// Sets LC_ALL, LC_CTYPE and LANG (null: unset) for its lifetime.
class ScopedLocaleEnvironment {
 public:
  explicit ScopedLocaleEnvironment(std::array<const char*, 3> values) {
    for (size_t i = 0; i < kNames.size(); ++i) {
      if (const char* old = std::getenv(kNames[i])) m_saved[i] = old;
      Assign(kNames[i], values[i]);
    }
  }
  ~ScopedLocaleEnvironment() {
    for (size_t i = 0; i < kNames.size(); ++i) {
      Assign(kNames[i], m_saved[i] ? m_saved[i]->c_str() : nullptr);
    }
  }
  ScopedLocaleEnvironment(const ScopedLocaleEnvironment&) = delete;
  ScopedLocaleEnvironment& operator=(const ScopedLocaleEnvironment&) = delete;

 private:
  static constexpr std::array<const char*, 3> kNames = {"LC_ALL", "LC_CTYPE", "LANG"};
  static void Assign(const char* name, const char* value) {
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
  }
  std::optional<std::string> m_saved[3];
};

bool LocaleInstalled(const char* name) {
  locale_t locale = newlocale(LC_CTYPE_MASK, name, static_cast<locale_t>(nullptr));
  if (locale == static_cast<locale_t>(nullptr)) return false;
  freelocale(locale);
  return true;
}

TEST(SystemEncodingDetection, FollowsTheFirstLocaleVariableSet) {
  if (!LocaleInstalled("en_US.ISO-8859-1") || !LocaleInstalled("ja_JP.EUC-JP")) {
    GTEST_SKIP() << "needs the locales en_US.ISO-8859-1 and ja_JP.EUC-JP (localedef)";
  }
  const char* const kLatin1 = "en_US.ISO-8859-1";
  const struct {
    const char* all;
    const char* ctype;
    const char* lang;
    const char* expected;
  } kCases[] = {
      {nullptr, nullptr, nullptr, "UTF-8"},
      {nullptr, nullptr, "ja_JP.EUC-JP", "EUC-JP"},
      {nullptr, kLatin1, "ja_JP.EUC-JP", "ISO-8859-1"},
      {kLatin1, "ja_JP.EUC-JP", "C.UTF-8", "ISO-8859-1"},
      {"", "", kLatin1, "ISO-8859-1"},  // empty means unset
      {"C", kLatin1, kLatin1, "UTF-8"},
      {"POSIX", kLatin1, kLatin1, "UTF-8"},
      {"C.UTF-8", kLatin1, nullptr, "UTF-8"},
      {"xx_XX.NOT-INSTALLED", kLatin1, nullptr, "UTF-8"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::Message() << (c.all ? c.all : "-") << " " << (c.ctype ? c.ctype : "-")
                                    << " " << (c.lang ? c.lang : "-"));
    ScopedLocaleEnvironment environment({c.all, c.ctype, c.lang});
    EXPECT_EQ(detail::FindSystemEncodingName(), c.expected);
  }
  EXPECT_STREQ(setlocale(LC_ALL, nullptr), "C");
}

// The rest of the suite runs under UTF-8; the legacy encodings are covered by the locale tests.
class Utf8SystemEncoding : public testing::Test {
 protected:
  void SetUp() override {
    if (!SystemEncodingIsUtf8()) GTEST_SKIP() << "runs under " << SystemEncodingName();
  }
};

TEST_F(Utf8SystemEncoding, RefusesWhatUtf8CannotHold) {
  std::string bytes = "kept";
  EXPECT_FALSE(EncodeSystem(u"a\xD800", &bytes));
  EXPECT_EQ(bytes, "kept");
  std::u16string units = u"kept";
  EXPECT_FALSE(DecodeSystem("\xED\xA0\x80", &units));
  EXPECT_EQ(units, u"kept");
  EXPECT_EQ(MaxSystemBytes(4), 12);
}

TEST_F(Utf8SystemEncoding, LossByteConversionKeepsWholeCharacters) {
  const struct {
    std::u16string_view units;
    int32_t capacity;
    char lossByte;
    std::string_view expected;
  } kCases[] = {
      {u"a\u20ACb", 10, '?',
       "a\xE2\x82\xAC"
       "b"},
      {u"a\u20ACb", 3, '?', "a"},  // the euro sign does not fit whole
      {u"a\xD800"
       "b",
       10, '?', "a?b"},
      {u"a\xDC00\xD800"
       "b",
       10, '?', "a??b"},
      {u"a\xD800"
       "b",
       10, '\0', "a"},
      {u"\U0001F600!", 4, '?', "\xF0\x9F\x98\x80"},
      {u"\U0001F600", 3, '?', ""},
      {u"abc", 0, '?', ""},
      {u"abc", -1, '?', ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(std::string(c.expected)));
    char dest[16] = {};
    const int32_t written = EncodeSystemWithLossByte(c.units, dest, c.capacity, c.lossByte);
    EXPECT_EQ(std::string_view(dest, static_cast<size_t>(written)), c.expected);
  }
}

}  // namespace
}  // namespace zuv::platform
