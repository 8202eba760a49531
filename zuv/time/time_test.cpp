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

#define SKIP_UNLESS_INSTALLED(zone) \
  if (!ScopedTimeZone::IsInstalled(zone)) GTEST_SKIP() << zone << " is not installed (tzdata)"

std::string Text(const CZuvTime& time, bool dateOnly, bool compact) {
  CZuvStringData text;
  EXPECT_EQ(kZuvSuccess, time.ConvertToString(&text, dateOnly, compact));
  return text.GetPtrUtf8();
}

ZuvResult Read(CZuvTime* time, const std::string& text) {
  return time->Initialize(CZuvStringData(ZuvCharUtf8(text.c_str())));
}

TEST(TimeTest, SixtyFourBitFormSplitsIntoTheRecordAndBack) {
  const struct {
    unsigned long long value;
    uint16_t highSeconds;
    uint32_t lowSeconds;
    uint16_t fraction;
  } rows[] = {{0x123456789ABCDEF0ULL, 0x1234, 0x56789ABC, 0xDEF0},
              {0, 0, 0, 0},
              {0xFFFFFFFFFFFFFFFFULL, 0xFFFF, 0xFFFFFFFF, 0xFFFF}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.value);
    const UTCDateTime record = CZuvTime(row.value).GetUTCTime();
    // Read by value: a reference to a field of the packed record would be misaligned.
    EXPECT_EQ(row.highSeconds, uint16_t{record.highSeconds});
    EXPECT_EQ(row.lowSeconds, uint32_t{record.lowSeconds});
    EXPECT_EQ(row.fraction, uint16_t{record.fraction});
    CZuvTime assigned;
    assigned = row.value;
    EXPECT_EQ(row.value, static_cast<unsigned long long>(assigned));
    EXPECT_EQ(row.value, static_cast<unsigned long long>(CZuvTime(record)));
    EXPECT_EQ(row.value == 0, assigned.IsEmpty());
  }
  CZuvTime filled;
  static_cast<UTCDateTime*>(filled)->fraction = 7;  // the pointer reaches the stored record
  EXPECT_EQ(7u, static_cast<unsigned long long>(filled));
}

TEST(TimeTest, OrderingIgnoresTheFractionThatEqualityCompares) {
  const struct {
    unsigned long long a, b;
    bool equal, less, lessEqual, greater, greaterEqual;
  } rows[] = {
      {0x50000, 0x50000, true, false, true, false, true},
      {0x50001, 0x50002, false, false, true, false, true},  // same second, fractions differ
      {0x4FFFF, 0x50000, false, true, true, false, false},  // one second apart, fraction or not
      {0x1000000000000ULL, 0xFFFFFFFF0000ULL, false, false, false, true, true},  // high beats low
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << std::hex << row.a << " vs " << row.b);
    const CZuvTime a(row.a), b(row.b);
    EXPECT_EQ(row.equal, a == b);
    EXPECT_EQ(!row.equal, a != b);
    EXPECT_EQ(row.less, a < b);
    EXPECT_EQ(row.lessEqual, a <= b);
    EXPECT_EQ(row.greater, a > b);
    EXPECT_EQ(row.greaterEqual, a >= b);
  }
}

// Initialize from the fields written "year-month-day hour:minute:second".
ZuvResult InitializeFields(CZuvTime* time, const char* text) {
  unsigned f[6] = {};
  EXPECT_EQ(6, std::sscanf(text, "%u-%u-%u %u:%u:%u", &f[0], &f[1], &f[2], &f[3], &f[4], &f[5]));
  return time->Initialize(f[0], f[1], f[2], f[3], f[4], f[5], 999);
}

