#include "zuv/files/volume.h"

#include <map>
#include <mutex>

#include "zuv/files/internal/process_caches.h"
#include "zuv/platform/catalog.h"
#include "zuv/platform/machine_facts.h"
#include "zuv/platform/volume_info.h"

namespace {

using zuv::platform::kNoErr;

// Less free space than this counts as a full disk.
constexpr uint64_t kDiskFullBytes = 104857600;

std::mutex g_driveTypeMutex;
std::map<int16_t, uint32_t> g_mapDriveType;

// The parameters of an item's volume, found by the item's catalog record.
bool ReadVolumeParms(FSRef& ref, zuv::platform::VolumeParms* parms) {
  FSCatalogInfo info = {};
  return zuv::platform::GetCatalogInfo(ref, kFSCatInfoVolume, &info, nullptr) == kNoErr &&
         zuv::platform::GetVolumeParms(info.volume, parms) == kNoErr;
}

}  // namespace

bool ZuvLookUpDriveType(int16_t volume, uint32_t* type) {
  std::lock_guard lock(g_driveTypeMutex);
  const auto found = g_mapDriveType.find(volume);
  if (found == g_mapDriveType.end()) return false;
  *type = found->second;
  return true;
}

void ZuvRememberDriveType(int16_t volume, uint32_t type) {
  std::lock_guard lock(g_driveTypeMutex);
  g_mapDriveType[volume] = type;
}

void zuv::files_internal::ForgetDriveTypes() {
  std::lock_guard lock(g_driveTypeMutex);
  g_mapDriveType.clear();
}

bool IsOpticalDisk(const FSRef* root) {
  return root != nullptr && (ZuvFileHandlePrivate::FSIsIOClass(root, "IOCDMedia") ||
                             ZuvFileHandlePrivate::FSIsIOClass(root, "IODVDMedia"));
}

bool IsNetworkCheck(FSRef& ref) {
  zuv::platform::VolumeParms parms;
  return ReadVolumeParms(ref, &parms) && parms.network;
}

// A volume that cannot be read counts as ejectable, so that nothing is promised about it. Before
// 10.4 the card and USB walk was not trusted and only the removable flag counted.
bool IsEjectable(FSRef& ref) {
  zuv::platform::VolumeParms parms;
  if (!ReadVolumeParms(ref, &parms)) return true;
  const uint32_t systemVersion =
      zuv::platform::Replaceable<zuv::platform::MachineFacts>::Current().SystemVersion();
  if (parms.ejectable) return true;
  if (systemVersion >= 0x1030 && systemVersion <= 0x103F) return false;
  return VolumeIsOnPCCardByBSDName(parms.deviceName.data());
}

bool IsFolderPackage(const FSRef* ref) {
  return ref != nullptr && zuv::platform::IsApplicationBundle(*ref);
}

bool VolumeIsOnPCCard(short volume) {
  zuv::platform::VolumeParms parms;
  return zuv::platform::GetVolumeParms(volume, &parms) == kNoErr &&
         VolumeIsOnPCCardByBSDName(parms.deviceName.data());
}

bool VolumeIsOnPCCardByBSDName(char* name) {
  if (name == nullptr) return false;
  const std::string entry = zuv::platform::BlockDeviceEntry(name);
  return !entry.empty() && FindVolumeOnPCCard(entry);
}

bool FindVolumeOnPCCard(const std::string& entry) {
  return zuv::platform::DeviceOrParentMatches(entry, [](const std::string& device) {
    return SocketTypeIsPCCard(device) || DriverWasRoutedThroughPCCardBridge(device);
  });
}

bool DriverWasRoutedThroughPCCardBridge(const std::string& entry) {
  const std::string subsystem =
      zuv::platform::Replaceable<zuv::platform::MachineFacts>::Current().DeviceSubsystem(entry);
  return subsystem == "usb" || subsystem == "mmc";
}

bool SocketTypeIsPCCard(const std::string& entry) {
  const std::string subsystem =
      zuv::platform::Replaceable<zuv::platform::MachineFacts>::Current().DeviceSubsystem(entry);
  return subsystem == "pcmcia" || subsystem == "pcmcia_socket";
}

bool ZuvIsDiskFull(const CZuvFilePath& path) {
  FSRef ref;
  uint64_t freeBytes = 0;
  return ZuvIsSuccess(path.GetFSRef(&ref)) &&
         zuv::platform::GetFreeBytes(ref, &freeBytes) == kNoErr && freeBytes < kDiskFullBytes;
}

namespace ZuvFileHandlePrivate {

std::vector<std::string> IOCopyVolumePaths(const char* className) {
  return zuv::platform::MediaMountPoints(className);
}

bool FSIsIOClass(const FSRef* ref, const char* className) {
  if (ref == nullptr) return false;
  for (const std::string& mountPoint : IOCopyVolumePaths(className)) {
    FSRef root;
    if (zuv::platform::MakeRef(mountPoint, &root) == kNoErr &&
        zuv::platform::CompareRefs(root, *ref)) {
      return true;
    }
  }
  return false;
}

}  // namespace ZuvFileHandlePrivate
