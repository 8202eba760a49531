#include "zuv/time/time.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scoped_time_zone.h"
#include "zuv/strings/string_data.h"

namespace {

using zuv::platform::testing::ScopedTimeZone;

constexpr const char* kNewYork = "America/New_York";
constexpr const char* kLordHowe = "Australia/Lord_Howe";  // shifts by half an hour
constexpr const char* kKolkata = "Asia/Kolkata";          // +05:30 all year

// The 64-bit form of a UTC time, worked out by the standard library's calendar.
unsigned long long Utc(int year, unsigned month, unsigned day, int hour, int minute, int second,
                       unsigned fraction = 0) {
  using namespace std::chrono;
  const sys_seconds time = sys_days{std::chrono::year{year} / month / day} + hours{hour} +
                           minutes{minute} + seconds{second};
  return ((time.time_since_epoch().count() + 2082844800ULL) << 16) | fraction;
}

std::string Text(const CZuvTime& time, bool dateOnly, bool compact) {
  CZuvStringData text;
  EXPECT_EQ(kZuvSuccess, time.ConvertToString(&text, dateOnly, compact));
  return text.GetPtrUtf8();
}

// The value read from `text`, or 0x42 (the value before) when the text is refused.
unsigned long long Read(const std::string& text) {
  CZuvTime time(0x42);
  const ZuvResult result = time.Initialize(CZuvStringData(ZuvCharUtf8(text.c_str())));
  EXPECT_EQ(result == kZuvSuccess, static_cast<unsigned long long>(time) != 0x42) << text;
  return static_cast<unsigned long long>(time);
}

// The ordering leaves out the fraction that equality compares.
TEST(TimeTest, SixtyFourBitFormOrderingAndFields) {
  CZuvTime packed(0x123456789ABCDEF0ULL);
  EXPECT_EQ(0x56789ABCu, uint32_t{packed.GetUTCTime().lowSeconds});
  static_cast<UTCDateTime*>(packed)->fraction = 7;  // the pointer reaches the stored record
  EXPECT_EQ(0x123456789ABC0007ULL, static_cast<unsigned long long>(packed));
  // a, b, then a == b, a != b, a < b, a <= b, a > b, a >= b
  const std::pair<std::pair<unsigned long long, unsigned long long>, std::vector<bool>> rows[] = {
      {{0x50001, 0x50002}, {0, 1, 0, 1, 0, 1}},
      {{0x4FFFF, 0x50000}, {0, 1, 1, 1, 0, 0}},
      {{0x1000000000000ULL, 0xFFFFFFFF0000ULL}, {0, 1, 0, 0, 1, 1}},
  };
  for (const auto& [times, expected] : rows) {
    const CZuvTime a(times.first), b(times.second);
    EXPECT_EQ(expected, (std::vector<bool>{a == b, a != b, (a < b), a <= b, (a > b), a >= b}))
        << std::hex << times.first << " vs " << times.second;
  }
  // Fields are cut to 8 signed bits, the year to 32; 1904 UTC to 2^48 s later is held.
  const ScopedTimeZone utc("UTC");
  const auto initialize = [](const char* text) {
    unsigned f[6] = {};
    EXPECT_EQ(6, std::sscanf(text, "%u-%u-%u %u:%u:%u", &f[0], &f[1], &f[2], &f[3], &f[4], &f[5]));
    CZuvTime time(0x42);
    const ZuvResult result = time.Initialize(f[0], f[1], f[2], f[3], f[4], f[5], 999);
    EXPECT_EQ(result == kZuvSuccess, static_cast<unsigned long long>(time) != 0x42) << text;
    return static_cast<unsigned long long>(time);
  };
  EXPECT_EQ(Utc(2024, 2, 29, 0, 0, 0), initialize("2024-2-29 0:0:0"));
  EXPECT_EQ(Utc(2000, 2, 29, 0, 0, 0), initialize("2000-2-29 0:0:0"));
  EXPECT_EQ(Utc(2024, 3, 31, 1, 2, 3), initialize("2024-259-287 257:258:3"));
  EXPECT_EQ(Utc(1904, 1, 1, 0, 0, 1), initialize("1904-1-1 0:0:1"));
  EXPECT_EQ(0xFFFFFFFFFFFF0000ULL, initialize("8921490-12-6 10:44:15"));
  for (const char* refused :
       {"2023-2-29 0:0:0", "2100-2-29 0:0:0", "2024-4-31 0:0:0", "2024-1-0 0:0:0", "2024-0-1 0:0:0",
        "2024-13-1 0:0:0", "2024-1-1 24:0:0", "2024-1-1 0:60:0", "2024-1-1 0:0:60",
        "2024-131-1 0:0:0", "2147485672-1-1 0:0:0", "1903-12-31 23:59:59",
        "8921490-12-6 10:44:16"}) {
    EXPECT_EQ(0x42u, initialize(refused)) << refused;
  }
}

// A time in a gap moves forward by the gap; a time shown twice names its first occurrence. The
// fraction is dropped; GetLocalTm takes the weekday (Sunday is 7) and the year day from the UTC
// date, and tm_isdst stays 0.
TEST(TimeTest, TextFormsAndFieldsFollowTheZoneAtEachCall) {
  const struct {
    const char *zone, *text;
    unsigned long long utc;
    const char* shown;
    std::vector<int> fields;  // year, mon, mday, hour, min, sec, wday, yday, isdst
  } rows[] = {
      // clang-format off
      {"UTC", "1904/01/01 00:00:00", 0, "1904/01/01 00:00:00", {4, 0, 1, 0, 0, 0, 5, 1, 0}},
      {kNewYork, "2024/07/01 12:00:00", Utc(2024, 7, 1, 16, 0, 0), "2024/07/01 12:00:00",
          {124, 6, 1, 12, 0, 0, 1, 183, 0}},
      {kNewYork, "2024/03/10 02:30:00", Utc(2024, 3, 10, 7, 30, 0), "2024/03/10 03:30:00",
          {124, 2, 10, 3, 30, 0, 7, 70, 0}},
      {kNewYork, "2024/11/03 01:30:00", Utc(2024, 11, 3, 5, 30, 0), "2024/11/03 01:30:00",
          {124, 10, 3, 1, 30, 0, 7, 308, 0}},
      {kLordHowe, "2024/10/06 02:15:00", Utc(2024, 10, 5, 15, 45, 0), "2024/10/06 02:45:00",
          {124, 9, 6, 2, 45, 0, 6, 279, 0}},
      {kKolkata, "2025/01/01 01:30:07", Utc(2024, 12, 31, 20, 0, 7), "2025/01/01 01:30:07",
          {125, 0, 1, 1, 30, 7, 2, 366, 0}},
      // clang-format on
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.zone << ' ' << row.text);
    if (!ScopedTimeZone::IsInstalled(row.zone)) GTEST_SKIP() << row.zone << " is not installed";
    const ScopedTimeZone zone(row.zone);
    EXPECT_EQ(row.utc, Read(row.text));
    const CZuvTime within(row.utc | 0xABCD);
    EXPECT_EQ(row.shown, Text(within, false, false));
    EXPECT_EQ(row.utc, Read(Text(within, false, true)));
    const std::string date = Text(within, true, false);
    EXPECT_EQ(std::string(row.shown, 10), date);
    EXPECT_EQ(date + " 00:00:00", Text(CZuvTime(Read(date)), false, false));
    const tm f = within.GetLocalTm();
    EXPECT_EQ(row.fields, (std::vector<int>{f.tm_year, f.tm_mon, f.tm_mday, f.tm_hour, f.tm_min,
                                            f.tm_sec, f.tm_wday, f.tm_yday, f.tm_isdst}));
    std::vector<unsigned> g(7, 99);  // the last is the millisecond
    EXPECT_EQ(kZuvSuccess, within.GetTime(&g[0], &g[1], &g[2], &g[3], &g[4], &g[5], &g[6]));
    EXPECT_EQ(std::vector<int>(g.begin(), g.end()),
              (std::vector<int>{f.tm_year + 1900, f.tm_mon + 1, f.tm_mday, f.tm_hour, f.tm_min,
                                f.tm_sec, 0}));
  }
  // Digits are read by position, whatever stands between them ("1/31" is month 13).
  const ScopedTimeZone utc("UTC");
  EXPECT_EQ(Utc(2024, 1, 31, 23, 59, 0), Read("on 2024.01.31 at 23h59"));
  EXPECT_EQ(Utc(2024, 1, 3, 0, 0, 0), Read("2024/01/3"));
  EXPECT_EQ(0x42u, Read("2024/1/31"));
  EXPECT_EQ(0x42u, Read("\xef\xbc\x92\xef\xbc\x90\xef\xbc\x92\xef\xbc\x94/01/31"));
  EXPECT_EQ(kZuvErrFailed, CZuvTime(0x42).Initialize(CZuvStringData()));
  // The year takes four digits at least and as many as it needs; the compact form needs no output.
  const CZuvTime last(0xFFFFFFFFFFFFFFFFULL);
  EXPECT_EQ("8921490/12/06 10:44:15", Text(last, false, false));
  EXPECT_EQ("89214901206104415000", Text(last, true, true));
  EXPECT_EQ(kZuvSuccess, last.ConvertToString(nullptr, false, true));
  EXPECT_EQ(kZuvErrFailed, last.ConvertToString(nullptr, true, false));
}

}  // namespace
