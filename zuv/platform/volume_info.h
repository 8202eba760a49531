// The volume questions the classification asks, answered from the machine facts: the root folder
// and locked state of a volume, whether it is on the network or ejectable and from which device it
// is mounted, the volumes whose medium is of a device class, the walk from a device towards the top
// of the device tree, and the free space of a volume.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zuv/platform/catalog.h"

namespace zuv::platform {

/// Volume flags of a VolumeInfo.
enum : uint16_t {
  kVolumeHardwareLocked = 0x0080,  // the device is read-only
  kVolumeSoftwareLocked = 0x8000,  // the file system is mounted read-only
};

/// Where a volume is and whether it may be written.
struct VolumeInfo {
  FSRef root;
  uint16_t flags = 0;
};

/// What a volume is mounted from.
struct VolumeParms {
  bool network = false;    // a network file system
  bool ejectable = false;  // its disk has removable media
  std::string deviceName;  // kernel name of its block device; empty when it has none
};

/// The volume's root and flags. kErrNoSuchVolume when the volume is not mounted (or the mount
/// table cannot be read).
OSStatus GetVolumeInfo(int16_t volume, VolumeInfo* info);
/// What the volume is mounted from. kErrNoSuchVolume as for GetVolumeInfo.
OSStatus GetVolumeParms(int16_t volume, VolumeParms* parms);
/// Mount points of the volumes whose medium is of a device class: "IOCDMedia" and "IODVDMedia"
/// are optical drives and ISO 9660 or UDF file systems, "IOUSBMassStorageClass" the block devices
/// below a USB device. Empty for none, or for another class.
std::vector<std::string> MediaMountPoints(const char* deviceClass);
/// Device path in the device tree of the block device of that kernel name; empty when none.
std::string BlockDeviceEntry(const std::string& name);
/// Whether `test` holds for the device `entry` of the device tree ("/sys/devices/...") or for one
/// of the devices above it, asked one parent folder at a time from the device itself up to the
/// tree's top. False for an entry outside the tree.
bool DeviceOrParentMatches(const std::string& entry,
                           const std::function<bool(const std::string& device)>& test);
/// Bytes an unprivileged user may still write on the item's volume. kErrIO when unknown.
OSStatus GetFreeBytes(const FSRef& ref, uint64_t* bytes);

}  // namespace zuv::platform