// Month, day, hour and minute are cut to 8 signed bits first, the year to 32. The value holds
// 1904-01-01 00:00:00 UTC to 2^48 seconds later.
TEST(TimeTest, InitializeChecksEveryFieldAndKeepsTheValueOnFailure) {
  const ScopedTimeZone utc("UTC");
  const struct {
    const char* fields;
    unsigned long long expected;
  } accepted[] = {{"2024-1-31 23:59:59", Utc(2024, 1, 31, 23, 59, 59)},
                  {"2024-2-29 0:0:0", Utc(2024, 2, 29, 0, 0, 0)},
                  {"2000-2-29 0:0:0", Utc(2000, 2, 29, 0, 0, 0)},
                  {"2024-259-287 257:258:3", Utc(2024, 3, 31, 1, 2, 3)},
                  {"1904-1-1 0:0:1", Utc(1904, 1, 1, 0, 0, 1)},
                  {"8921490-12-6 10:44:15", 0xFFFFFFFFFFFF0000ULL}};
  for (const auto& row : accepted) {
    CZuvTime time;
    EXPECT_EQ(kZuvSuccess, InitializeFields(&time, row.fields)) << row.fields;
    EXPECT_EQ(row.expected, static_cast<unsigned long long>(time)) << row.fields;
  }
  for (const char* fields :
       {"2023-2-29 0:0:0", "2100-2-29 0:0:0", "2024-4-31 0:0:0", "2024-1-0 0:0:0", "2024-0-1 0:0:0",
        "2024-13-1 0:0:0", "2024-1-1 24:0:0", "2024-1-1 0:60:0", "2024-1-1 0:0:60",
        "2024-131-1 0:0:0", "2147485672-1-1 0:0:0", "1903-12-31 23:59:59",
        "8921490-12-6 10:44:16"}) {
    CZuvTime time(0x123456789ABCDEF0ULL);
    EXPECT_EQ(kZuvErrFailed, InitializeFields(&time, fields)) << fields;
    EXPECT_EQ(0x123456789ABCDEF0ULL, static_cast<unsigned long long>(time)) << fields;
  }
}

// A text read in each zone, the UTC time it names, and how the zone shows that time. A time in a
// gap moves forward by the gap; a time shown twice names its first occurrence.
TEST(TimeTest, LocalTimeFollowsTheZoneAtEachCall) {
  const struct {
    const char* zone;
    const char* text;
    unsigned long long utc;
    const char* shown;
  } rows[] = {
      {"UTC", "2024/01/31 23:59:01", Utc(2024, 1, 31, 23, 59, 1), "2024/01/31 23:59:01"},
      {kNewYork, "2024/01/15 12:00:00", Utc(2024, 1, 15, 17, 0, 0), "2024/01/15 12:00:00"},
      {kNewYork, "2024/07/01 12:00:00", Utc(2024, 7, 1, 16, 0, 0), "2024/07/01 12:00:00"},
      {kNewYork, "2024/03/10 02:30:00", Utc(2024, 3, 10, 7, 30, 0), "2024/03/10 03:30:00"},
      {kNewYork, "2024/11/03 01:30:00", Utc(2024, 11, 3, 5, 30, 0), "2024/11/03 01:30:00"},
      {kLordHowe, "2024/07/01 12:00:00", Utc(2024, 7, 1, 1, 30, 0), "2024/07/01 12:00:00"},
      {kLordHowe, "2024/10/06 02:15:00", Utc(2024, 10, 5, 15, 45, 0), "2024/10/06 02:45:00"},
      {kLordHowe, "2024/04/07 01:45:00", Utc(2024, 4, 6, 14, 45, 0), "2024/04/07 01:45:00"},
      {kKolkata, "2024/12/31 23:59:59", Utc(2024, 12, 31, 18, 29, 59), "2024/12/31 23:59:59"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.zone << ' ' << row.text);
    SKIP_UNLESS_INSTALLED(row.zone);
    const ScopedTimeZone zone(row.zone);
    CZuvTime time;
    ASSERT_EQ(kZuvSuccess, Read(&time, row.text));
    EXPECT_EQ(row.utc, static_cast<unsigned long long>(time));

    // Each text form of a time within that second reads back as the whole second; the date
    // alone as local midnight.
    const CZuvTime within(row.utc | 0xABCD);
    EXPECT_EQ(row.shown, Text(within, false, false));
    for (const bool compact : {false, true}) {
      CZuvTime reread;
      Read(&reread, Text(within, false, compact));
      EXPECT_EQ(row.utc, static_cast<unsigned long long>(reread)) << "compact " << compact;
    }
    const std::string date = Text(within, true, false);
    EXPECT_EQ(std::string(row.shown, 10), date);
    CZuvTime midnight;
    ASSERT_EQ(kZuvSuccess, Read(&midnight, date));
    EXPECT_EQ(date + " 00:00:00", Text(midnight, false, false));
  }
}

// The year takes four digits at least and as many more as it needs; the compact form wins over
// the date alone and needs no output.
TEST(TimeTest, TextFormsOfOneTime) {
  const ScopedTimeZone utc("UTC");
  const struct {
    unsigned long long time;
    const char *full, *date, *compact;
  } rows[] = {
      {0, "1904/01/01 00:00:00", "1904/01/01", "19040101000000000"},
      {Utc(12345, 6, 7, 8, 9, 10), "12345/06/07 08:09:10", "12345/06/07", "123450607080910000"},
      {0xFFFFFFFFFFFFFFFFULL, "8921490/12/06 10:44:15", "8921490/12/06", "89214901206104415000"},
  };
  for (const auto& row : rows) {
    const CZuvTime time(row.time);
    EXPECT_EQ(row.full, Text(time, false, false));
    EXPECT_EQ(row.date, Text(time, true, false));
    EXPECT_EQ(row.compact, Text(time, true, true));
  }
  const CZuvTime time(Utc(2024, 1, 31, 0, 0, 0));
  EXPECT_EQ(kZuvSuccess, time.ConvertToString(nullptr, false, true));
  EXPECT_EQ(kZuvErrFailed, time.ConvertToString(nullptr, false, false));
  EXPECT_EQ(kZuvErrFailed, time.ConvertToString(nullptr, true, false));
}

