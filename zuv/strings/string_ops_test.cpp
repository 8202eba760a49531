#include "zuv/strings/string_ops.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scoped_text_locale.h"
#include "zuv/platform/text.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::IsWellFormedUtf8;
using zuv::testing::Text;
using Strings = std::vector<std::string>;
const std::nullopt_t kNone = std::nullopt;

// The text of a result, or nullopt for an empty string without value.
std::optional<std::string> Shape(const CZuvStringData& s) {
  if (!s.HasValueUtf8() && !s.HasValueUnicode() && !s.HasValueSystemEncoding()) return kNone;
  return std::string(s.GetPtrUtf8());
}

// Results worked out on bytes and characters; the searches are the platform's, on the units.
namespace expected {

std::optional<std::string> Str(const std::string& s, const std::string& f, bool noCase = false,
                               bool backwards = false) {
  std::u16string text, find;
  if (!zuv::platform::DecodeUtf8(s, &text) || !zuv::platform::DecodeUtf8(f, &find)) return kNone;
  const int32_t at = zuv::platform::FindUnits(text, find, noCase, backwards);
  if (at < 0) return kNone;
  return zuv::platform::EncodeUtf8(std::u16string_view(text).substr(at));
}

Strings Characters(const std::string& text) {
  Strings characters;
  for (const char c : text) {
    if ((c & 0xC0) != 0x80 || characters.empty()) characters.emplace_back();
    characters.back() += c;
  }
  return characters;
}

// Only well-formed set characters are trimmed, and only when the first one is (it replaces them).
std::optional<std::string> Trim(const std::string& s, const std::string& set, bool left,
                                bool right) {
  const Strings chars = Characters(set);
  if (chars.empty()) return s;
  if (s.empty()) return kNone;
  if (!IsWellFormedUtf8(s) || !IsWellFormedUtf8(chars[0])) return s;
  const auto inSet = [&](const std::string& c) {
    return IsWellFormedUtf8(c) && std::find(chars.begin(), chars.end(), c) != chars.end();
  };
  const Strings text = Characters(s);
  size_t begin = 0, end = text.size();
  while (begin < end && inSet(text[begin])) ++begin;
  while (end > begin && inSet(text[end - 1])) --end;
  if (begin == end) return kNone;
  std::string kept;
  for (size_t i = left ? begin : 0; i < (right ? end : text.size()); ++i) kept += text[i];
  return kept;
}

}  // namespace expected

