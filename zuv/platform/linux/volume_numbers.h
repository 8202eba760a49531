// Volume reference numbers on Linux: one per device id (st_dev), handed out in order of first
// sight and kept for the life of the process.
#pragma once

#include <cstdint>

namespace zuv::platform::detail {

/// The number of a device id: -100 for the first device the process sees, -101 for the next, and
/// so on; never reused. 0 once all 16-bit numbers are taken. Thread-safe.
int16_t VolumeRefNumOf(uint64_t device);
/// The device id behind a number handed out by VolumeRefNumOf; false for any other number.
bool DeviceOfVolume(int16_t volume, uint64_t* device);

}  // namespace zuv::platform::detail
