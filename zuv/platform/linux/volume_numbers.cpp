#include "zuv/platform/linux/volume_numbers.h"

#include <limits>
#include <map>
#include <mutex>
#include <vector>

namespace zuv::platform::detail {
namespace {

constexpr int kFirstNumber = -100;
constexpr size_t kNumberCount = kFirstNumber - std::numeric_limits<int16_t>::min() + 1;

struct VolumeNumbers {
  std::mutex mutex;
  std::map<uint64_t, int16_t> byDevice;
  std::vector<uint64_t> devices;  // devices[i] has number kFirstNumber - i
};

VolumeNumbers& TheVolumeNumbers() {
  static VolumeNumbers numbers;
  return numbers;
}

}  // namespace

int16_t VolumeRefNumOf(uint64_t device) {
  VolumeNumbers& numbers = TheVolumeNumbers();
  std::lock_guard lock(numbers.mutex);
  if (auto found = numbers.byDevice.find(device); found != numbers.byDevice.end()) {
    return found->second;
  }
  if (numbers.devices.size() == kNumberCount) return 0;
  const auto number = static_cast<int16_t>(kFirstNumber - static_cast<int>(numbers.devices.size()));
  numbers.devices.push_back(device);
  numbers.byDevice.emplace(device, number);
  return number;
}

bool DeviceOfVolume(int16_t volume, uint64_t* device) {
  const int index = kFirstNumber - volume;
  VolumeNumbers& numbers = TheVolumeNumbers();
  std::lock_guard lock(numbers.mutex);
  if (index < 0 || static_cast<size_t>(index) >= numbers.devices.size()) return false;
  *device = numbers.devices[static_cast<size_t>(index)];
  return true;
}

}  // namespace zuv::platform::detail