TEST(StringOpsTest, WrappersAndCaseMapping) {
  EXPECT_EQ(ZuvStringDataCmpn(Text("ab"), Text("abc"), 2), -1);
  EXPECT_EQ(ZuvStringDataCmpni(Text("ÉTÉ"), Text("ÉTé!"), 3), 0);
  EXPECT_EQ(ZuvStringDataCmpiIgnoreEncode(Text("Þ"), Text("þ")), -1);
  EXPECT_EQ(ZuvStringDataCmp(Text("B"), Text("a")), -1);
  EXPECT_FALSE(ZuvFunctorUtility::CZuvLessStringDataNoCase()(Text("JPG"), Text("jpg")));
  {  // full mapping with the root locale, whatever ICU's default: no Turkish dotless i
    const zuv::platform::testing::ScopedTextLocale turkish("tr_TR");
    EXPECT_EQ(Shape(ZuvStringDataLower(Text("Straße İI ΣΑΣ"))), "straße i̇i σας");
    EXPECT_EQ(Shape(ZuvStringDataUpper(Text("Straße İI ﬁ"))), "STRASSE İI FI");
  }
  EXPECT_EQ(Shape(ZuvStringDataLower(Text("a\xFF"))), "");
  // A value made from UTF-16 counts a character outside the BMP as two, and the trim cuts by that
  // length. Inc counts characters and cuts units: a cut inside a pair leaves U+FFFD.
  const CZuvStringData pair(ZuvCharUnicode(reinterpret_cast<const unsigned short*>(u" 😀a ")));
  EXPECT_EQ(Shape(ZuvStringDataTrim(pair, Text(" "))), "😀a ");
  EXPECT_EQ(Shape(ZuvStringDataTrimLeft(Text(" a "), Text(" "))), "a ");
  EXPECT_EQ(Shape(ZuvStringDataTrimRight(Text(" a "), Text(" "))), " a");
  EXPECT_EQ(Shape(ZuvStringDataInc(Text("abc"), 4)), kNone);
  EXPECT_EQ(Shape(ZuvStringDataInc(Text("😀x"), 1)), "\xEF\xBF\xBDx");
  EXPECT_EQ(Shape(ZuvStringDataCat(Text("é"), Text("\xFF"))), "é\xFF");
  const ZuvCharPlatform wide("%5000s|%d");
  EXPECT_EQ(Shape(ZuvStringDataFormat(&wide, "é", 5)), std::string(4998, ' ') + "é|5");
  const CZuvStringData value = Text("%s!");
  EXPECT_EQ(Shape(ZuvStringDataFormat(&value, "ok")), "ok!");
  EXPECT_EQ(Shape(ZuvStringDataFormat(static_cast<const CZuvStringData*>(nullptr))), kNone);
  // The copy into the system encoding (UTF-8 here) ends in a 0 that may cut the last character.
  for (const auto& [utf8, size, copied] : {std::tuple{"é", 2, "\xC3\0ZZZ"},
                                           {"a€b", 3, "a\0ZZZ"},
                                           {"a\xFF", 5, "\0ZZZZ"},
                                           {"a", 0, "ZZZZZ"}}) {
    char buffer[] = "ZZZZZ";
    ZuvMacCopySystemEncoingStringWithLossByte(Text(utf8), buffer, size, '?');
    EXPECT_EQ(std::string_view(buffer, 5), std::string_view(copied, 5)) << utf8;
  }
  ZuvMacCopySystemEncoingStringWithLossByte(Text("a"), nullptr, 8, '?');
}

// The units go to the wide formatter as they are (a 32-bit wchar_t reads two), cut to the 511
// wide characters of 2048 bytes; ASan shows nothing is read or written outside the buffers.
TEST(StringOpsTest, FormatWStaysInsideItsBuffers) {
  EXPECT_EQ(Shape(ZuvStringDataFormatW(nullptr)), kNone);
  std::u16string units;
  for (size_t length = 0; length <= 5000; ++length) {
    const auto exact = std::make_unique<unsigned short[]>(length + 1);  // ends at the 0 unit
    std::copy(units.begin(), units.end(), exact.get());
    const ZuvCharUnicode format(exact.get());
    const CZuvStringData result = ZuvStringDataFormatW(&format, 1, 2);
    const std::u16string_view read(reinterpret_cast<const char16_t*>(result.GetPtrUnicode()));
    ASSERT_EQ(read, std::u16string_view(units).substr(0, 2 * 511)) << length;
    units += static_cast<char16_t>(u'a' + length % 26);
  }
}

