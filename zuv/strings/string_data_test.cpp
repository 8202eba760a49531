#include "zuv/strings/string_data.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/text.h"

namespace {

const unsigned short* Units(const char16_t* text) {
  return reinterpret_cast<const unsigned short*>(text);
}

std::u16string UnitsOf(const unsigned short* units) {
  return units != nullptr ? std::u16string(reinterpret_cast<const char16_t*>(units)) : u"<null>";
}

// Forms are made when first asked for and kept; lengths alone make none.
TEST(StringDataTest, FormsAreProducedOnDemandAndKept) {
  CZuvStringData empty;
  EXPECT_EQ(0u, empty.GetLengthByteUtf8());
  EXPECT_FALSE(empty.HasValueUtf8());
  EXPECT_STREQ("", empty.GetPtrUtf8());
  EXPECT_TRUE(empty.HasValueUtf8());
  for (const ZuvResult result :
       {empty.InitWithUtf8(nullptr), empty.InitWithUnicode(nullptr),
        empty.InitWithSystemEncoding(nullptr), empty.InitWithCFString(nullptr)}) {
    EXPECT_EQ(kZuvErrFailed, result);
  }
  EXPECT_TRUE(empty.IsEmpty());

  CZuvStringData s(ZuvCharUtf8("abc"));
  EXPECT_FALSE(s.HasValueUnicode());
  const unsigned short* units = s.GetPtrUnicode();
  EXPECT_EQ(u"abc", UnitsOf(units));
  EXPECT_FALSE(s.HasValueSystemEncoding());
  EXPECT_EQ(units, s.GetPtrUnicode());  // produced once, then the same buffer

  // From UTF-16 to the system encoding the UTF-8 form made on the way is kept.
  CZuvStringData u(ZuvCharUnicode(Units(u"x\u00e9")));
  EXPECT_NE(nullptr, u.GetPtrSystemEncoding());
  EXPECT_TRUE(u.HasValueUtf8());
  EXPECT_STREQ("x\xc3\xa9", u.GetPtrUtf8());
}

// A text is empty when its primary form has no characters. This process runs under a UTF-8
// locale or the C locale, where the system encoding refuses 0xFF.
TEST(StringDataTest, LengthsAndEmptinessCountThePrimaryForm) {
  ASSERT_TRUE(zuv::platform::SystemEncodingIsUtf8());
  struct Case {
    const char* name;
    CZuvStringData value;
    unsigned long chars, utf8Bytes, unicodeBytes;
  };
  const Case cases[] = {
      {"utf8 e-acute", CZuvStringData(ZuvCharUtf8("\xc3\xa9")), 1, 2, 2},
      {"utf8 non-BMP", CZuvStringData(ZuvCharUtf8("\xf0\x9d\x84\x9e")), 1, 4, 4},
      {"unicode surrogate pair", CZuvStringData(ZuvCharUnicode(Units(u"\U0001D11E"))), 2, 4, 4},
      {"unicode ascii", CZuvStringData(ZuvCharUnicode(Units(u"abcd"))), 4, 4, 8},
      // Continuation bytes do not count as characters; such text is not UTF-8, so its other
      // forms are empty.
      {"utf8 malformed", CZuvStringData(ZuvCharUtf8("a\xc3\xa9\x80")), 2, 4, 0},
      {"system ascii", CZuvStringData(ZuvCharSystem("hello")), 5, 5, 10},
      {"system non-BMP", CZuvStringData(ZuvCharSystem("\xf0\x9f\x8e\xb5")), 2, 4, 4},
      {"utf8 empty", CZuvStringData(ZuvCharUtf8("")), 0, 0, 0},
      {"unicode empty", CZuvStringData(ZuvCharUnicode(Units(u""))), 0, 0, 0},
      {"system empty", CZuvStringData(ZuvCharSystem("")), 0, 0, 0},
      {"system refused", CZuvStringData(ZuvCharSystem("\xff\xfe")), 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.chars, c.value.GetLengthChar());
    EXPECT_EQ(c.utf8Bytes, c.value.GetLengthByteUtf8());
    EXPECT_EQ(c.unicodeBytes, c.value.GetLengthByteUnicode());
    EXPECT_EQ(c.chars == 0, c.value.IsEmpty());
  }
  CZuvStringData refused(ZuvCharSystem("\xff\xfe"));
  EXPECT_STREQ("", refused.GetPtrUtf8());
  EXPECT_STREQ("\xff\xfe", refused.GetPtrSystemEncoding());
}

TEST(StringDataTest, CopiesShareOneValueAndSurviveEachOthersClear) {
  CZuvStringData a(ZuvCharUtf8("shared"));
  const char* text = a.GetPtrUtf8();
  {
    CZuvStringData b(a);
    CZuvStringData c;
    c = b;
    EXPECT_EQ(text, b.GetPtrUtf8());  // the same buffer: no text was copied
    EXPECT_EQ(text, c.GetPtrUtf8());
    const unsigned short* units = c.GetPtrUnicode();
    EXPECT_TRUE(a.HasValueUnicode());  // a form produced through one sharer serves all
    EXPECT_EQ(units, a.GetPtrUnicode());
    a.Clear();
    EXPECT_TRUE(a.IsEmpty());
    EXPECT_STREQ("shared", b.GetPtrUtf8());
    b = b;  // self-assignment changes nothing
    EXPECT_STREQ("shared", b.GetPtrUtf8());
    b = CZuvStringData(ZuvCharUtf8("other"));
    EXPECT_STREQ("shared", c.GetPtrUtf8());
    EXPECT_STREQ("other", b.GetPtrUtf8());
  }
  // Copies of a string without value have no value either.
  CZuvStringData none;
  CZuvStringData copy(none);
  EXPECT_FALSE(copy.HasValueUtf8());
  EXPECT_EQ(0u, copy.GetLengthByteUtf8());
}

TEST(StringDataTest, SharersLeaveInAnyOrder) {
  // Every order in which four sharers can leave; the address sanitizer catches a double free or a
  // leak, and the remaining sharers must still read the text.
  int order[4] = {0, 1, 2, 3};
  do {
    std::vector<std::unique_ptr<CZuvStringData>> sharers;
    sharers.push_back(std::make_unique<CZuvStringData>(ZuvCharUtf8("text")));
    sharers.push_back(std::make_unique<CZuvStringData>(*sharers[0]));
    sharers.push_back(std::make_unique<CZuvStringData>(*sharers[0]));  // inserted behind [0]
    sharers.push_back(std::make_unique<CZuvStringData>(*sharers[1]));
    for (int i : order) {
      sharers[i].reset();
      for (const auto& rest : sharers) {
        if (rest) {
          EXPECT_STREQ("text", rest->GetPtrUtf8());
        }
      }
    }
  } while (std::next_permutation(order, order + 4));
}

TEST(StringDataTest, InitLeavesTheOldValueForOtherSharers) {
  CZuvStringData a(ZuvCharUtf8("first"));
  CZuvStringData b(a);
  EXPECT_EQ(kZuvSuccess, b.InitWithChar(ZuvCharPlatform("second")));
  EXPECT_STREQ("first", a.GetPtrUtf8());
  EXPECT_STREQ("second", b.GetPtrUtf8());
  EXPECT_EQ(kZuvSuccess, b.InitWithChar(ZuvCharUnicode(Units(u"third"))));
  EXPECT_STREQ("third", b.GetPtrUtf8());
  EXPECT_EQ(kZuvSuccess, b.InitWithChar(ZuvCharSystem("fourth")));
  EXPECT_STREQ("fourth", b.GetPtrUtf8());

  // A value itself keeps its first initialisation.
  CZuvStringData::CZuvStringValue value;
  EXPECT_EQ(kZuvSuccess, value.InitWithUtf8("one"));
  EXPECT_EQ(kZuvSuccess, value.InitWithUtf8("two"));
  EXPECT_EQ(kZuvSuccess, value.InitWithUnicode(Units(u"three")));
  EXPECT_STREQ("one", value.GetPtrUtf8());
  EXPECT_FALSE(value.HasValueUnicode());
}

TEST(StringDataTest, PlatformStringRoundTrip) {
  CZuvStringData s(ZuvCharUtf8("caf\xc3\xa9 \xf0\x9f\x8e\xb5"));
  std::unique_ptr<CZuvPlatformString> platform = s.CreateCopyCFString();
  EXPECT_EQ(u"caf\u00e9 \U0001F3B5", platform->Units());
  CZuvStringData back;
  EXPECT_EQ(kZuvSuccess, back.InitWithCFString(platform.get()));
  EXPECT_STREQ(s.GetPtrUtf8(), back.GetPtrUtf8());
  // Text that is not UTF-8 gives an empty platform string, never null.
  EXPECT_EQ(0, CZuvStringData(ZuvCharUtf8("\xc0\xaf")).CreateCopyCFString()->GetLength());

  EXPECT_EQ(nullptr, ZuvString::CreateCopyCString(nullptr));
  EXPECT_EQ(0u, ZuvString::GetLengthCharUnicode(nullptr));
  char* utf8 = ZuvString::CreateConvertStringUnicodeToUtf8(nullptr);  // an empty text, not null
  EXPECT_STREQ("", utf8);
  std::free(utf8);
}

// Distinct objects that share one value, used from several threads at once: copying, assigning,
// clearing and reading every form, with each fresh value's forms first produced in a race. Under
// the thread sanitizer this shows the sharer list and the production of forms are race-free; under
// the address sanitizer, that nothing leaks or is freed twice.
TEST(StringDataStressTest, SharersOnManyThreads) {
  constexpr int kThreads = 4;
  constexpr int kValues = 40;
  constexpr int kRounds = 500;
  const std::u16string expected = u"Gr\u00fc\u00dfe \u65e5\u672c \U0001F3B5";

  for (int v = 0; v < kValues; ++v) {
    CZuvStringData origin(
        ZuvCharUtf8("Gr\xc3\xbc\xc3\x9f"
                    "e \xe6\x97\xa5\xe6\x9c\xac \xf0\x9f\x8e\xb5"));
    std::latch start(kThreads);
    std::vector<int> failures(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      CZuvStringData seed(origin);  // each thread starts from a sharer of its own
      threads.emplace_back([seed, t, &start, &failures, &expected]() {
        std::vector<CZuvStringData> mine(6, seed);
        start.arrive_and_wait();
        for (int round = 0; round < kRounds; ++round) {
          CZuvStringData& s = mine[round % mine.size()];
          switch ((round + t) % 5) {
            case 0:
              s = mine[(round + 3) % mine.size()];
              break;
            case 1:
              s.Clear();
              s = seed;
              break;
            case 2:
              failures[t] += UnitsOf(s.GetPtrUnicode()) != expected;
              break;
            case 3:
              failures[t] += s.GetPtrSystemEncoding() == nullptr || s.GetLengthChar() != 10;
              break;
            case 4: {
              CZuvStringData copy(s);
              failures[t] += std::strcmp(copy.GetPtrUtf8(), seed.GetPtrUtf8()) != 0;
              break;
            }
          }
        }
      });
    }
    origin.Clear();  // the threads' sharers keep the value alive
    for (std::thread& thread : threads) thread.join();
    for (int t = 0; t < kThreads; ++t)
      ASSERT_EQ(0, failures[t]) << "value " << v << ", thread " << t;
  }
}

}  // namespace
