// Conversions in the system encoding, run once per legacy locale (LC_ALL is set by the test
// runner). Each suite needs one encoding and skips under the others.
#include <locale.h>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/text.h"

namespace zuv::platform {
namespace {

#define SKIP_UNLESS_ENCODING(encoding)                    \
  if (std::string_view(SystemEncodingName()) != encoding) \
  GTEST_SKIP() << "needs LC_ALL of a locale with the encoding " << encoding

// Rows of units, capacity, loss byte and the bytes written: an unmappable character (a pair
// counts as one) costs one loss byte, or ends the text when that byte is 0, and a character that
// does not fit whole is left out whole.
using LossCase = std::tuple<std::u16string_view, int32_t, char, std::string_view>;
void ExpectLossConversions(std::initializer_list<LossCase> cases) {
  for (const auto& [units, capacity, lossByte, expected] : cases) {
    char dest[16] = {};
    const int32_t written = EncodeSystemWithLossByte(units, dest, capacity, lossByte);
    EXPECT_EQ(std::string_view(dest, written), expected) << testing::PrintToString(expected);
  }
}

TEST(Latin1Encoding, ConvertsOneBytePerCharacterAndReplacesTheRest) {
  SKIP_UNLESS_ENCODING("ISO-8859-1");
  EXPECT_STREQ(setlocale(LC_ALL, nullptr), "C");  // the test runner never calls setlocale
  std::string bytes = "kept";
  EXPECT_FALSE(EncodeSystem(u"\u20AC", &bytes));
  EXPECT_EQ(bytes, "kept");
  std::u16string units;
  ASSERT_TRUE(DecodeSystem("\xE9\xFF\x80", &units));
  EXPECT_EQ(units, u"\u00E9\u00FF\u0080");
  EXPECT_EQ(CZuvPlatformString::CreateWithSystemEncoding("caf\xE9")->Units(), u"caf\u00E9");
  EXPECT_EQ(MaxSystemBytes(4), 4);
  ExpectLossConversions({{u"a\u20AC\u00E9", 10, '?', "a?\xE9"},
                         {u"a\u20AC\u00E9", 10, '\0', "a"},
                         {u"\U0001F600\u00E9", 10, '?', "?\xE9"},
                         {u"\u00E9\u00E9", 1, '?', "\xE9"}});
}

// A lead byte at the end or without a trail byte, a single shift at the end, an unassigned row are
// refused. Each thread converts with its own converter, so conversions at once stay exact.
TEST(EucJpEncoding, ConvertsMultiByteCharactersOnSeveralThreads) {
  SKIP_UNLESS_ENCODING("EUC-JP");
  std::string bytes;
  ASSERT_TRUE(EncodeSystem(u"a\u65E5\u00E9", &bytes));
  EXPECT_EQ(bytes, "a\xC6\xFC\x8F\xAB\xB1");  // 1, 2 and 3 bytes
  std::u16string units;
  ASSERT_TRUE(DecodeSystem(bytes, &units));
  EXPECT_EQ(units, u"a\u65E5\u00E9");
  EXPECT_EQ(MaxSystemBytes(2), 6);
  for (const char* invalid : {"\xC6", "a\xC6\x41", "\x8E", "\xA9\xA1"}) {
    std::u16string kept = u"kept";
    EXPECT_FALSE(DecodeSystem(invalid, &kept)) << testing::PrintToString(invalid);
    EXPECT_EQ(kept, u"kept");
    EXPECT_EQ(CZuvPlatformString::CreateWithSystemEncoding(invalid), nullptr);
  }
  ExpectLossConversions({{u"a\u65E5", 3, '?', "a\xC6\xFC"},
                         {u"a\u65E5", 2, '?', "a"},
                         {u"\uD55Cb", 10, '?', "?b"},  // Hangul is not in EUC-JP
                         {u"\uD55Cb", 10, '\0', ""}});
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int& failed : failures) {
    threads.emplace_back([&failed] {
      for (int i = 0; i < 2000; ++i) {
        std::u16string decoded;
        std::string encoded;
        failed += !DecodeSystem("\xC6\xFC\xCB\xDC", &decoded) || decoded != u"\u65E5\u672C" ||
                  !EncodeSystem(decoded, &encoded) || encoded != "\xC6\xFC\xCB\xDC";
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

TEST(Utf8Encoding, ConvertsWithoutLossAndRefusesWhatUtf8CannotHold) {
  SKIP_UNLESS_ENCODING("UTF-8");
  EXPECT_TRUE(SystemEncodingIsUtf8());
  std::u16string units = u"kept";
  EXPECT_FALSE(DecodeSystem("\xED\xA0\x80", &units));
  EXPECT_EQ(units, u"kept");
  std::string bytes = "kept";
  EXPECT_FALSE(EncodeSystem(u"a\xD800", &bytes));
  EXPECT_EQ(bytes, "kept");
  EXPECT_EQ(MaxSystemBytes(4), 12);
  ExpectLossConversions({{u"a\u20ACz", 3, '?', "a"},
                         {u"a\xDC00\xD800z", 10, '?', "a??z"},
                         {u"a\xD800z", 10, '\0', "a"},
                         {u"\U0001F600!", 4, '?', "\xF0\x9F\x98\x80"},
                         {u"abc", -1, '?', ""}});
}

}  // namespace
}  // namespace zuv::platform
