#include "zuv/strings/string_ops.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scoped_text_locale.h"
#include "zuv/platform/text.h"
#include "zuv/strings/utf8_utility.h"
#include "zuv/testing/files.h"

namespace {

using zuv::testing::Text;
using Strings = std::vector<std::string>;

// The text of a result, or nullopt for an empty string without value.
std::optional<std::string> Shape(const CZuvStringData& s) {
  if (!s.HasValueUtf8() && !s.HasValueUnicode() && !s.HasValueSystemEncoding()) return std::nullopt;
  return std::string(s.GetPtrUtf8());
}

Strings Texts(const std::vector<CZuvStringData>& values) {
  Strings texts;
  for (const CZuvStringData& value : values) texts.emplace_back(value.GetPtrUtf8());
  return texts;
}

const std::nullopt_t kNone = std::nullopt;

// ---------------------------------------------------------------------------------------------
// The operations done literally, one platform string and one Mid at a time: the reference that
// the linear implementations must match result for result.

namespace literal {

CZuvStringData Str(const CZuvStringData& s, const CZuvStringData& f, bool noCase = false,
                   bool backwards = false) {
  const auto text = s.CreateCopyCFString();
  const int32_t at =
      zuv::platform::FindUnits(text->Units(), f.CreateCopyCFString()->Units(), noCase, backwards);
  CZuvStringData tail;
  if (at >= 0) tail.InitWithCFString(text->CreateSubstring(at, text->GetLength() - at).get());
  return tail;
}

void Split(const CZuvStringData& s, const CZuvStringData& separator,
           std::vector<CZuvStringData>* out) {
  out->clear();
  CZuvStringData rest = s;
  bool foundOnce = false;
  for (;;) {
    const CZuvStringData found = Str(rest, separator);
    if (found.IsEmpty()) break;
    foundOnce = true;
    const CZuvStringData piece = rest.Mid(0, rest.GetLengthChar() - found.GetLengthChar());
    if (!piece.IsEmpty()) out->push_back(piece);
    rest = found.Mid(separator.GetLengthChar(), found.GetLengthChar() - separator.GetLengthChar());
  }
  if (foundOnce && !rest.IsEmpty()) out->push_back(rest);
}

CZuvStringData Replace(const CZuvStringData& s, const CZuvStringData& find,
                       const CZuvStringData& with) {
  CZuvStringData result;
  CZuvStringData rest = s;
  for (;;) {
    const CZuvStringData found = Str(rest, find);
    if (found.IsEmpty()) break;
    result = ZuvStringDataCat(result, rest.Mid(0, rest.GetLengthChar() - found.GetLengthChar()));
    result = ZuvStringDataCat(result, with);
    rest = found.Mid(find.GetLengthChar(), found.GetLengthChar() - find.GetLengthChar());
  }
  return ZuvStringDataCat(result, rest);
}

CZuvStringData Trim(const CZuvStringData& s, const CZuvStringData& chars, bool bLeft, bool bRight) {
  if (chars.IsEmpty() || (!bLeft && !bRight)) return s;
  CZuvStringData work = s;
  const CZuvStringData first = chars.Mid(0, 1);
  for (unsigned long i = 1; i < chars.GetLengthChar(); ++i) {
    work = Replace(work, chars.Mid(i, 1), first);
  }
  std::vector<CZuvStringData> pieces;
  Split(work, first, &pieces);
  if (pieces.empty()) {
    return Replace(work, first, CZuvStringData()).IsEmpty() ? CZuvStringData() : s;
  }
  const unsigned long length = s.GetLengthChar();
  const unsigned long found = Str(s, pieces[0]).GetLengthChar();
  unsigned long start = 0;
  unsigned long count = length;
  if (bLeft) {
    start = length - found;
    count = found;
  }
  if (bRight && pieces.size() == 1) count = count + pieces[0].GetLengthChar() - found;
  if (bRight && pieces.size() > 1) {
    const CZuvStringData tail =
        ZuvMacStringUtility::utf8_strreverse(s.GetPtrUtf8(), pieces.back().GetPtrUtf8());
    count = count - (tail.GetLengthChar() - pieces.back().GetLengthChar());
  }
  return s.Mid(start, count);
}

}  // namespace literal

// ---------------------------------------------------------------------------------------------

TEST(StringOpsTest, SplitAndReplaceResumeAfterEachOccurrence) {
  const struct {
    std::string s, f, with;
    Strings fields;
    std::string replaced;
  } cases[] = {
      {"a,b,,c,", ",", "::", {"a", "b", "c"}, "a::b::::c::"},  // empty fields are dropped
      {",a", ",", "", {"a"}, "a"},
      {"abc", ",", "x", {}, "abc"},  // no separator, no field
      {"abc", "", "x", {}, "abc"},   // an empty separator is never found
      {"---", "--", "+", {"-"}, "+-"},
      {"aaa", "aa", "b", {"a"}, "ba"},
      {"abab", "ab", "", {}, ""},
      {"é😀ü😀", "😀", "", {"é", "ü"}, "éü"},
      {"a,b\xFF", ",", "_", {}, "a,b\xFF"},  // not UTF-8: nothing is found
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.s + " by " + c.f);
    std::vector<CZuvStringData> out = {Text("stale")};
    ZuvStringDataSplit(Text(c.s), Text(c.f), &out);
    EXPECT_EQ(Texts(out), c.fields);
    EXPECT_EQ(Shape(ZuvStringDataReplace(Text(c.s), Text(c.f), Text(c.with))), c.replaced);
  }
  ZuvStringDataSplit(Text("a,b"), Text(","), nullptr);
}

