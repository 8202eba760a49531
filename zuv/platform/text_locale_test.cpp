// Run once per legacy locale: the test runner sets LC_ALL and never calls setlocale.
#include <algorithm>
#include <locale.h>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/text.h"

namespace zuv::platform {
namespace {

// Units, capacity, loss byte, bytes written. An unmappable character (a pair is one) costs a loss
// byte, or ends the text when it is 0; one that does not fit whole is left out whole.
using LossCase = std::tuple<std::u16string_view, int32_t, char, std::string_view>;

// EUC-JP refuses a lead at the end or without a trail, a single shift at the end, an unused row.
const struct Encoding {
  std::string_view name;
  std::u16string_view units;
  std::string_view bytes;
  std::vector<std::string_view> refused;
  std::u16string_view unencodable;
  int32_t maxBytesForTwo;
  std::vector<LossCase> losses;
} kEncodings[] = {
    // clang-format off
    {"ISO-8859-1", u"caf\u00E9\u00FF\u0080", "caf\xE9\xFF\x80", {}, u"\u20AC", 2,
     {{u"a\u20AC\u00E9", 10, '?', "a?\xE9"}, {u"a\u20AC\u00E9", 10, '\0', "a"},
      {u"\U0001F600\u00E9", 10, '?', "?\xE9"}, {u"\u00E9\u00E9", 1, '?', "\xE9"}}},
    // 1, 2 and 3 bytes; Hangul is not in EUC-JP
    {"EUC-JP", u"a\u65E5\u00E9", "a\xC6\xFC\x8F\xAB\xB1", {"\xC6", "a\xC6\x41", "\x8E", "\xA9\xA1"},
     u"\uD55C", 6, {{u"a\u65E5", 3, '?', "a\xC6\xFC"}, {u"a\u65E5", 2, '?', "a"},
      {u"\uD55Cb", 10, '?', "?b"}, {u"\uD55Cb", 10, '\0', ""}}},
    {"UTF-8", u"a\u20AC\U0001F600", "a\xE2\x82\xAC\xF0\x9F\x98\x80", {"\xED\xA0\x80"}, u"a\xD800",
     6, {{u"a\u20ACz", 3, '?', "a"}, {u"a\xDC00\xD800z", 10, '?', "a??z"},
      {u"a\xD800z", 10, '\0', "a"}, {u"\U0001F600!", 4, '?', "\xF0\x9F\x98\x80"},
      {u"abc", -1, '?', ""}}},
    // clang-format on
};

// Each thread converts with its own converter, so that conversions at once stay exact.
TEST(AnyEncoding, ConvertsAsTheEncodingDefinesOnSeveralThreads) {
  const std::string_view name = SystemEncodingName();
  const auto* e = std::find_if(std::begin(kEncodings), std::end(kEncodings),
                               [&](const Encoding& each) { return each.name == name; });
  ASSERT_NE(e, std::end(kEncodings)) << name;
  EXPECT_STREQ(setlocale(LC_ALL, nullptr), "C");
  EXPECT_EQ(SystemEncodingIsUtf8(), name == "UTF-8");
  EXPECT_EQ(CZuvPlatformString::CreateWithSystemEncoding(std::string(e->bytes).c_str())->Units(),
            e->units);
  std::string bytes = "kept";
  EXPECT_FALSE(EncodeSystem(e->unencodable, &bytes));
  EXPECT_EQ(bytes, "kept");
  for (const std::string_view refused : e->refused) {
    std::u16string kept = u"kept";
    EXPECT_FALSE(DecodeSystem(refused, &kept)) << testing::PrintToString(refused);
    EXPECT_EQ(kept, u"kept");
    EXPECT_EQ(CZuvPlatformString::CreateWithSystemEncoding(std::string(refused).c_str()), nullptr);
  }
  EXPECT_EQ(MaxSystemBytes(2), e->maxBytesForTwo);
  for (const auto& [units, capacity, lossByte, expected] : e->losses) {
    char dest[16] = {};
    const int32_t written = EncodeSystemWithLossByte(units, dest, capacity, lossByte);
    EXPECT_EQ(std::string_view(dest, written), expected) << testing::PrintToString(expected);
  }
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int& failed : failures) {
    threads.emplace_back([&failed, e] {
      for (int i = 0; i < 2000; ++i) {
        std::u16string units;
        std::string encoded;
        failed += !DecodeSystem(e->bytes, &units) || units != e->units ||
                  !EncodeSystem(units, &encoded) || encoded != e->bytes;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace zuv::platform
