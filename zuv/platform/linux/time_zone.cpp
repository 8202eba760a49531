#include "zuv/platform/time_zone.h"

#include <initializer_list>
#include <time.h>

namespace zuv::platform {
namespace {

static_assert(sizeof(time_t) == sizeof(int64_t), "instants after 2038 need a 64-bit time_t");

constexpr int64_t kSecondsPerDay = 86400;

// Days from 1970-01-01 to a proleptic Gregorian date (negative before it), counted in 400-year
// eras of 146097 days that start on 1 March, so that a leap day ends its year.
int64_t DaysFromCivil(int64_t year, int month, int day) {
  year -= month <= 2 ? 1 : 0;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t yearOfEra = year - era * 400;
  const int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

// The offset east of UTC, in seconds, that the zone applies at an instant. tzset() has run.
bool OffsetAt(int64_t unixSeconds, int64_t* offset) {
  const time_t instant = unixSeconds;
  tm fields;
  if (localtime_r(&instant, &fields) == nullptr) return false;
  *offset = fields.tm_gmtoff;
  return true;
}

}  // namespace

bool BreakDownTime(int64_t unixSeconds, bool local, CalendarFields* out) {
  const time_t instant = unixSeconds;
  tm fields;
  // localtime_r, unlike localtime, need not look at TZ again: tzset makes each call see the zone
  // as it is now.
  if (local) tzset();
  if ((local ? localtime_r(&instant, &fields) : gmtime_r(&instant, &fields)) == nullptr) {
    return false;
  }
  out->year = int64_t{fields.tm_year} + 1900;
  out->month = fields.tm_mon + 1;
  out->day = fields.tm_mday;
  out->hour = fields.tm_hour;
  out->minute = fields.tm_min;
  out->second = fields.tm_sec;
  out->dayOfWeek = fields.tm_wday == 0 ? 7 : fields.tm_wday;
  out->dayOfYear = fields.tm_yday + 1;
  return true;
}

bool LocalTimeToUnixSeconds(const CalendarFields& local, int64_t* unixSeconds) {
  tzset();
  // The reading of the clock taken as if it were UTC. Every instant at which the zone shows it lies
  // within a day of it, so, as long as the zone changes its offset at most once within a day, the
  // offsets a day before and a day after are those on either side of any change that matters.
  const int64_t wall = DaysFromCivil(local.year, local.month, local.day) * kSecondsPerDay +
                       local.hour * 3600 + local.minute * 60 + local.second;
  int64_t before = 0;
  int64_t after = 0;
  if (!OffsetAt(wall - kSecondsPerDay, &before) || !OffsetAt(wall + kSecondsPerDay, &after)) {
    return false;
  }
  // The earlier offset is tried first, so a time shown twice is its first occurrence. A time that
  // neither offset yields lies in a gap; read with the earlier offset it lands past the change,
  // moved forward by the gap's length.
  for (const int64_t offset : {before, after}) {
    int64_t actual = 0;
    if (!OffsetAt(wall - offset, &actual)) return false;
    if (actual == offset) {
      *unixSeconds = wall - offset;
      return true;
    }
  }
  *unixSeconds = wall - before;
  return true;
}

}  // namespace zuv::platform
