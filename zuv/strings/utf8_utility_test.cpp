#include "zuv/strings/utf8_utility.h"

#include <climits>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/text.h"

namespace ZuvMacStringUtility {
namespace {

std::optional<std::string> TextOf(const CZuvStringData& s) {
  return s.HasValueUtf8() ? std::optional<std::string>(s.GetPtrUtf8()) : std::nullopt;
}

// utf8_length reads aligned words and blocks and flushes its per-lane counters every 255 rows of 64
// bytes: every alignment, ends around word and block boundaries, and lengths around the flush.
TEST(Utf8Utility, LengthMidAndCmpiId) {
  EXPECT_EQ(utf8_length(nullptr), 0);
  std::vector<char> buffer(21 * 4096);
  char* const page = buffer.data() + 4096 - reinterpret_cast<uintptr_t>(buffer.data()) % 4096;
  for (size_t i = 0; i < 20 * 4096; ++i) page[i] = static_cast<char>(i * 7 % 255 + 1);
  const auto expect = [](char* text, size_t length) {
    const char kept = std::exchange(text[length], 0);
    int expected = 0;
    for (size_t i = 0; i < length; ++i) {
      const auto byte = static_cast<unsigned char>(text[i]);
      expected += byte < 0x80 || (byte >= 0xC2 && byte <= 0xF4);
    }
    EXPECT_EQ(utf8_length(text), expected) << length;
    text[length] = kept;
  };
  for (const size_t start : {0, 1, 7, 8, 9, 63, 64, 65, 255, 256, 257, 511, 512, 513, 4090}) {
    for (const size_t length : {0, 1, 7, 8, 9, 60, 63, 64, 65, 511, 512, 513, 1500, 3000}) {
      expect(page + start, length);
    }
  }
  for (const size_t length : {255 * 64, 256 * 64 + 1, 20 * 4096 - 1}) expect(page, length);
  // Unlike utf8_length, utf8_mid takes 0xC0 and 0xFF as starts, and byte 0 whatever follows it.
  // utf8_cmpi_id folds Latin-1 capitals but U+00DE and compares bytes without sign.
  // clang-format off
  const std::tuple<const char*, unsigned long, unsigned long, const char*> cuts[] = {
      {"h\xC3\xA9llo", 1, 2, "\xC3\xA9l"}, {"abc", 1, 100, "bc"}, {"abc", 0, 0, nullptr},
      {"abc", 3, 1, nullptr}, {"abc", ULONG_MAX, 1, nullptr}, {"\xC0\x80z", 1, 1, "z"},
      {"\xFFz", 0, 1, "\xFF"}, {"\x80\x80z", 0, 1, "\x80\x80"}};
  const std::tuple<const char*, const char*, int> compared[] = {
      {"ABC", "abc", 0}, {"\xC3\x89", "\xC3\xA9", 0}, {"\xC3\x9E", "\xC3\xBE", -1}, {"", "a", -1},
      {nullptr, "", 0}, {"a", "B", -1}, {"\x80", "a", 1}, {"\xE2\x82\xAC", "\xE2\xA2\xAC", 0}};
  // clang-format on
  for (const auto& [text, start, count, piece] : cuts) {
    EXPECT_EQ(TextOf(utf8_mid(CZuvStringData(ZuvCharUtf8(text)), start, count)),
              piece ? std::optional<std::string>(piece) : std::nullopt)
        << text << " " << start << " " << count;
  }
  for (const auto& [a, b, result] : compared) EXPECT_EQ(utf8_cmpi_id(a, b), result) << a << b;
}

// The comparisons, decided on the shared ASCII prefix, answer as the decoded units do, where
// malformed text is not compared (utf8_cmp) or counts as empty; also past the stack buffers.
TEST(Utf8Utility, ComparisonsAgreeWithDecodedOnes) {
  const std::string lower = std::string(300, 'x') + "\xC3\xA9";
  const std::string upper = std::string(300, 'X') + "\xC3\x89";
  EXPECT_EQ(utf8_cmp(lower.c_str(), upper.c_str()), 1);
  EXPECT_EQ(utf8_cmpi(lower.c_str(), upper.c_str()), 0);
  EXPECT_EQ(utf8_cmpn(lower.c_str(), lower.c_str(), 300), -1);
  EXPECT_EQ(TextOf(utf8_strreverse(lower.c_str(), "x\xC3\xA9")), "x\xC3\xA9");
  EXPECT_EQ(utf8_cmp(nullptr, "a"), 0);
  EXPECT_EQ(utf8_cmpi(nullptr, "a"), -1);
  std::mt19937 random(7);
  // clang-format off
  const std::vector<std::string> pieces = {"@", "A", "Z", "[", "`", "a", "z", "{", "0", "/", ".",
      "_", "\xC3\xA9", "\xC3\x89", "\xE2\x84\xAA", "k", "\xF0\x9F\x98\x80", "\xEF\xBF\xBD", "\xC3", "\xFF"};
  // clang-format on
  auto make = [&](size_t length, bool ascii) {
    std::string text;
    while (text.size() < length) text += pieces[random() % (ascii ? 12 : pieces.size())];
    return text;
  };
  auto decoded = [](const std::string& text, bool* wellFormed) {
    std::u16string out;
    *wellFormed = zuv::platform::DecodeUtf8(text, &out);
    return *wellFormed ? out : std::u16string();
  };
  for (int round = 0; round < 6000; ++round) {
    const std::string a = make(random() % 40, round % 2 == 0);
    std::string b = a.substr(0, random() % (a.size() + 1)) + make(random() % 6, round % 4 == 1);
    if (round % 3 == 0 && !b.empty()) b[random() % b.size()] ^= 0x20;  // flip case or punctuation
    const unsigned long n = random() % 44;
    SCOPED_TRACE(testing::PrintToString(a) + " ? " + testing::PrintToString(b) +
                 " n=" + std::to_string(n));
    bool validA, validB;
    const std::u16string ua = decoded(a, &validA), ub = decoded(b, &validB);
    const std::u16string_view va = ua, vb = ub;
    const char *pa = a.c_str(), *pb = b.c_str();
    EXPECT_EQ(validA && validB ? zuv::platform::CompareUnits(ua, ub, false) : 0, utf8_cmp(pa, pb));
    EXPECT_EQ(zuv::platform::CompareUnits(ua, ub, true), utf8_cmpi(pa, pb));
    EXPECT_EQ(zuv::platform::CompareUnits(va.substr(0, n), vb, false), utf8_cmpn(pa, pb, n));
    EXPECT_EQ(zuv::platform::CompareUnits(va.substr(0, n), vb.substr(0, n), true),
              utf8_cmpni(pa, pb, n));
  }
}

}  // namespace
}  // namespace ZuvMacStringUtility
