#include "zuv/platform/volume_info.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "zuv/platform/linux/volume_numbers.h"
#include "zuv/platform/machine_facts.h"

namespace zuv::platform {
namespace {

// The top of the device tree; the walk towards the root of a device ends below it.
constexpr std::string_view kDeviceTreeTop = "/sys/devices/";

constexpr std::array<std::string_view, 16> kNetworkFileSystems = {
    "nfs",        "nfs4",        "cifs",        "smb3",      "smbfs",  "ncpfs",
    "afs",        "9p",          "ceph",        "glusterfs", "lustre", "davfs",
    "fuse.sshfs", "fuse.davfs2", "fuse.rclone", "fuse.s3fs"};

// A disc, or an image of one mounted through a loop device or through FUSE, carries one of these.
constexpr std::array<std::string_view, 4> kOpticalFileSystems = {"iso9660", "udf", "fuse.fuseiso",
                                                                 "fuse.fuseiso9660"};

template <size_t N>
bool Contains(const std::array<std::string_view, N>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// The mount of a volume. A file system mounted more than once (bind mounts) is one volume; the
// mount of the whole file system is preferred to one of a folder inside it.
bool FindVolumeMount(int16_t volume, MountEntry* mount) {
  uint64_t device = 0;
  std::vector<MountEntry> mounts;
  if (!detail::DeviceOfVolume(volume, &device) ||
      !Replaceable<MachineFacts>::Current().ReadMounts(&mounts)) {
    return false;
  }
  const MountEntry* found = nullptr;
  for (const MountEntry& entry : mounts) {
    if (entry.device != device) continue;
    if (found == nullptr || (found->root != "/" && entry.root == "/")) found = &entry;
  }
  if (found == nullptr) return false;
  *mount = *found;
  return true;
}

// The block device behind a mount; false for a mount without one.
bool ReadMountDevice(const MountEntry& mount, std::string* name, BlockDevice* device) {
  MachineFacts& facts = Replaceable<MachineFacts>::Current();
  *name = facts.BlockDeviceOf(mount);
  return !name->empty() && facts.ReadBlockDevice(*name, device);
}

bool IsOpticalMedium(const MountEntry& mount) {
  std::string name;
  BlockDevice device;
  return Contains(kOpticalFileSystems, mount.fsType) ||
         (ReadMountDevice(mount, &name, &device) && device.optical);
}

// A disk of a USB mass-storage device, a partition of one included, sits below the USB device.
bool IsUsbMassStorage(const MountEntry& mount) {
  std::string name;
  BlockDevice device;
  return ReadMountDevice(mount, &name, &device) &&
         DeviceOrParentMatches(device.entry, [](const std::string& entry) {
           return Replaceable<MachineFacts>::Current().DeviceSubsystem(entry) == "usb";
         });
}

}  // namespace

OSStatus GetVolumeInfo(int16_t volume, VolumeInfo* info) {
  MountEntry mount;
  if (!FindVolumeMount(volume, &mount)) return kErrNoSuchVolume;
  if (const OSStatus status = MakeRef(mount.mountPoint, &info->root); status != kNoErr) {
    return status;
  }
  std::string name;
  BlockDevice device;
  const bool deviceLocked = ReadMountDevice(mount, &name, &device) && device.readOnly;
  info->flags = static_cast<uint16_t>((deviceLocked ? kVolumeHardwareLocked : 0) |
                                      (mount.readOnly ? kVolumeSoftwareLocked : 0));
  return kNoErr;
}

OSStatus GetVolumeParms(int16_t volume, VolumeParms* parms) {
  MountEntry mount;
  if (!FindVolumeMount(volume, &mount)) return kErrNoSuchVolume;
  BlockDevice device;
  parms->network = Contains(kNetworkFileSystems, mount.fsType);
  parms->ejectable = ReadMountDevice(mount, &parms->deviceName, &device) && device.removable;
  return kNoErr;
}

std::vector<std::string> MediaMountPoints(const char* deviceClass) {
  std::vector<std::string> mountPoints;
  if (deviceClass == nullptr) return mountPoints;
  bool (*isOfClass)(const MountEntry&) = nullptr;
  if (std::strcmp(deviceClass, "IOCDMedia") == 0 || std::strcmp(deviceClass, "IODVDMedia") == 0) {
    isOfClass = IsOpticalMedium;
  } else if (std::strcmp(deviceClass, "IOUSBMassStorageClass") == 0) {
    isOfClass = IsUsbMassStorage;
  }
  std::vector<MountEntry> mounts;
  if (isOfClass == nullptr || !Replaceable<MachineFacts>::Current().ReadMounts(&mounts)) {
    return mountPoints;
  }
  for (const MountEntry& mount : mounts) {
    if (isOfClass(mount)) mountPoints.push_back(mount.mountPoint);
  }
  return mountPoints;
}

std::string BlockDeviceEntry(const std::string& name) {
  BlockDevice device;
  return Replaceable<MachineFacts>::Current().ReadBlockDevice(name, &device) ? device.entry
                                                                             : std::string();
}

bool DeviceOrParentMatches(const std::string& entry,
                           const std::function<bool(const std::string& device)>& test) {
  for (std::string device = entry; device.size() > kDeviceTreeTop.size() &&
                                   device.compare(0, kDeviceTreeTop.size(), kDeviceTreeTop) == 0;
       device.erase(device.rfind('/'))) {
    if (test(device)) return true;
  }
  return false;
}

OSStatus GetFreeBytes(const FSRef& ref, uint64_t* bytes) {
  return Replaceable<MachineFacts>::Current().ReadFreeBytes(ref.path, bytes) ? kNoErr : kErrIO;
}

}  // namespace zuv::platform