TEST(StringOpsTest, TrimsAndSearches) {
  using Operation = CZuvStringData (*)(const CZuvStringData&, const CZuvStringData&);
  const struct {
    Operation operation;
    std::string s, f;
    std::optional<std::string> expected;
  } cases[] = {
      {ZuvStringDataTrim, "  ab  ", " ", "ab"},
      {ZuvStringDataTrim, "yxaxby", "xy", "axb"},
      {ZuvStringDataTrim, "xxx", "x", kNone},
      {ZuvStringDataTrim, "", "x", kNone},
      {ZuvStringDataTrim, "abc", "x", "abc"},
      {ZuvStringDataTrim, "abc", "", "abc"},
      {ZuvStringDataTrim, " a\xFF ", " ", " a\xFF "},  // not UTF-8: no field is found, s is kept
      {ZuvStringDataStr, "IMG.JPG", ".jpg", kNone},
      {ZuvStringDataStrNoCase, "IMG.JPG", ".jpg", ".JPG"},
      {ZuvStringDataStrNoCase, "Фото.ПРИВЕТ", "привет", "ПРИВЕТ"},
      {ZuvStringDataStrReverse, "a/b/c", "/", "/c"},
      {ZuvStringDataStrReverseIgnoreEncode, "/", "/", kNone},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Shape(c.operation(Text(c.s), Text(c.f))), c.expected)
        << "'" << c.s << "' with '" << c.f << "'";
  }
}

TEST(StringOpsTest, IncCutsUnitsAfterCountingCharacters) {
  const struct {
    std::string s;
    unsigned long n;
    std::optional<std::string> expected;
  } cases[] = {
      {"abc", 3, ""},
      {"abc", 4, kNone},
      {"😀x", 2, "x"},              // two characters, and the first takes two units
      {"😀x", 1, "\xEF\xBF\xBDx"},  // a cut inside a surrogate pair
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Shape(ZuvStringDataInc(Text(c.s), c.n)), c.expected) << c.s << " " << c.n;
  }
}

TEST(StringOpsTest, ComparisonsAndCaseMapping) {
  EXPECT_EQ(ZuvStringDataCmp(Text("a"), Text("b")), -1);
  EXPECT_EQ(ZuvStringDataCmpi(Text("ÉTÉ"), Text("été")), 0);
  EXPECT_EQ(ZuvStringDataCmpn(Text("ab"), Text("abc"), 2), -1);
  EXPECT_EQ(ZuvStringDataCmpni(Text("ab"), Text("ABC"), 2), 0);
  EXPECT_EQ(ZuvStringDataCmpiIgnoreEncode(Text("Þ"), Text("þ")), -1);

  std::map<CZuvStringData, int, ZuvFunctorUtility::CZuvLessStringDataNoCase> types;
  types[Text("JPG")] = 1;
  types[Text("jpg")] = 2;
  EXPECT_EQ(types.size(), 1u);

  // Full mapping with the root locale, whatever ICU's default (which comes from the user's
  // environment): no Turkish dotless i.
  {
    const zuv::platform::testing::ScopedTextLocale turkish("tr_TR");
    EXPECT_EQ(Shape(ZuvStringDataLower(Text("Straße İI ΣΑΣ"))), "straße i̇i σας");
    EXPECT_EQ(Shape(ZuvStringDataUpper(Text("Straße İI ﬁ"))), "STRASSE İI FI");
  }
  EXPECT_EQ(Shape(ZuvStringDataLower(Text("a\xFF"))), "");
  EXPECT_EQ(Shape(ZuvStringDataUpper(Text("a\xFF"))), "");
}

