#include "zuv/platform/linux/system_encoding.h"

#include <locale.h>
#include <optional>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scoped_environment.h"

namespace zuv::platform {
namespace {

TEST(SystemEncodingDetection, FollowsTheFirstLocaleVariableSet) {
  const char* const kLatin1 = "en_US.ISO-8859-1";
  for (const char* name : {kLatin1, "ja_JP.EUC-JP"}) {
    const locale_t locale = newlocale(LC_CTYPE_MASK, name, static_cast<locale_t>(nullptr));
    if (locale == static_cast<locale_t>(nullptr)) GTEST_SKIP() << name << " is not installed";
    freelocale(locale);
  }
  const struct {
    const char* environment[3];  // LC_ALL, LC_CTYPE, LANG; null: unset
    const char* expected;
  } kCases[] = {
      {{nullptr, nullptr, nullptr}, "UTF-8"},
      {{nullptr, nullptr, "ja_JP.EUC-JP"}, "EUC-JP"},
      {{nullptr, kLatin1, "ja_JP.EUC-JP"}, "ISO-8859-1"},
      {{kLatin1, "ja_JP.EUC-JP", "C.UTF-8"}, "ISO-8859-1"},
      {{"", "", kLatin1}, "ISO-8859-1"},  // empty means unset
      {{"C", kLatin1, kLatin1}, "UTF-8"},
      {{"POSIX", kLatin1, kLatin1}, "UTF-8"},
      {{"xx_XX.NOT-INSTALLED", kLatin1, nullptr}, "UTF-8"},
  };
  const char* const kNames[3] = {"LC_ALL", "LC_CTYPE", "LANG"};
  for (const auto& c : kCases) {
    std::optional<testing::ScopedEnvironment> set[3];
    for (int i = 0; i < 3; ++i) set[i].emplace(kNames[i], c.environment[i]);
    EXPECT_EQ(detail::FindSystemEncodingName(), c.expected) << &c - kCases;
  }
  EXPECT_STREQ(setlocale(LC_ALL, nullptr), "C");
}

}  // namespace
}  // namespace zuv::platform