void ExpectAsWorkedOut(const std::string& s, const std::string& f) {
  SCOPED_TRACE(testing::PrintToString(s) + " / " + testing::PrintToString(f));
  EXPECT_EQ(Shape(ZuvStringDataStr(Text(s), Text(f))), expected::Str(s, f));
  EXPECT_EQ(Shape(ZuvStringDataStrNoCase(Text(s), Text(f))), expected::Str(s, f, true));
  EXPECT_EQ(Shape(ZuvStringDataStrReverse(Text(s), Text(f))), expected::Str(s, f, false, true));
  const size_t last = s.size() > f.size() ? s.rfind(f) : std::string::npos;
  EXPECT_EQ(Shape(ZuvStringDataStrReverseIgnoreEncode(Text(s), Text(f))),
            last == std::string::npos ? kNone : std::optional(s.substr(last)));
  // Replace and Split find what a byte search finds, in well-formed text only.
  std::string replaced;
  Strings fields, got;
  size_t from = 0;
  if (!f.empty() && IsWellFormedUtf8(s) && IsWellFormedUtf8(f)) {
    for (size_t at; (at = s.find(f, from)) != std::string::npos; from = at + f.size()) {
      fields.push_back(s.substr(from, at - from));
      replaced += fields.back() + "<";
    }
  }
  replaced += s.substr(from);
  if (from > 0) fields.push_back(s.substr(from));
  std::erase(fields, "");
  EXPECT_EQ(Shape(ZuvStringDataReplace(Text(s), Text(f), Text("<"))), replaced);
  std::vector<CZuvStringData> out = {Text("stale")};
  ZuvStringDataSplit(Text(s), Text(f), &out);
  for (const CZuvStringData& field : out) got.emplace_back(field.GetPtrUtf8());
  EXPECT_EQ(got, fields);
  for (const auto& [left, right] : {std::pair{true, true}, {true, false}, {false, true}}) {
    EXPECT_EQ(Shape(ZuvString::Trim(Text(s), Text(f), left, right)),
              expected::Trim(s, f, left, right))
        << left << right;
  }
}

// Every other input repeats its separator, where a search must remember what it has matched.
TEST(StringOpsTest, OperationsAgreeWithTheWorkedOutResults) {
  const std::string pieces[] = {"a", "b", ",", "-",    "é",    "É",
                                "€", "😀", " ", "\x80", "\xC3", "\xFF"};
  std::mt19937 random(20240611);
  const auto text = [&](int most, bool wellFormed) {
    std::string out;
    for (int n = std::uniform_int_distribution<>(0, most)(random); n > 0; --n) {
      out += pieces[std::uniform_int_distribution<size_t>(0, wellFormed ? 8 : 11)(random)];
    }
    return out;
  };
  ExpectAsWorkedOut("", "");
  for (int i = 0; i < 3000; ++i) {
    std::string s = text(14, i % 4 != 0);
    const std::string f = text(3, i % 5 != 0);
    if (i % 2 == 0 && !f.empty()) {
      for (int n = i % 5; n > 0; --n) s = f + text(1, true) + f + s;
    }
    ExpectAsWorkedOut(s, f);
  }
}

// Inputs on which a naive search is quadratic, long enough for the block scans (the benchmark
// holds the timing goal).
TEST(StringOpsTest, SearchesHostileInputsAndTrimsLongTextInLinearTime) {
  const std::string run(200000, 'a');
  const std::string needle = std::string(5000, 'a') + "b";
  const CZuvStringData hostile = Text(run), find = Text(needle);
  EXPECT_EQ(Shape(ZuvStringDataStr(hostile, find)), kNone);
  EXPECT_EQ(Shape(ZuvStringDataStrReverse(hostile, find)), kNone);
  const std::string found = run + "b" + run + "b";
  const CZuvStringData twice = Text(found);
  EXPECT_EQ(Shape(ZuvStringDataStr(twice, find)), found.substr(run.size() - 5000));
  EXPECT_EQ(Shape(ZuvStringDataStrReverseIgnoreEncode(twice, find)), needle);
  EXPECT_EQ(Shape(ZuvStringDataStrNoCase(Text(run + "é"), Text(std::string(5000, 'A') + "É"))),
            std::string(5000, 'a') + "é");
  const std::string body = "a" + std::string(1 << 20, ' ') + "é,b";
  EXPECT_EQ(Shape(ZuvStringDataTrim(Text(" ,\t" + body + ", \t "), Text(" \t,"))), body);
  EXPECT_EQ(Shape(ZuvStringDataTrim(Text(std::string(1 << 20, ' ')), Text(" "))), kNone);
}

}  // namespace
