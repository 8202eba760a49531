// The system time zone, as the C library sees it at the moment of each call (TZ honoured): the
// calendar fields of an instant in local time or in UTC, and the instant named by local fields.
// Instants are whole seconds since 1970-01-01 00:00:00 UTC.
#pragma once

#include <cstdint>

#include "zuv/export.h"

namespace zuv::platform {

/// Gregorian calendar fields (proleptic before 1582). month and day count from 1; dayOfWeek runs
/// from 1 for Monday to 7 for Sunday; dayOfYear counts from 1.
struct CalendarFields {
  int64_t year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int dayOfWeek = 0;
  int dayOfYear = 0;
};

/// The fields of `unixSeconds` in the system time zone (`local` true) or in UTC. False, with `out`
/// unchanged, when the year does not fit in an int.
ZUV_EXPORT bool BreakDownTime(int64_t unixSeconds, bool local, CalendarFields* out);

/// The instant at which the system time zone shows the given year, month, day, hour, minute and
/// second, which must form a valid date and time (the other fields are not read). A time that the
/// zone skips moves forward by the length of the gap; a time that it shows twice is the first
/// occurrence. False when the zone's offset cannot be found for so distant a year.
ZUV_EXPORT bool LocalTimeToUnixSeconds(const CalendarFields& local, int64_t* unixSeconds);

}  // namespace zuv::platform
