// The facts about this machine that volume classification and the file code depend on and that a
// test cannot arrange for real: what is mounted, which block device backs a mount and what kind of
// device it is, where a device sits in the device tree, how much space is free, and the system
// version. They are read through Replaceable<MachineFacts>::Current(), so that a test can put in a
// fake or wrap the real facts to count or fail calls, for its own duration (zuv/platform/testing/).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zuv/platform/replaceable.h"

namespace zuv::platform {

/// One mounted file system, as the mount table shows it.
struct MountEntry {
  uint64_t device = 0;     // device id (st_dev) of the items on it
  std::string root;        // the folder of the file system mounted there ("/" for all of it)
  std::string mountPoint;  // where it is mounted: the volume's root folder
  std::string fsType;      // "ext4", "iso9660", "nfs4", "fuse.sshfs"...
  std::string source;      // "/dev/sda1", "server:/export", "tmpfs"...
  bool readOnly = false;   // mounted read-only
};

/// One block device, as the kernel's device tree shows it.
struct BlockDevice {
  std::string entry;       // its device path in the tree, "/sys/devices/..."
  bool optical = false;    // a CD/DVD drive (SCSI device type 5)
  bool removable = false;  // its disk has removable media
  bool readOnly = false;   // the device is read-only
};

/// Source of the machine facts. Every method may be called from any thread.
class MachineFacts {
 public:
  virtual ~MachineFacts() = default;
  /// Every mounted file system, in mount order. False when the mount table cannot be read.
  virtual bool ReadMounts(std::vector<MountEntry>* mounts) = 0;
  /// Kernel name of the block device behind a mount ("sda1", "sr0", "loop2"): the one of the
  /// mount's device number, else the device node its source names under /dev (file systems with
  /// anonymous device numbers, such as btrfs). Empty when it has none (tmpfs, network, overlay).
  virtual std::string BlockDeviceOf(const MountEntry& mount) = 0;
  /// The block device of that kernel name into *device. False when there is none.
  virtual bool ReadBlockDevice(const std::string& name, BlockDevice* device) = 0;
  /// The subsystem of a device of the tree ("usb", "mmc", "pcmcia", "scsi", "pci"); empty when
  /// it has none or is not there.
  virtual std::string DeviceSubsystem(const std::string& entry) = 0;
  /// Bytes an unprivileged user may still write on the file system holding `path`. False when it
  /// cannot be read.
  virtual bool ReadFreeBytes(const std::string& path, uint64_t* bytes) = 0;
  /// The system version in the form 0xMMmp (0x1068 for 10.6.8), on which some file operations
  /// choose their way.
  virtual uint32_t SystemVersion() = 0;
};

template <>
MachineFacts& Replaceable<MachineFacts>::Real();

}  // namespace zuv::platform
