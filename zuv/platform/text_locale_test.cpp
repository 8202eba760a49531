// Conversions in the system encoding, run once per legacy locale (LC_ALL is set by the test
// runner). Each suite needs one encoding and skips under the others.
#include <locale.h>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/text.h"

namespace zuv::platform {
namespace {

// Runs only where the system encoding is `kEncoding`.
template <const char* kEncoding>
class SystemEncodingTest : public testing::Test {
 protected:
  void SetUp() override {
    if (std::string_view(SystemEncodingName()) != kEncoding) {
      GTEST_SKIP() << "needs the system encoding " << kEncoding << " (LC_ALL of a locale that has "
                   << "it, installed with localedef); this process runs under "
                   << SystemEncodingName();
    }
  }
};

constexpr char kLatin1[] = "ISO-8859-1";
constexpr char kEucJp[] = "EUC-JP";
constexpr char kUtf8[] = "UTF-8";
using Latin1Encoding = SystemEncodingTest<kLatin1>;
using EucJpEncoding = SystemEncodingTest<kEucJp>;
using Utf8Encoding = SystemEncodingTest<kUtf8>;

struct LossCase {
  std::u16string_view units;
  int32_t capacity;
  char lossByte;
  std::string_view expected;
};

void ExpectLossConversions(std::initializer_list<LossCase> cases) {
  for (const LossCase& c : cases) {
    char dest[16] = {};
    const int32_t written = EncodeSystemWithLossByte(c.units, dest, c.capacity, c.lossByte);
    EXPECT_EQ(std::string_view(dest, static_cast<size_t>(written)), c.expected)
        << testing::PrintToString(std::string(c.expected)) << " in " << c.capacity;
  }
}

// The process locale stays "C" (the test runner never calls setlocale) while the system encoding
// follows LC_ALL.
TEST(AnyEncoding, DetectionLeavesTheProcessLocaleAlone) {
  EXPECT_NE(SystemEncodingName(), nullptr);
  EXPECT_STREQ(setlocale(LC_ALL, nullptr), "C");
}

TEST_F(Latin1Encoding, ConvertsOneBytePerCharacterAndReplacesTheRest) {
  std::string bytes = "kept";
  EXPECT_FALSE(EncodeSystem(u"\u20AC", &bytes));
  EXPECT_EQ(bytes, "kept");
  ASSERT_TRUE(EncodeSystem(u"caf\u00E9", &bytes));
  EXPECT_EQ(bytes, "caf\xE9");
  std::u16string units;
  ASSERT_TRUE(DecodeSystem("\xE9\xFF\x80", &units));
  EXPECT_EQ(units, u"\u00E9\u00FF\u0080");
  EXPECT_EQ(CZuvPlatformString::CreateWithSystemEncoding("caf\xE9")->Units(), u"caf\u00E9");
  EXPECT_EQ(MaxSystemBytes(4), 4);
  ExpectLossConversions({
      {u"a\u20AC\u00E9", 10, '?', "a?\xE9"},
      {u"a\u20AC\u00E9", 10, '\0', "a"},
      {u"\U0001F600\u00E9", 10, '?', "?\xE9"},  // one loss byte for a surrogate pair
      {u"\u00E9\u00E9", 1, '?', "\xE9"},
  });
}

TEST_F(EucJpEncoding, ConvertsMultiByteCharactersAndRefusesInvalidBytes) {
  std::string bytes;
  ASSERT_TRUE(EncodeSystem(u"a\u65E5\u00E9", &bytes));
  EXPECT_EQ(bytes, "a\xC6\xFC\x8F\xAB\xB1");  // 1, 2 and 3 bytes
  std::u16string units;
  ASSERT_TRUE(DecodeSystem(bytes, &units));
  EXPECT_EQ(units, u"a\u65E5\u00E9");
  EXPECT_EQ(MaxSystemBytes(2), 6);

  // A lead byte at the end or without a trail byte, a single shift at the end, an unassigned row.
  for (const char* invalid : {"\xC6", "a\xC6\x41", "\x8E", "\xA9\xA1", "\xFF\xFF"}) {
    std::u16string kept = u"kept";
    EXPECT_FALSE(DecodeSystem(invalid, &kept)) << testing::PrintToString(invalid);
    EXPECT_EQ(kept, u"kept");
    EXPECT_EQ(CZuvPlatformString::CreateWithSystemEncoding(invalid), nullptr);
  }
}

TEST_F(EucJpEncoding, LossByteConversionNeverSplitsACharacter) {
  ExpectLossConversions({
      {u"a\u65E5", 3, '?', "a\xC6\xFC"},
      {u"a\u65E5", 2, '?', "a"},
      {u"\u00E9", 2, '?', ""},
      {u"\uD55Cb", 10, '?', "?b"},  // Hangul is not in EUC-JP
      {u"\uD55Cb", 10, '\0', ""},
  });
}

// Each thread converts with its own converter, so conversions at the same time stay exact.
TEST_F(EucJpEncoding, ConvertsOnSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int& failed : failures) {
    threads.emplace_back([&failed] {
      for (int i = 0; i < 2000; ++i) {
        std::u16string units;
        std::string bytes;
        failed += !DecodeSystem("\xC6\xFC\xCB\xDC", &units) || units != u"\u65E5\u672C" ||
                  !EncodeSystem(units, &bytes) || bytes != "\xC6\xFC\xCB\xDC";
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

TEST_F(Utf8Encoding, ConvertsWithoutLossAndRefusesWhatUtf8CannotHold) {
  EXPECT_TRUE(SystemEncodingIsUtf8());
  std::u16string units = u"kept";
  EXPECT_FALSE(DecodeSystem("\xED\xA0\x80", &units));
  EXPECT_EQ(units, u"kept");
  ASSERT_TRUE(DecodeSystem("\xE6\x97\xA5\xC3\xA9", &units));
  EXPECT_EQ(units, u"\u65E5\u00E9");
  std::string bytes = "kept";
  EXPECT_FALSE(EncodeSystem(u"a\xD800", &bytes));
  EXPECT_EQ(bytes, "kept");
  EXPECT_EQ(MaxSystemBytes(4), 12);
  ExpectLossConversions({
      {u"a\u20ACz", 10, '?', "a\xE2\x82\xACz"},
      {u"a\u20ACz", 3, '?', "a"},  // the euro sign does not fit whole
      {u"a\xDC00\xD800z", 10, '?', "a??z"},
      {u"a\xD800z", 10, '\0', "a"},
      {u"\U0001F600!", 4, '?', "\xF0\x9F\x98\x80"},
      {u"\U0001F600", 3, '?', ""},
      {u"abc", 0, '?', ""},
      {u"abc", -1, '?', ""},
  });
}

}  // namespace
}  // namespace zuv::platform
