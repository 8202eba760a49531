// The library's portable catalog records: the fixed-layout values that its public signatures use
// to exchange dates and file-system facts with callers, declared here where the platform does not
// provide them itself.
#pragma once

#include <cstdint>

#pragma pack(push, 2)

/// A UTC date in seconds since 1904-01-01 00:00:00 UTC (48 bits, split in two) with a fraction in
/// units of 1/65536 second. Packed to 8 bytes with 2-byte alignment; all zero means no date.
struct UTCDateTime {
  uint16_t highSeconds;
  uint32_t lowSeconds;
  uint16_t fraction;
};

#pragma pack(pop)

static_assert(sizeof(UTCDateTime) == 8 && alignof(UTCDateTime) == 2);
