#include "zuv/files/volume.h"

#include <filesystem>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/files/file_handle.h"
#include "zuv/files/internal/process_caches.h"
#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/volume_info.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::MachineFacts;
using namespace zuv::platform::testing;
using namespace zuv::testing;
using UseFacts = ScopedReplacement<MachineFacts>;

const std::string kUsb = "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-2";
const std::string kSata = "/sys/devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0";

// Each test classifies its volumes afresh: the device ids of unmounted file systems are handed out
// again, and a drive type remembered for one would answer for the next.
class VolumeTest : public ::testing::Test {
 protected:
  void SetUp() override { zuv::files_internal::ForgetDriveTypes(); }
  void TearDown() override { zuv::files_internal::ForgetDriveTypes(); }

  ScratchFolder scratch;
};

// A read-only mount of a fixed disk is still fixed; only the volume flags say that it is locked.
TEST_F(VolumeTest, RealMountsAreClassifiedByTheirMedium) {
  if (!IsRoot()) GTEST_SKIP() << "mounting volumes needs root";
  if (!HaveTool("xorriso") || !(KernelHasFileSystem("iso9660") || HaveTool("fuseiso"))) {
    GTEST_SKIP() << "making and mounting a disc image needs xorriso, and iso9660 or fuseiso";
  }
  std::filesystem::create_directory(scratch / "disc");
  WriteFile(scratch / "disc/photo.jpg");  // an image of an empty folder is not made
  const uint16_t kSoftware = zuv::platform::kVolumeSoftwareLocked;
  // mount point, drive type, volume flags (unset: whatever the image mount gives)
  const std::tuple<std::string, uint32_t, std::optional<uint16_t>> cases[] = {
      {scratch.MountTmpfs("tmpfs"), kZuvDriveFixed, 0},
      {scratch.MountTmpfs("ro-tmpfs", "1m", true), kZuvDriveFixed, kSoftware},
      {scratch.MountDiskImage("ro-disk", "ext2", true), kZuvDriveFixed,
       kSoftware | zuv::platform::kVolumeHardwareLocked},
      {scratch.MountIso("disc", "disc-image"), kZuvDriveOptical, std::nullopt}};
  for (const auto& [point, driveType, flags] : cases) {
    ASSERT_FALSE(point.empty());
    SCOPED_TRACE(point);
    const bool optical = driveType == kZuvDriveOptical;
    const CZuvFileHandle root = PathOf(point);
    EXPECT_EQ(root.GetDriveType(), driveType);
    EXPECT_EQ(ZuvIsDeletable(root), !optical);
    EXPECT_EQ(ZuvIsWritable(root), !optical);  // by the permission bits alone
    zuv::platform::VolumeInfo info;
    ASSERT_EQ(zuv::platform::GetVolumeInfo(CatalogOf(point, kFSCatInfoVolume).volume, &info),
              zuv::platform::kNoErr);
    EXPECT_EQ(info.root.path, point);
    EXPECT_EQ(info.flags, flags.value_or(info.flags));
    EXPECT_FALSE(IsNetworkCheck(info.root) || IsEjectable(info.root));
  }
}

// Media that this machine does not have, described by fake facts about the scratch folder's volume.
// Only a volume below a USB device is of the USB mass-storage class.
TEST_F(VolumeTest, DeviceFactsDecideTheDriveType) {
  const std::string usbDisk = kUsb + "/1-2:1.0/host6/target6:0:0/6:0:0:0/block/sdc/sdc1";
  const std::string mmc = "/sys/devices/platform/sdhci/mmc_host/mmc0/mmc0:0001";
  const std::string card = "/sys/devices/pci0000:00/0000:00:1e.0/0000:15:00.0/pcmcia_socket0";
  enum { kOptical = 1, kRemovable = 2, kReadOnly = 4, kMountedReadOnly = 8, kOnSystem103 = 16 };
  // file system, the block device's entry (none when empty), flags, drive type
  const std::tuple<std::string, std::string, int, uint32_t> cases[] = {
      {"nfs4", "", 0, kZuvDriveNetwork},
      {"ext4", kSata + "/block/sdb/sdb1", kRemovable, kZuvDriveRemovable},
      {"vfat", mmc + "/block/mmcblk0/mmcblk0p1", kRemovable | kReadOnly, kZuvDriveRemovableLocked},
      {"vfat", usbDisk, 0, kZuvDriveRemovable},
      {"vfat", usbDisk, kMountedReadOnly, kZuvDriveRemovableLocked},
      {"ext2", card + "/disk/block/hda/hda1", 0, kZuvDriveRemovable},
      {"ext4", kSata + "/block/sda/sda1", kMountedReadOnly, kZuvDriveFixed},
      {"vfat", usbDisk, kOnSystem103, kZuvDriveFixed},
      {"ext2", kSata + "/block/sr0", kOptical | kRemovable | kReadOnly, kZuvDriveOptical}};
  const std::string& point = scratch.Path();
  for (const auto& [fsType, entry, flags, driveType] : cases) {
    SCOPED_TRACE(entry + " " + std::to_string(flags));
    zuv::files_internal::ForgetDriveTypes();
    FakeMachineFacts facts;
    facts.mounts = {
        {DeviceOf(point), "/", point, fsType, "/dev/x", (flags & kMountedReadOnly) != 0}};
    if (!entry.empty()) {
      facts.blockDevices["x"] = {entry, (flags & kOptical) != 0, (flags & kRemovable) != 0,
                                 (flags & kReadOnly) != 0};
    }
    facts.subsystems = {
        {kUsb, "usb"}, {mmc, "mmc"}, {card, "pcmcia_socket"}, {kSata + "/block/sda", "block"}};
    facts.systemVersion = flags & kOnSystem103 ? 0x1039 : 0x1068;
    const UseFacts use(&facts);
    const CZuvFileHandle handle = PathOf(point);
    EXPECT_EQ(handle.GetDriveType(), driveType);
    EXPECT_EQ(ZuvIsDeletable(handle),
              driveType != kZuvDriveOptical && driveType != kZuvDriveRemovableLocked);
    EXPECT_EQ(ZuvFileHandlePrivate::IOCopyVolumePaths("IOUSBMassStorageClass"),
              entry.rfind(kUsb, 0) == 0 ? std::vector{point} : std::vector<std::string>{});
  }
  EXPECT_FALSE(VolumeIsOnPCCard(-1));  // never handed out
}

TEST_F(VolumeTest, DiskIsFullBelow100MiBFree) {
  if (!IsRoot()) GTEST_SKIP() << "mounting a tmpfs needs root";
  const std::string point = scratch.MountTmpfs("volume", "101m");
  ASSERT_FALSE(point.empty());
  const CZuvFilePath volume = PathOf(point);
  WriteFile(point + "/fill", std::string(1 << 20, 'x'));  // exactly 100 MiB left
  EXPECT_FALSE(ZuvIsDiskFull(volume));
  WriteFile(point + "/byte", "x");  // takes one more page
  EXPECT_TRUE(ZuvIsDiskFull(volume));
  EXPECT_FALSE(ZuvIsDiskFull(PathOf("/no/such/item")));
  FakeMachineFacts facts;
  const UseFacts use(&facts);
  EXPECT_FALSE(ZuvIsDiskFull(volume)) << "free space unknown";
}

}  // namespace
