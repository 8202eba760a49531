#include "zuv/strings/string_data.h"

#include <algorithm>
#include <cstdlib>
#include <latch>
#include <optional>
#include <string>
#include <string_view>
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

// Forms are made when first asked for and kept; from UTF-16 to the system encoding via UTF-8.
TEST(StringDataTest, FormsLengthsAndEmptiness) {
  CZuvStringData s(ZuvCharUtf8("abc"));
  EXPECT_EQ(3u, s.GetLengthChar());
  EXPECT_FALSE(s.HasValueUnicode());
  const unsigned short* units = s.GetPtrUnicode();
  EXPECT_EQ(u"abc", UnitsOf(units));
  EXPECT_FALSE(s.HasValueSystemEncoding());
  EXPECT_EQ(units, s.GetPtrUnicode());
  CZuvStringData u(ZuvCharUnicode(Units(u"x\u00e9")));
  EXPECT_NE(nullptr, u.GetPtrSystemEncoding());
  EXPECT_TRUE(u.HasValueUtf8());
  EXPECT_STREQ("x\xc3\xa9", u.GetPtrUtf8());
  EXPECT_EQ(kZuvErrFailed, u.InitWithUnicode(nullptr));
  EXPECT_STREQ("", u.GetPtrUtf8());
  // Through a platform string and back; text that is not UTF-8 gives an empty one, never null.
  const CZuvStringData text(ZuvCharUtf8("caf\xc3\xa9 \xf0\x9f\x8e\xb5"));
  CZuvStringData back;
  EXPECT_EQ(kZuvSuccess, back.InitWithCFString(text.CreateCopyCFString().get()));
  EXPECT_STREQ(text.GetPtrUtf8(), back.GetPtrUtf8());
  EXPECT_EQ(0, CZuvStringData(ZuvCharUtf8("\xc0\xaf")).CreateCopyCFString()->GetLength());
  char* utf8 = ZuvString::CreateConvertStringUnicodeToUtf8(nullptr);
  EXPECT_STREQ("", utf8);
  std::free(utf8);
  // Emptiness counts the primary form. Under the UTF-8 system encoding 0xFF is refused.
  ASSERT_TRUE(zuv::platform::SystemEncodingIsUtf8());
  const struct {
    CZuvStringData value;
    unsigned long chars, utf8Bytes, unicodeBytes;
  } cases[] = {
      {CZuvStringData(ZuvCharUtf8("\xf0\x9d\x84\x9e")), 1, 4, 4},
      {CZuvStringData(ZuvCharUnicode(Units(u"\U0001D11E"))), 2, 4, 4},
      // Continuation bytes are no characters; such text is not UTF-8: its other forms are empty.
      {CZuvStringData(ZuvCharUtf8("a\xc3\xa9\x80")), 2, 4, 0},
      {CZuvStringData(ZuvCharSystem("\xf0\x9f\x8e\xb5")), 2, 4, 4},
      {CZuvStringData(ZuvCharUnicode(Units(u""))), 0, 0, 0},
      {CZuvStringData(ZuvCharSystem("\xff\xfe")), 0, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value.GetPtrUtf8());
    EXPECT_EQ(c.chars, c.value.GetLengthChar());
    EXPECT_EQ(c.utf8Bytes, c.value.GetLengthByteUtf8());
    EXPECT_EQ(c.unicodeBytes, c.value.GetLengthByteUnicode());
    EXPECT_EQ(c.chars == 0, c.value.IsEmpty());
  }
  EXPECT_STREQ("\xff\xfe", CZuvStringData(ZuvCharSystem("\xff\xfe")).GetPtrSystemEncoding());
}

// A sharer that is cleared, assigned or initialised again leaves the value to the others.
TEST(StringDataTest, CopiesShareOneValueAndLeaveInAnyOrder) {
  CZuvStringData a(ZuvCharUtf8("shared"));
  CZuvStringData b(a), c;
  c = b;
  EXPECT_EQ(a.GetPtrUtf8(), c.GetPtrUtf8());
  EXPECT_EQ(c.GetPtrUnicode(), a.GetPtrUnicode());
  a.Clear();
  EXPECT_TRUE(a.IsEmpty());
  b = b;
  EXPECT_STREQ("shared", b.GetPtrUtf8());
  b = CZuvStringData(ZuvCharUtf8("other"));
  EXPECT_EQ(kZuvSuccess, c.InitWithChar(ZuvCharSystem("third")));
  a = b;
  EXPECT_EQ(kZuvSuccess, b.InitWithChar(ZuvCharUnicode(Units(u"fourth"))));
  EXPECT_EQ((std::vector<std::string>{"other", "fourth", "third"}),
            (std::vector<std::string>{a.GetPtrUtf8(), b.GetPtrUtf8(), c.GetPtrUtf8()}));
  EXPECT_FALSE(CZuvStringData(CZuvStringData()).HasValueUtf8());
  int order[4] = {0, 1, 2, 3};
  do {
    std::optional<CZuvStringData> sharers[4];
    sharers[0].emplace(ZuvCharUtf8("text"));
    sharers[1].emplace(*sharers[0]);
    sharers[2].emplace(*sharers[0]);  // inserted behind [0]
    sharers[3].emplace(*sharers[1]);
    for (int i : order) {
      sharers[i].reset();
      for (const auto& rest : sharers) EXPECT_STREQ("text", rest ? rest->GetPtrUtf8() : "text");
    }
  } while (std::next_permutation(order, order + 4));
}

// Each value's forms are first produced in a race; TSan checks the sharer list and the forms.
TEST(StringDataStressTest, SharersOnManyThreads) {
  constexpr int kThreads = 4;
  const std::u16string expected = u"Grüße 日本 🎵";
  for (int v = 0; v < 40; ++v) {
    CZuvStringData origin(ZuvCharUtf8("Grüße 日本 🎵"));
    std::latch start(kThreads);
    std::vector<int> failures(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([seed = origin, t, &start, &failures, &expected] {
        std::vector<CZuvStringData> mine(6, seed);
        start.arrive_and_wait();
        for (int round = 0; round < 500; ++round) {
          CZuvStringData& s = mine[round % mine.size()];
          const int step = (round + t) % 4;
          if (step == 0) s = mine[(round + 3) % mine.size()];
          if (step == 1) failures[t] += UnitsOf(s.GetPtrUnicode()) != expected;
          if (step == 2) failures[t] += !s.GetPtrSystemEncoding() || s.GetLengthChar() != 10;
          if (step == 3)
            failures[t] += std::string_view(CZuvStringData(s).GetPtrUtf8()) != seed.GetPtrUtf8();
        }
      });
    }
    origin.Clear();  // the threads' sharers keep the value alive
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(failures, std::vector<int>(kThreads, 0)) << "value " << v;
  }
}

}  // namespace
