// CZuvTime, the library's point in time: a UTC time in seconds since 1904-01-01 00:00:00 UTC with
// a fraction of 1/65536 second. It converts to and from calendar fields in the system's local time
// zone (as the zone is at each call), to and from a 64-bit count of 1/65536 seconds, and to and
// from text in three layouts: "2024/01/31", "2024/01/31 23:59:01" and "20240131235901000".
#pragma once

#include <ctime>

#include "zuv/export.h"
#include "zuv/platform/catalog_types.h"
#include "zuv/transfer/result.h"

class CZuvStringData;

/// A UTC time stored as a UTCDateTime record; all zero means that no time is set. A plain value
/// without locking.
class ZUV_EXPORT CZuvTime {
 public:
  /// No time set.
  CZuvTime();
  /// A copy of the other time.
  /// @{
  CZuvTime(const CZuvTime& other) = default;
  CZuvTime& operator=(const CZuvTime& other) = default;
  /// @}
  /// Takes the record as it is.
  /// @{
  CZuvTime(const UTCDateTime& time);
  CZuvTime& operator=(const UTCDateTime& time);
  /// @}
  /// From the 64-bit form: highSeconds × 2^48 + lowSeconds × 2^16 + fraction, the time in units of
  /// 1/65536 second since 1904. Exact both ways.
  /// @{
  CZuvTime(const unsigned long long& value);
  CZuvTime& operator=(const unsigned long long& value);
  /// @}

  /// The 64-bit form.
  operator unsigned long long() const;
  /// The stored record, for calls that fill it in place.
  operator UTCDateTime*();
  /// A copy of the stored record.
  UTCDateTime GetUTCTime() const;

  /// Equal when all three fields are, the fraction included.
  /// @{
  bool operator==(const CZuvTime& other) const;
  bool operator!=(const CZuvTime& other) const;
  /// @}
  /// Ordered by whole seconds only: two times in one second with different fractions are neither
  /// equal nor ordered by < and >, yet both <= and >= hold.
  /// @{
  bool operator>(const CZuvTime& other) const;
  bool operator>=(const CZuvTime& other) const;
  bool operator<(const CZuvTime& other) const;
  bool operator<=(const CZuvTime& other) const;
  /// @}

  /// True when no time is set (all three fields 0).
  bool IsEmpty() const;

  /// Sets the time of the system clock, to 1/65536 second. Always kZuvSuccess.
  ZuvResult GetCurrentTime();

  /// Sets the time from local calendar fields; the millisecond is not used. Month, day, hour and
  /// minute are first cut to 8 signed bits and the year to 32. kZuvErrFailed, with the time
  /// unchanged, unless month is 1-12, day exists in that month (29 February in Gregorian leap
  /// years only), hour is 0-23, minute 0-59 and second 0-59 (a leap second 60 is refused), or when
  /// the time falls outside what the value holds (before 1904 UTC, or 2^48 seconds after).
  ZuvResult Initialize(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                       unsigned second, unsigned millisecond);
  /// Local calendar fields; second is whole seconds and millisecond always 0. A null pointer is
  /// skipped. Always kZuvSuccess.
  ZuvResult GetTime(unsigned* year, unsigned* month, unsigned* day, unsigned* hour,
                    unsigned* minute, unsigned* second, unsigned* millisecond) const;
  /// Local calendar fields as a tm record, except that tm_wday (1 Monday to 7 Sunday) and tm_yday
  /// (from 1) are those of the UTC date, and tm_isdst is always 0.
  tm GetLocalTm() const;

  /// Local time as text: compact gives the 17 digits "yyyyMMddHHmmss000" (stored only when `out`
  /// is not null); otherwise dateOnly gives "yyyy/MM/dd", else "yyyy/MM/dd HH:mm:ss". kZuvSuccess,
  /// or kZuvErrFailed for a null `out` outside the compact form.
  ZuvResult ConvertToString(CZuvStringData* out, bool dateOnly, bool compact) const;
  /// Reads any of those texts: the ASCII digits of its system-encoding form, taken by position as
  /// yyyyMMddHHmmss (further digits ignored, missing ones 0), then set as Initialize from fields
  /// does. kZuvErrFailed for an empty text and for an invalid date or time.
  ZuvResult Initialize(const CZuvStringData& text);

 private:
  UTCDateTime m_utcTime;
};
