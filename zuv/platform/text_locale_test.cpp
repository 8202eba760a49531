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

class SystemEncodingTest : public testing::Test {
 protected:
  explicit SystemEncodingTest(std::string_view encoding) : m_encoding(encoding) {}
  void SetUp() override {
    if (SystemEncodingName() != m_encoding) {
      GTEST_SKIP() << "needs the system encoding " << m_encoding << " (LC_ALL of a locale that has "
                   << "it, installed with localedef); this process runs under "
                   << SystemEncodingName();
    }
  }

 private:
  std::string_view m_encoding;
};

class Latin1Encoding : public SystemEncodingTest {
 protected:
  Latin1Encoding() : SystemEncodingTest("ISO-8859-1") {}
};

class EucJpEncoding : public SystemEncodingTest {
 protected:
  EucJpEncoding() : SystemEncodingTest("EUC-JP") {}
};

class Utf8Encoding : public SystemEncodingTest {
 protected:
  Utf8Encoding() : SystemEncodingTest("UTF-8") {}
};

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
        << testing::PrintToString(std::string(c.expected));
  }
}

// The process locale stays "C" (the test runner never calls setlocale) while the system encoding
// follows LC_ALL.
TEST(AnyEncoding, DetectionLeavesTheProcessLocaleAlone) {
  EXPECT_NE(SystemEncodingName(), nullptr);
  EXPECT_STREQ(setlocale(LC_ALL, nullptr), "C");
}

TEST_F(Latin1Encoding, ConvertsOneBytePerCharacter) {
  std::string bytes;
  ASSERT_TRUE(EncodeSystem(u"caf\u00E9", &bytes));
  EXPECT_EQ(bytes, "caf\xE9");
  std::u16string units;
  ASSERT_TRUE(DecodeSystem("\xE9\xFF\x80", &units));
  EXPECT_EQ(units, u"\u00E9\u00FF\u0080");
  EXPECT_EQ(CZuvPlatformString::CreateWithSystemEncoding("caf\xE9")->Units(), u"caf\u00E9");
  EXPECT_EQ(MaxSystemBytes(4), 4);
}

TEST_F(Latin1Encoding, RefusesOrReplacesWhatItCannotHold) {
  std::string bytes = "kept";
  EXPECT_FALSE(EncodeSystem(u"\u20AC", &bytes));
  EXPECT_EQ(bytes, "kept");
  ExpectLossConversions({
      {u"a\u20AC\u00E9", 10, '?', "a?\xE9"},
      {u"a\u20AC\u00E9", 10, '\0', "a"},
      {u"\U0001F600\u00E9", 10, '?', "?\xE9"},  // one loss byte for a surrogate pair
      {u"\u00E9\u00E9", 1, '?', "\xE9"},
  });
}

TEST_F(EucJpEncoding, ConvertsMultiByteCharacters) {
  std::string bytes;
  ASSERT_TRUE(EncodeSystem(u"a\u65E5\u00E9", &bytes));
  EXPECT_EQ(bytes, "a\xC6\xFC\x8F\xAB\xB1");  // 1, 2 and 3 bytes
  std::u16string units;
  ASSERT_TRUE(DecodeSystem(bytes, &units));
  EXPECT_EQ(units, u"a\u65E5\u00E9");
  EXPECT_EQ(MaxSystemBytes(2), 6);
}

TEST_F(EucJpEncoding, RefusesInvalidBytes) {
  const char* const kInvalid[] = {
      "\xC6",       // lead byte at the end
      "a\xC6\x41",  // lead byte without a trail byte
      "\x8E",       // single shift at the end
      "\xA9\xA1",   // unassigned row
      "\xFF\xFF",
  };
  for (const char* bytes : kInvalid) {
    std::u16string units = u"kept";
    EXPECT_FALSE(DecodeSystem(bytes, &units)) << testing::PrintToString(bytes);
    EXPECT_EQ(units, u"kept");
    EXPECT_EQ(CZuvPlatformString::CreateWithSystemEncoding(bytes), nullptr);
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
        if (!DecodeSystem("\xC6\xFC\xCB\xDC", &units) || units != u"\u65E5\u672C" ||
            !EncodeSystem(units, &bytes) || bytes != "\xC6\xFC\xCB\xDC") {
          ++failed;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

TEST_F(Utf8Encoding, ConvertsWithoutLossOrMalformedBytes) {
  EXPECT_TRUE(SystemEncodingIsUtf8());
  std::u16string units;
  ASSERT_TRUE(DecodeSystem("\xE6\x97\xA5\xC3\xA9", &units));
  EXPECT_EQ(units, u"\u65E5\u00E9");
  EXPECT_FALSE(DecodeSystem("\xC3", &units));
  std::string bytes;
  EXPECT_FALSE(EncodeSystem(u"\xDC00", &bytes));
  ExpectLossConversions({{u"\u65E5\u20AC", 5, '?', "\xE6\x97\xA5"}});
}

}  // namespace
}  // namespace zuv::platform
