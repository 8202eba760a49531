#include "zuv/time/time.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "zuv/platform/time_zone.h"
#include "zuv/strings/string_data.h"

static_assert(sizeof(CZuvTime) == 8, "a CZuvTime is its UTCDateTime record");

namespace {

using zuv::platform::CalendarFields;

// Seconds from 1904-01-01 00:00:00 UTC, the origin of the stored value, to the Unix epoch.
constexpr int64_t kUnixEpochSince1904 = 2082844800;
// The stored value counts whole seconds in 48 bits.
constexpr int64_t kSecondsLimit = int64_t{1} << 48;
constexpr int64_t kFractionsPerSecond = 65536;

uint64_t WholeSeconds(const UTCDateTime& time) {
  return (uint64_t{time.highSeconds} << 32) | time.lowSeconds;
}

// The stored time's calendar fields in the local zone or in UTC. Every stored time falls in a year
// that the platform can represent, so the fields are always filled.
CalendarFields FieldsOf(const UTCDateTime& time, bool local) {
  CalendarFields fields;
  zuv::platform::BreakDownTime(static_cast<int64_t>(WholeSeconds(time)) - kUnixEpochSince1904,
                               local, &fields);
  return fields;
}

bool IsLeapYear(int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int DaysInMonth(int64_t year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

}  // namespace

CZuvTime::CZuvTime() : m_utcTime{} {}

CZuvTime::CZuvTime(const UTCDateTime& time) : m_utcTime(time) {}

CZuvTime& CZuvTime::operator=(const UTCDateTime& time) {
  m_utcTime = time;
  return *this;
}

CZuvTime::CZuvTime(const unsigned long long& value) { *this = value; }

CZuvTime& CZuvTime::operator=(const unsigned long long& value) {
  m_utcTime.highSeconds = static_cast<uint16_t>(value >> 48);
  m_utcTime.lowSeconds = static_cast<uint32_t>(value >> 16);
  m_utcTime.fraction = static_cast<uint16_t>(value);
  return *this;
}

CZuvTime::operator unsigned long long() const {
  return (static_cast<unsigned long long>(WholeSeconds(m_utcTime)) << 16) | m_utcTime.fraction;
}

CZuvTime::operator UTCDateTime*() { return &m_utcTime; }

UTCDateTime CZuvTime::GetUTCTime() const { return m_utcTime; }

bool CZuvTime::operator==(const CZuvTime& other) const {
  return static_cast<unsigned long long>(*this) == static_cast<unsigned long long>(other);
}

bool CZuvTime::operator!=(const CZuvTime& other) const { return !(*this == other); }

// The ordering leaves out the fraction that == looks at, so that times within one second count as
// neither earlier nor later than each other. Kept so on purpose.
bool CZuvTime::operator>(const CZuvTime& other) const {
  return WholeSeconds(m_utcTime) > WholeSeconds(other.m_utcTime);
}

bool CZuvTime::operator>=(const CZuvTime& other) const {
  return WholeSeconds(m_utcTime) >= WholeSeconds(other.m_utcTime);
}

bool CZuvTime::operator<(const CZuvTime& other) const {
  return WholeSeconds(m_utcTime) < WholeSeconds(other.m_utcTime);
}

bool CZuvTime::operator<=(const CZuvTime& other) const {
  return WholeSeconds(m_utcTime) <= WholeSeconds(other.m_utcTime);
}

bool CZuvTime::IsEmpty() const {
  return m_utcTime.highSeconds == 0 && m_utcTime.lowSeconds == 0 && m_utcTime.fraction == 0;
}

ZuvResult CZuvTime::GetCurrentTime() {
  using std::chrono::seconds;
  const auto sinceUnixEpoch = std::chrono::system_clock::now().time_since_epoch();
  const auto whole = std::chrono::floor<seconds>(sinceUnixEpoch);
  const int64_t fraction =
      std::chrono::nanoseconds(sinceUnixEpoch - whole).count() * kFractionsPerSecond / 1000000000;
  *this = static_cast<unsigned long long>(
      (whole.count() + kUnixEpochSince1904) * kFractionsPerSecond + fraction);
  return kZuvSuccess;
}

ZuvResult CZuvTime::Initialize(unsigned year, unsigned month, unsigned day, unsigned hour,
                               unsigned minute, unsigned second, unsigned /*millisecond*/) {
  // A time's calendar record holds the year in 32 signed bits and month, day, hour and minute in
  // 8 signed bits, and the arguments are cut to those widths before they are checked, as callers
  // have always seen it: month 257 is January, month 129 is -127 and refused.
  const CalendarFields local = {.year = static_cast<int32_t>(year),
                                .month = static_cast<int8_t>(month),
                                .day = static_cast<int8_t>(day),
                                .hour = static_cast<int8_t>(hour),
                                .minute = static_cast<int8_t>(minute),
                                .second = static_cast<int>(second)};
  if (local.month < 1 || local.month > 12 || local.day < 1 ||
      local.day > DaysInMonth(local.year, local.month) || local.hour < 0 || local.hour > 23 ||
      local.minute < 0 || local.minute > 59 || second > 59) {
    return kZuvErrFailed;
  }
  int64_t unixSeconds = 0;
  if (!zuv::platform::LocalTimeToUnixSeconds(local, &unixSeconds)) return kZuvErrFailed;
  const int64_t seconds = unixSeconds + kUnixEpochSince1904;
  if (seconds < 0 || seconds >= kSecondsLimit) return kZuvErrFailed;
  *this = static_cast<unsigned long long>(seconds) << 16;
  return kZuvSuccess;
}

ZuvResult CZuvTime::GetTime(unsigned* year, unsigned* month, unsigned* day, unsigned* hour,
                            unsigned* minute, unsigned* second, unsigned* millisecond) const {
  const CalendarFields local = FieldsOf(m_utcTime, true);
  const auto put = [](unsigned* out, int64_t value) {
    if (out != nullptr) *out = static_cast<unsigned>(value);
  };
  put(year, local.year);
  put(month, local.month);
  put(day, local.day);
  put(hour, local.hour);
  put(minute, local.minute);
  put(second, local.second);
  put(millisecond, 0);
  return kZuvSuccess;
}

tm CZuvTime::GetLocalTm() const {
  const CalendarFields local = FieldsOf(m_utcTime, true);
  const CalendarFields utc = FieldsOf(m_utcTime, false);
  tm fields{};
  fields.tm_sec = local.second;
  fields.tm_min = local.minute;
  fields.tm_hour = local.hour;
  fields.tm_mday = local.day;
  fields.tm_mon = local.month - 1;
  fields.tm_year = static_cast<int>(local.year - 1900);
  // Day of week and day of year keep the conventions of the time value's calendar (1 for Monday
  // to 7 for Sunday, days of the year from 1) and are taken from the UTC date, so near midnight
  // they may disagree with the local date; tm_isdst stays 0. Callers read them so.
  fields.tm_wday = utc.dayOfWeek;
  fields.tm_yday = utc.dayOfYear;
  fields.tm_isdst = 0;
  return fields;
}

ZuvResult CZuvTime::ConvertToString(CZuvStringData* out, bool dateOnly, bool compact) const {
  if (out == nullptr && !compact) return kZuvErrFailed;
  const CalendarFields local = FieldsOf(m_utcTime, true);
  const long long year = local.year;
  // The two separated forms are the texts of the date patterns "yyyy/MM/dd" and
  // "yyyy/MM/dd HH:mm:ss" with ASCII digits: the year zero-padded to four digits and written in
  // full beyond 9999. They are written from the C library's local fields, not by a date formatter
  // with time zone rules of its own, so that they always agree with GetTime. No stored time lies
  // before the year 1903, so no era is ever needed. The compact form has no milliseconds: "000".
  char text[48];
  if (compact) {
    std::snprintf(text, sizeof text, "%04lld%02d%02d%02d%02d%02d000", year, local.month, local.day,
                  local.hour, local.minute, local.second);
  } else if (dateOnly) {
    std::snprintf(text, sizeof text, "%04lld/%02d/%02d", year, local.month, local.day);
  } else {
    std::snprintf(text, sizeof text, "%04lld/%02d/%02d %02d:%02d:%02d", year, local.month,
                  local.day, local.hour, local.minute, local.second);
  }
  if (out != nullptr) out->InitWithUtf8(text);
  return kZuvSuccess;
}

ZuvResult CZuvTime::Initialize(const CZuvStringData& text) {
  if (text.IsEmpty()) return kZuvErrFailed;
  const char* system = text.GetPtrSystemEncoding();
  std::string digits;
  for (const char c : std::string_view(system != nullptr ? system : "")) {
    if (c >= '0' && c <= '9') digits += c;
  }
  // Fields by position, yyyyMMddHHmmss; a field cut short by the end of the digits keeps the
  // digits it has, and one past the end is 0. The milliseconds that may follow are not used.
  const auto field = [&digits](size_t start, size_t length) {
    unsigned value = 0;
    for (size_t i = start; i < start + length && i < digits.size(); ++i) {
      value = value * 10 + static_cast<unsigned>(digits[i] - '0');
    }
    return value;
  };
  return Initialize(field(0, 4), field(4, 2), field(6, 2), field(8, 2), field(10, 2), field(12, 2),
                    0);
}
