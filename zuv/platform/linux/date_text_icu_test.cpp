// The time value writes its two separated text forms itself, from the C library's local fields.
// These tests hold that text to ICU's date formatter for the same patterns, over years of four
// digits and more.
#include <memory>
#include <string>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scoped_time_zone.h"
#include "zuv/strings/string_data.h"
#include "zuv/time/time.h"

namespace {

using zuv::platform::testing::ScopedTimeZone;

constexpr long long kUnixEpochSince1904 = 2082844800;

std::string IcuText(long long unixSeconds, const char* zone, const char* pattern) {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(icu::UnicodeString(pattern), icu::Locale("en_US_POSIX"), status);
  format.adoptTimeZone(icu::TimeZone::createTimeZone(zone));
  icu::UnicodeString text;
  format.format(static_cast<UDate>(unixSeconds) * 1000.0, text);
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  std::string utf8;
  return text.toUTF8String(utf8);
}

std::string ZuvText(long long unixSeconds, bool dateOnly) {
  const CZuvTime time(static_cast<unsigned long long>(unixSeconds + kUnixEpochSince1904) << 16);
  CZuvStringData text;
  EXPECT_EQ(kZuvSuccess, time.ConvertToString(&text, dateOnly, false));
  return text.GetPtrUtf8();
}

TEST(DateTextIcuTest, SeparatedFormsMatchIcuPatterns) {
  // Zones whose rules have not changed in years, so that ICU's own copy of them agrees.
  for (const char* zone : {"UTC", "Asia/Kolkata"}) {
    if (!ScopedTimeZone::IsInstalled(zone)) GTEST_SKIP() << zone << " is not installed";
    const ScopedTimeZone scope(zone);
    for (const long long unixSeconds :
         {-kUnixEpochSince1904,  // the earliest stored time
          0LL, 1706745541LL, 253402300799LL, 253402300800LL, 3773984137384LL, 150000000000000LL}) {
      SCOPED_TRACE(testing::Message() << zone << ' ' << unixSeconds);
      EXPECT_EQ(IcuText(unixSeconds, zone, "yyyy/MM/dd HH:mm:ss"), ZuvText(unixSeconds, false));
      EXPECT_EQ(IcuText(unixSeconds, zone, "yyyy/MM/dd"), ZuvText(unixSeconds, true));
    }
  }
}

}  // namespace
