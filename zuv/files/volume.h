// What kind of medium a volume is (fixed disk, CD/DVD, network, removable, removable and
// write-protected) and whether it is nearly full. CZuvFileHandle::GetDriveType classifies an item's
// volume once per process and remembers the answer (ZuvLookUpDriveType). The medium is read from
// the mount table and from the kernel's device tree (sysfs): a "registry entry" below is a sysfs
// device path such as
// "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-2/1-2:1.0/host6/target6:0:0/6:0:0:0".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zuv/export.h"
#include "zuv/paths/file_path.h"
#include "zuv/platform/catalog_types.h"

/// Drive types. Callers store these values.
/// None of the others, or the volume could not be read.
inline constexpr uint32_t kZuvDriveFixed = 256;
/// A CD or DVD, or a mounted image of one.
inline constexpr uint32_t kZuvDriveOptical = 512;
/// Ejectable and writable.
inline constexpr uint32_t kZuvDriveRemovable = 1024;
/// A network file system.
inline constexpr uint32_t kZuvDriveNetwork = 2048;
/// Ejectable, and its device or its mount is read-only.
inline constexpr uint32_t kZuvDriveRemovableLocked = 4096;

/// The drive type remembered for a volume into *type; false when the volume was never classified.
/// A remembered type is kept for the life of the process. Safe to call from any thread.
ZUV_EXPORT bool ZuvLookUpDriveType(int16_t volume, uint32_t* type);
/// Remembers (or replaces) the drive type of a volume. Safe to call from any thread.
ZUV_EXPORT void ZuvRememberDriveType(int16_t volume, uint32_t type);

/// True when the volume whose root is *root is mounted from a CD or DVD drive, or holds an ISO 9660
/// or UDF file system (so a mounted disc image counts). Null: false.
ZUV_EXPORT bool IsOpticalDisk(const FSRef* root);
/// True when the item lives on a network file system (NFS, SMB, 9P, sshfs and the like).
ZUV_EXPORT bool IsNetworkCheck(FSRef& ref);
/// True when the item's disk is removable or sits on a USB, MMC/SD or PC card bus; also true when
/// the item's volume cannot be read.
ZUV_EXPORT bool IsEjectable(FSRef& ref);
/// True when the item is an application bundle (a folder "*.app" holding Contents/, or an AppDir
/// holding an executable AppRun). Null: false.
ZUV_EXPORT bool IsFolderPackage(const FSRef* ref);
/// True when the volume's disk sits on a USB, MMC/SD or PC card bus; false for a volume that
/// cannot be read.
ZUV_EXPORT bool VolumeIsOnPCCard(short volume);
/// The same for a block device by its kernel name ("sdb1", "mmcblk0p1"); false when there is no
/// such device.
ZUV_EXPORT bool VolumeIsOnPCCardByBSDName(char* name);
/// True when the sysfs device `entry` or one of its parents is a PC card socket, or a USB or
/// MMC/SD device.
ZUV_EXPORT bool FindVolumeOnPCCard(const std::string& entry);
/// True when the sysfs device `entry` is a USB or MMC/SD device.
ZUV_EXPORT bool DriverWasRoutedThroughPCCardBridge(const std::string& entry);
/// True when the sysfs device `entry` is a PC card (PCMCIA) socket.
ZUV_EXPORT bool SocketTypeIsPCCard(const std::string& entry);

/// True when the volume holding `path` has less than 100 MiB (104,857,600 bytes) free for ordinary
/// users; false when the path or its volume cannot be read.
ZUV_EXPORT bool ZuvIsDiskFull(const CZuvFilePath& path);

namespace ZuvFileHandlePrivate {

/// Mount points of the volumes whose medium is of the class named: "IOCDMedia" and "IODVDMedia"
/// (optical drives and ISO 9660 or UDF file systems), "IOUSBMassStorageClass" (disks on USB).
/// Empty when none is mounted, or for any other class.
ZUV_EXPORT std::vector<std::string> IOCopyVolumePaths(const char* className);
/// True when *ref is the root of a volume whose medium is of the class named.
ZUV_EXPORT bool FSIsIOClass(const FSRef* ref, const char* className);

}  // namespace ZuvFileHandlePrivate