TEST(StringOpsTest, CatNumbersAndFormat) {
  EXPECT_EQ(Shape(ZuvStringDataCat(CZuvStringData(), CZuvStringData())), "");
  EXPECT_EQ(Shape(ZuvStringDataCat(Text("é"), Text("\xFF"))), "é\xFF");
  EXPECT_EQ(ZuvStringDataToNumber(" -7px"), -7);
  EXPECT_EQ(ZuvStringDataToNumber("9223372036854775807"), INT64_MAX);
  EXPECT_DOUBLE_EQ(ZuvStringDataToFloat("2.5e3mm"), 2500.0);

  const ZuvCharPlatform format("%d-%s");
  EXPECT_EQ(Shape(ZuvStringDataFormat(&format, 5, "x")), "5-x");
  EXPECT_EQ(Shape(ZuvStringDataFormat(static_cast<const ZuvCharPlatform*>(nullptr))), kNone);
  const ZuvCharPlatform wide("%5000s|");
  EXPECT_EQ(Shape(ZuvStringDataFormat(&wide, "é")), std::string(4998, ' ') + "é|");

  const CZuvStringData value = Text("%s!");
  EXPECT_EQ(Shape(ZuvStringDataFormat(&value, "ok")), "ok!");
  EXPECT_TRUE(value.HasValueSystemEncoding());
  EXPECT_EQ(Shape(ZuvStringDataFormat(static_cast<const CZuvStringData*>(nullptr))), kNone);
}

// The units go to the wide formatter unconverted, so with a 32-bit wchar_t no conversion is ever
// seen and each pair of units comes back as it went: the result is the format, cut to the 511 wide
// characters before the terminator that fit in 2048 bytes. Run under the address sanitizer, this
// also shows that nothing is read or written outside the caller's units and the buffer.
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

// ---------------------------------------------------------------------------------------------
// The linear implementations against the literal ones.

// A value holding `utf8` as its primary form, or, where the text is UTF-8, the same text made
// from UTF-16 or the system encoding, whose lengths count UTF-16 units.
CZuvStringData MakeValue(const std::string& utf8, int form) {
  std::u16string units;
  if (form == 0 || !zuv::platform::DecodeUtf8(utf8, &units)) return Text(utf8);
  if (form == 1)
    return CZuvStringData(ZuvCharUnicode(reinterpret_cast<const unsigned short*>(units.c_str())));
  std::string system;
  if (!zuv::platform::EncodeSystem(units, &system)) return Text(utf8);
  return CZuvStringData(ZuvCharSystem(system.c_str()));
}

struct Inputs {
  std::string s, f, with;
  int sForm = 0, fForm = 0;
};

void ExpectSameAsLiteral(const Inputs& in) {
  SCOPED_TRACE(testing::Message() << testing::PrintToString(in.s) << " / "
                                  << testing::PrintToString(in.f) << " forms " << in.sForm
                                  << in.fForm);
  const auto s = [&] { return MakeValue(in.s, in.sForm); };
  const auto f = [&] { return MakeValue(in.f, in.fForm); };
  EXPECT_EQ(Shape(ZuvStringDataStr(s(), f())), Shape(literal::Str(s(), f())));
  EXPECT_EQ(Shape(ZuvStringDataStrNoCase(s(), f())), Shape(literal::Str(s(), f(), true)));
  const CZuvStringData sUtf8 = Text(s().GetPtrUtf8());
  const CZuvStringData fUtf8 = Text(f().GetPtrUtf8());
  EXPECT_EQ(Shape(ZuvStringDataStrReverse(s(), f())),
            Shape(literal::Str(sUtf8, fUtf8, false, true)));
  const std::string_view sBytes = sUtf8.GetPtrUtf8(), fBytes = fUtf8.GetPtrUtf8();
  const size_t last = sBytes.size() > fBytes.size() ? sBytes.rfind(fBytes) : std::string::npos;
  EXPECT_EQ(Shape(ZuvStringDataStrReverseIgnoreEncode(s(), f())),
            last == std::string::npos ? kNone : std::optional(std::string(sBytes.substr(last))));
  EXPECT_EQ(Shape(ZuvStringDataReplace(s(), f(), Text(in.with))),
            Shape(literal::Replace(s(), f(), Text(in.with))));
  std::vector<CZuvStringData> fast, slow;
  ZuvStringDataSplit(s(), f(), &fast);
  literal::Split(s(), f(), &slow);
  EXPECT_EQ(Texts(fast), Texts(slow));
  for (const auto& [left, right] : {std::pair{true, true}, {true, false}, {false, true}}) {
    EXPECT_EQ(Shape(ZuvString::Trim(s(), f(), left, right)),
              Shape(literal::Trim(s(), f(), left, right)))
        << left << right;
  }
}