TEST(TimeTest, InitializeFromTextReadsDigitsByPosition) {
  SKIP_UNLESS_INSTALLED(kKolkata);
  const ScopedTimeZone zone(kKolkata);
  const struct {
    const char* text;
    unsigned long long expected;  // 0: refused
  } rows[] = {
      {"on 2024.01.31 at 23h59", Utc(2024, 1, 31, 18, 29, 0)},
      {"2024/01/3", Utc(2024, 1, 2, 18, 30, 0)},  // a field cut short keeps its digits
      {"2024/1/31", 0},                           // month 13
      {"", 0},
      {"\xef\xbc\x92\xef\xbc\x90\xef\xbc\x92\xef\xbc\x94/01/31", 0},  // full-width digits
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    CZuvTime time(0x42);
    EXPECT_EQ(row.expected != 0 ? kZuvSuccess : kZuvErrFailed, Read(&time, row.text));
    EXPECT_EQ(row.expected != 0 ? row.expected : 0x42, static_cast<unsigned long long>(time));
  }
  EXPECT_EQ(kZuvErrFailed, CZuvTime(0x42).Initialize(CZuvStringData()));
}

// GetTime and GetLocalTm give the local fields, whole seconds (a fraction is dropped, not rounded),
// except that GetLocalTm takes the weekday (Sunday is 7) and the year day from the UTC date.
TEST(TimeTest, LocalFieldsWithWeekdayAndYearDayOfTheUtcDate) {
  const struct {
    const char* zone;
    unsigned long long utc;
    std::vector<int> fields;  // year, mon, mday, hour, min, sec, wday, yday, isdst
  } rows[] = {
      // Tuesday 31 December 2024 in UTC is already 1 January 2025 in Kolkata.
      {kKolkata, Utc(2024, 12, 31, 20, 0, 7, 0xFFFF), {125, 0, 1, 1, 30, 7, 2, 366, 0}},
      // Summer time, yet tm_isdst is 0. Monday 1 July, day 183 of a leap year.
      {kNewYork, Utc(2024, 7, 1, 16, 0, 0), {124, 6, 1, 12, 0, 0, 1, 183, 0}},
      {"UTC", Utc(2023, 1, 1, 0, 0, 0), {123, 0, 1, 0, 0, 0, 7, 1, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.zone);
    SKIP_UNLESS_INSTALLED(row.zone);
    const ScopedTimeZone zone(row.zone);
    const CZuvTime time(row.utc);
    const tm f = time.GetLocalTm();
    EXPECT_EQ(row.fields, (std::vector<int>{f.tm_year, f.tm_mon, f.tm_mday, f.tm_hour, f.tm_min,
                                            f.tm_sec, f.tm_wday, f.tm_yday, f.tm_isdst}));
    std::vector<unsigned> got(7, 99);
    EXPECT_EQ(kZuvSuccess,
              time.GetTime(&got[0], &got[1], &got[2], &got[3], &got[4], &got[5], &got[6]));
    EXPECT_EQ((std::vector<unsigned>(row.fields.begin(), row.fields.begin() + 6)),
              (std::vector<unsigned>{got[0] - 1900, got[1] - 1, got[2], got[3], got[4], got[5]}));
    EXPECT_EQ(0u, got[6]);  // the millisecond
    EXPECT_EQ(kZuvSuccess,
              time.GetTime(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
  }
}

TEST(TimeTest, CurrentTimeIsTheSystemClock) {
  using namespace std::chrono;
  const long long before = floor<seconds>(system_clock::now()).time_since_epoch().count();
  CZuvTime now;
  EXPECT_EQ(kZuvSuccess, now.GetCurrentTime());
  const long long after = floor<seconds>(system_clock::now()).time_since_epoch().count();
  const long long unixSeconds = static_cast<long long>(static_cast<unsigned long long>(now) >> 16);
  EXPECT_LE(before, unixSeconds - 2082844800);
  EXPECT_GE(after, unixSeconds - 2082844800);
}

}  // namespace