TEST(StringOpsEquivalenceTest, TrickyInputs) {
  const Inputs cases[] = {
      {"aaaa", "aa", "b"},
      {"abababa", "aba", "-"},
      {"😀a😀b😀", "😀", "x", 1, 0},  // from UTF-16: the first field runs on
      {"a😀😀b,c", ",", "", 1, 0},
      {"ab😀cd", "😀", "", 0, 1},  // a separator longer in units than in characters
      {"😀😀", "😀", "+", 2, 1},
      {"x😀y😀", "y", "", 1, 0},
      {"  a😀b  ", " ", "", 1, 0},
      {"xyx", "xyz", "", 0, 0},
      {"\200a,b", ",", "_"},  // 0x80 first
      {"a,b", "\xC3", "_"},
      {"a,b\xF4\x90\x80\x80", ",", "_"},  // above U+10FFFF
      {"éÉé", "É", "e"},
      {"", "", ""},
  };
  for (const Inputs& in : cases) ExpectSameAsLiteral(in);
}

TEST(StringOpsEquivalenceTest, RandomInputs) {
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
  for (int i = 0; i < 1500; ++i) {
    Inputs in{text(14, i % 4 != 0), text(3, i % 5 != 0), text(2, true)};
    in.sForm = i % 3;
    in.fForm = (i / 3) % 3;
    // Every other input repeats its separator, the case on which a search shifts least and must
    // remember what it has matched.
    if (i % 2 == 0 && !in.f.empty()) {
      for (int n = i % 5; n > 0; --n) in.s = in.f + text(1, true) + in.f + in.s;
    }
    ExpectSameAsLiteral(in);
  }
}

// Inputs on which a naive search compares the whole needle at every position. The checks are on
// the results; the benchmark holds the timing goal.
TEST(StringOpsTest, SearchesHostileInputsInLinearTime) {
  const std::string run(200000, 'a');
  const std::string needle = std::string(5000, 'a') + "b";
  const CZuvStringData hostile = Text(run);
  const CZuvStringData find = Text(needle);
  EXPECT_EQ(Shape(ZuvStringDataStr(hostile, find)), kNone);
  EXPECT_EQ(Shape(ZuvStringDataStrNoCase(hostile, find)), kNone);
  EXPECT_EQ(Shape(ZuvStringDataStrReverse(hostile, find)), kNone);
  EXPECT_EQ(Shape(ZuvStringDataStrReverseIgnoreEncode(hostile, find)), kNone);
  EXPECT_EQ(Shape(ZuvStringDataReplace(hostile, find, Text("x"))), run);

  // Occurrences at both ends and in the middle, and text that is not ASCII.
  const std::string found = run + "b" + run + "b";
  const CZuvStringData twice = Text(found);
  EXPECT_EQ(Shape(ZuvStringDataStr(twice, find)), found.substr(run.size() - 5000));
  EXPECT_EQ(Shape(ZuvStringDataStrReverse(twice, find)), needle);
  EXPECT_EQ(Shape(ZuvStringDataStrReverseIgnoreEncode(twice, find)), needle);
  EXPECT_EQ(Shape(ZuvStringDataStrNoCase(Text("É" + found), Text(std::string(5000, 'A') + "B"))),
            found.substr(run.size() - 5000));
  EXPECT_EQ(Shape(ZuvStringDataStrNoCase(Text(run + "é"), Text(std::string(5000, 'A') + "É"))),
            std::string(5000, 'a') + "é");
  std::vector<CZuvStringData> fields;
  ZuvStringDataSplit(twice, find, &fields);
  EXPECT_EQ(Texts(fields),
            Strings({std::string(run.size() - 5000, 'a'), std::string(run.size() - 5000, 'a')}));
}

// Trimming a long text makes no piece of it beyond the result.
TEST(StringOpsTest, TrimsLongText) {
  const std::string body = "a" + std::string(1 << 20, ' ') + "é,b";
  const std::string padded = " ,\t" + body + ", \t ";
  const CZuvStringData s = Text(padded);
  EXPECT_EQ(Shape(ZuvStringDataTrim(s, Text(" \t,"))), body);
  EXPECT_EQ(Shape(ZuvStringDataTrimLeft(s, Text(",\t "))), body + ", \t ");
  EXPECT_EQ(Shape(ZuvStringDataTrimRight(s, Text(" "))), " ,\t" + body + ", \t");
  EXPECT_EQ(Shape(ZuvStringDataTrim(Text(std::string(1 << 20, ' ')), Text(" "))), kNone);
}

}  // namespace
